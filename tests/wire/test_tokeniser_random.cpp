// The tokeniser fed random byte streams split at random points: whatever the bytes and the
// splits, it must not crash and must report exactly what it reports for the whole stream. Run
// under AddressSanitizer and UndefinedBehaviorSanitizer by the test script's sanitizer build.

#include "wire/Replies.h"
#include "wire/Tokeniser.h"

#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTest>

#include <string>
#include <vector>

using mivel::wire::Tokeniser;

namespace {

using Events = std::vector<std::pair<std::string, std::string>>;

Events run(const std::vector<std::string_view>& chunks, Tokeniser& tok) {
    Events out;
    for (auto c : chunks)
        tok.feed(c, [&](std::string_view t, std::string_view v) {
            out.emplace_back(std::string(t), std::string(v));
        });
    return out;
}

std::string randomStream(QRandomGenerator& rng, int length) {
    // Mostly protocol-like text, with spaces, colons and arbitrary bytes mixed in.
    static const std::string alphabet = " :::  0123456789-.atsrhvx!*";
    std::string s;
    for (int i = 0; i < length; ++i) {
        const quint32 r = rng.bounded(10);
        if (r < 7)
            s += alphabet[rng.bounded(int(alphabet.size()))];
        else if (r < 9)
            s += std::string(
                     mivel::wire::replyTags()[rng.bounded(int(mivel::wire::replyTags().size()))]
                         .wire) +
                 ' ';
        else
            s += char(rng.bounded(256));
    }
    return s;
}

} // namespace

class TokeniserRandomTest : public QObject {
    Q_OBJECT
private slots:
    void anySplitGivesTheSameTokensAsTheWhole() {
        QRandomGenerator rng(20261121);
        for (int round = 0; round < 3000; ++round) {
            const std::string stream = randomStream(rng, int(rng.bounded(1, 400)));
            Tokeniser whole;
            const Events expected = run({stream}, whole);

            std::vector<std::string_view> chunks;
            std::size_t pos = 0;
            while (pos < stream.size()) {
                const std::size_t len =
                    std::min<std::size_t>(stream.size() - pos, rng.bounded(0, 24));
                chunks.emplace_back(stream.data() + pos, len); // empty chunks included
                pos += len;
            }
            Tokeniser split;
            const Events got = run(chunks, split);
            QCOMPARE(got, expected);
            QCOMPARE(split.pendingTag(), whole.pendingTag());
            QCOMPARE(split.endedInsideToken(), whole.endedInsideToken());
            if (whole.endedInsideToken())
                QCOMPARE(split.previousToken(), whole.previousToken());
            // State stays consistent: a pending tag is a tag.
            QVERIFY(split.pendingTag().empty() || split.pendingTag().front() == ':');
        }
    }

    void aStreamWithoutSpacesIsCappedAndNoticedOnce() {
        // A GPS receiver on the wrong port: sentences without a single space, in read-sized
        // pieces, then a real reply.
        const std::string sentence = "$GPGGA,123519,4807.038,N,01131.000,E,1,08,0.9,545.4,M*47\r\n";
        std::string piece;
        while (piece.size() < 4096)
            piece += sentence;
        std::vector<std::string_view> chunks(256, piece); // a megabyte
        chunks.push_back(" :a 12500 ");
        chunks.push_back(std::string_view(piece).substr(0, 300));
        chunks.push_back(" :s 7 ");

        // Said once in the whole run, however many over-long tokens come.
        const QRegularExpression notice("does not look like the Mivel unit");
        QTest::ignoreMessage(QtWarningMsg, notice);
        QTest::failOnWarning(notice);
        Tokeniser tok;
        const Events got = run(chunks, tok);
        QCOMPARE(got, (Events{{":a", "12500"}, {":s", "7"}}));

        Tokeniser pending;
        run({std::string_view(piece), std::string_view(piece)}, pending);
        QVERIFY(pending.endedInsideToken());
        QCOMPARE(pending.previousToken(),
                 std::string_view(piece).substr(0, Tokeniser::MaxTokenLength));
    }
};

QTEST_GUILESS_MAIN(TokeniserRandomTest)
#include "test_tokeniser_random.moc"
