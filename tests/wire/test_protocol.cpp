// The wire codec: command bytes, the tokeniser's chunk joining, numbers and display formats.

#include "core/Format.h"
#include "core/Numbers.h"
#include "wire/Commands.h"
#include "wire/Replies.h"
#include "wire/Tokeniser.h"

#include <QTest>

#include <string>
#include <vector>

using namespace mivel;
using namespace mivel::wire;

namespace {

using Pair = std::pair<std::string, std::string>;

struct Collector {
    Tokeniser tok;
    std::vector<Pair> values;
    void feed(std::string_view chunk) {
        tok.feed(chunk, [this](std::string_view tag, std::string_view value) {
            values.emplace_back(std::string(tag), std::string(value));
        });
    }
    // The values the way a numeric receiver applies them: non-empty ones only.
    std::vector<Pair> applied() const {
        std::vector<Pair> out;
        for (const auto& p : values)
            if (!p.second.empty())
                out.push_back(p);
        return out;
    }
};

} // namespace

class ProtocolTest : public QObject {
    Q_OBJECT
private slots:
    void commandBytes_data();
    void commandBytes();
    void everyCommandWordIsUniqueWithinItsForm();
    void tokeniserJoinsTokensAcrossChunks();
    void tokeniserKeepsTagPendingAcrossChunks();
    void tokeniserCharacterByCharacterMatchesWhole();
    void tokeniserNonNumericValueThatIsATagBecomesPending();
    void tokeniserProbeTagActsOnEmptyToken();
    void tokeniserProbeTagAtEndWaitsForNextChunk();
    void numbers();
    void oddFlags();
    void formats_data();
    void formats();
    void replyDisplay_data();
    void replyDisplay();
    void tagLookupIsWholeAndCaseSensitive();
};

void ProtocolTest::commandBytes_data() {
    QTest::addColumn<QByteArray>("built");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("focus move") << command(Cmd::FocusMove, 12500) << QByteArray("b12500 ");
    QTest::newRow("negative move") << command(Cmd::FocusMove, -3) << QByteArray("b-3 ");
    QTest::newRow("home has no space") << command(Cmd::FocusHome) << QByteArray("h");
    QTest::newRow("end upload bare") << command(Cmd::EndUpload) << QByteArray("u");
    QTest::newRow("loader erase bare") << command(Cmd::LoaderErase) << QByteArray("E");
    QTest::newRow("loader program bare") << command(Cmd::LoaderProgram) << QByteArray("P");
    QTest::newRow("status with lead")
        << command(Cmd::FocusStatus, Lead::Space) << QByteArray(" Q ");
    QTest::newRow("probe plain") << command(Cmd::Probe) << QByteArray("! ");
    QTest::newRow("probe lead") << command(Cmd::Probe, Lead::Space) << QByteArray(" ! ");
    QTest::newRow("unwrap") << command(Cmd::RotatorMove, -72000, Lead::Space)
                            << QByteArray(" j-72000 ");
    QTest::newRow("rotator stop") << command(Cmd::RotatorStep, 0) << QByteArray("q0 ");
    QTest::newRow("absolute rotator")
        << command(Cmd::RotatorAbsolute, 36000) << QByteArray("|36000 ");
    QTest::newRow("diagnostic poll")
        << command(Cmd::DiagnosticPoll, 0, Lead::Space) << QByteArray(" d0 ");
    QTest::newRow("compensation prepare")
        << command(Cmd::TempCompPrepare, Lead::Space) << QByteArray(" :V ");
    QTest::newRow("coefficient") << command(Cmd::TempCompCoefficient, -35, Lead::Space)
                                 << QByteArray(" =-35 ");
    QTest::newRow("recall focus") << command(Cmd::RecallFocus, 1, Lead::Space)
                                  << QByteArray(" `1 ");
    QTest::newRow("recall rotator")
        << command(Cmd::RecallRotator, 0, Lead::Space) << QByteArray(" /0 ");
    QTest::newRow("force off") << command(Cmd::ForceMotorOff, 32) << QByteArray("U32 ");
    QTest::newRow("set point text")
        << command(Cmd::HeaterSetPoint, decimalText(2.5)) << QByteArray("P2.5 ");
    QTest::newRow("aggressiveness tenths")
        << command(Cmd::FanGain, decimalText(0.1f * 10), Lead::Space) << QByteArray(" g1 ");
    // No exponent and no plus sign ever reach the unit, however small, large or typed.
    QTest::newRow("small set point")
        << command(Cmd::HeaterSetPoint, decimalText(0.00001)) << QByteArray("P0.00001 ");
    QTest::newRow("small tenths") << command(Cmd::FanDeadBand, decimalText(1e-6f * 10), Lead::Space)
                                  << QByteArray(" O0.00001 ");
    QTest::newRow("large value") << command(Cmd::HeaterSetPoint, decimalText(12345678.0))
                                 << QByteArray("P12345678 ");
    QTest::newRow("negative zero")
        << command(Cmd::HeaterSetPoint, decimalText(-0.0)) << QByteArray("P0 ");
    QTest::newRow("typed exponent") << command(Cmd::MotorPGain, "2.5E-3") << QByteArray("p0.0025 ");
    QTest::newRow("typed plus") << command(Cmd::Deadband, "+3") << QByteArray("Y3 ");
    QTest::newRow("typed decimals kept")
        << command(Cmd::HeaterDTime, "2.50") << QByteArray("?2.50 ");
    QTest::newRow("sensor slope") << sensorCoefficient(Cmd::Sensor1Slope, 0.5)
                                  << QByteArray("A0.5000000 ");
    QTest::newRow("sensor intercept")
        << sensorCoefficient(Cmd::Sensor3Intercept, -12.25) << QByteArray("F-12.2500000 ");
    QTest::newRow("internal fan") << command(Cmd::InternalFanOther, 255) << QByteArray("}255 ");
    QTest::newRow("auto current") << command(Cmd::AutoCurrent, 255, Lead::Space)
                                  << QByteArray(" N255 ");
}

void ProtocolTest::commandBytes() {
    QFETCH(QByteArray, built);
    QFETCH(QByteArray, expected);
    QCOMPARE(built, expected);
}

void ProtocolTest::everyCommandWordIsUniqueWithinItsForm() {
    // The table is indexed by the enumeration; a row out of place would send the wrong word.
    int i = 0;
    for (const auto& c : commands()) {
        QCOMPARE(int(c.cmd), i++);
        QVERIFY(!c.word.empty() && c.word.size() <= 2);
    }
}

void ProtocolTest::tokeniserJoinsTokensAcrossChunks() {
    Collector c;
    c.feed(":a 125");
    QVERIFY(c.tok.endedInsideToken());
    c.feed("00 :s 12500 ");
    QCOMPARE(c.applied(), (std::vector<Pair>{{":a", "12500"}, {":s", "12500"}}));
    QVERIFY(!c.tok.endedInsideToken());
    QCOMPARE(c.tok.pendingTag(), std::string_view());
}

void ProtocolTest::tokeniserKeepsTagPendingAcrossChunks() {
    Collector c;
    c.feed(":t1 ");
    QCOMPARE(c.tok.pendingTag(), std::string_view(":t1"));
    QVERIFY(c.values.empty());
    c.feed("-1250 ");
    QCOMPARE(c.applied(), (std::vector<Pair>{{":t1", "-1250"}}));
}

void ProtocolTest::tokeniserCharacterByCharacterMatchesWhole() {
    const std::string stream = ":a 12500 :s 12000 :h 1 :vr 2.1a  :! x :t1 -1250 ";
    Collector whole;
    whole.feed(stream);
    Collector bytes;
    for (char ch : stream)
        bytes.feed(std::string_view(&ch, 1));
    QCOMPARE(bytes.values, whole.values);
    QCOMPARE(whole.applied().size(), std::size_t(6));
}

void ProtocolTest::tokeniserNonNumericValueThatIsATagBecomesPending() {
    // The value of :a is the tag :s: it is not numeric, :a is dropped and :s waits for 5.
    Collector c;
    c.feed(":a :s 5 ");
    QCOMPARE(c.applied(), (std::vector<Pair>{{":a", ":s"}, {":s", "5"}}));
}

void ProtocolTest::tokeniserProbeTagActsOnEmptyToken() {
    Collector c;
    c.feed(":!  ");
    QCOMPARE(c.values, (std::vector<Pair>{{":!", ""}}));
    // Empty tokens leave the tag waiting for a real value.
    QCOMPARE(c.tok.pendingTag(), std::string_view(":!"));
}

void ProtocolTest::tokeniserProbeTagAtEndWaitsForNextChunk() {
    Collector c;
    c.feed(":! ");
    QVERIFY(c.values.empty());
    c.feed("1 ");
    QCOMPARE(c.values, (std::vector<Pair>{{":!", "1"}}));
}

void ProtocolTest::numbers() {
    QCOMPARE(toNumber("12500"), std::optional<double>(12500));
    QCOMPARE(toNumber("-1250"), std::optional<double>(-1250));
    QCOMPARE(toNumber("+2.5"), std::optional<double>(2.5));
    QCOMPARE(toNumber(".5"), std::optional<double>(0.5));
    QCOMPARE(toNumber("1e3"), std::optional<double>(1000));
    for (const char* bad : {"", "-", ".", ":a", "12a", "1e", "0x10", "1 2", "--1"})
        QVERIFY2(!toNumber(bad), bad);
    QCOMPARE(toLong("2.5"), std::optional<std::int32_t>(2)); // halves go to even
    QCOMPARE(toLong("3.5"), std::optional<std::int32_t>(4));
    QCOMPARE(toLong("4294967296"), std::optional<std::int32_t>());
    QCOMPARE(toInt16("32768"), std::optional<std::int16_t>());
    QCOMPARE(toInt16("-32768"), std::optional<std::int16_t>(-32768));
}

void ProtocolTest::oddFlags() {
    QVERIFY(isOddFlag(9));
    QVERIFY(isOddFlag(5));
    QVERIFY(!isOddFlag(8));
    QVERIFY(!isOddFlag(0));
    QVERIFY(isOddFlag(1));
}

void ProtocolTest::formats_data() {
    QTest::addColumn<double>("value");
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("expected");
    QTest::newRow("one decimal") << -12.5 << "0.0"
                                 << "-12.5";
    QTest::newRow("degrees F") << 78.456 << "0.0 F"
                               << "78.5 F";
    QTest::newRow("rotator") << 360.0 << "#0.00"
                             << "360.00";
    QTest::newRow("small rotator") << 0.005 << "#0.00"
                                   << "0.01";
    QTest::newRow("wrap grouped") << -180.0 << "#,##0.0"
                                  << "-180.0";
    QTest::newRow("wrap thousands") << 1234.56 << "#,##0.0"
                                    << "1,234.6";
    QTest::newRow("slope") << 0.012345 << "0.00000"
                           << "0.01235";
    QTest::newRow("no leading zero") << 0.5 << "#.000000"
                                     << ".500000";
    QTest::newRow("negative no leading zero") << -0.25 << "#.000000"
                                              << "-.250000";
    QTest::newRow("fit slope") << 2.0 << "#.000000"
                               << "2.000000";
    QTest::newRow("cfz") << 8.6614 << "##0.00"
                         << "8.66";
    QTest::newRow("seven decimals") << 0.5 << "0.0000000"
                                    << "0.5000000";
    QTest::newRow("whole") << 2.5 << "0"
                           << "3";
    QTest::newRow("no negative zero") << -0.01 << "0.0"
                                      << "0.0";
    QTest::newRow("two digits") << 5.0 << "00"
                                << "05";
}

void ProtocolTest::formats() {
    QFETCH(double, value);
    QFETCH(QString, pattern);
    QFETCH(QString, expected);
    QCOMPARE(formatNumber(value, pattern.toStdString()), expected);
}

void ProtocolTest::replyDisplay_data() {
    QTest::addColumn<int>("tag");
    QTest::addColumn<double>("wire");
    QTest::addColumn<QString>("expected");
    QTest::newRow("motor current zero") << int(Tag::MotorCurrent) << 0.0 << "< 0.65";
    QTest::newRow("motor current 1000") << int(Tag::MotorCurrent) << 1000.0 << "0.88";
    QTest::newRow("ambient") << int(Tag::Ambient) << -1250.0 << "-12.5";
    QTest::newRow("electronics") << int(Tag::Electronics) << 9012.0 << "90.1 F";
    QTest::newRow("rotator full turn") << int(Tag::RotatorActual) << 72000.0 << "360.00";
    QTest::newRow("wrap") << int(Tag::Wrap) << -36000.0 << "-180.0";
    QTest::newRow("slope") << int(Tag::Slope2) << 1234.0 << "0.01234";
    QTest::newRow("fan power capped") << int(Tag::FanPower) << 150.0 << "100";
    QTest::newRow("fan gain tenths") << int(Tag::FanGain) << 25.0 << "2.5";
    QTest::newRow("acceleration") << int(Tag::Acceleration) << 65536.0 << "1.0000";
}

void ProtocolTest::replyDisplay() {
    QFETCH(int, tag);
    QFETCH(double, wire);
    QFETCH(QString, expected);
    QCOMPARE(displayText(Tag(tag), wire), expected);
}

void ProtocolTest::tagLookupIsWholeAndCaseSensitive() {
    QVERIFY(findTag(":t1") && findTag(":t1")->tag == Tag::Ambient);
    QVERIFY(!findTag(":t"));
    QVERIFY(!findTag(":T1"));
    QVERIFY(!findTag(":t1x"));
    QVERIFY(findTag(":tca")->tag == Tag::CompSensorRaw);
    QVERIFY(findTag(":tc")->tag == Tag::TempCompMode);
    for (const auto& t : replyTags())
        QCOMPARE(findTag(t.wire), &t);
}

QTEST_APPLESS_MAIN(ProtocolTest)
#include "test_protocol.moc"
