#include "sim/CommandReader.h"

#include <QTest>

using mivel::sim::CommandReader;
using mivel::sim::ReadCommand;
using Mode = CommandReader::Mode;

Q_DECLARE_METATYPE(Mode)

namespace {

// Every command read from the bytes, written "word|argument" for easy comparison.
QStringList read(CommandReader& reader, const QByteArray& bytes) {
    QStringList out;
    for (const char byte : bytes)
        if (const auto c = reader.push(byte))
            out << QString::fromLatin1(c->word + '|' + c->argument);
    return out;
}

} // namespace

class CommandReaderTest : public QObject {
    Q_OBJECT
private slots:
    void framing_data() {
        QTest::addColumn<Mode>("mode");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QStringList>("commands");
        const auto cmds = [](std::initializer_list<const char*> list) {
            QStringList out;
            for (const char* c : list)
                out << QString::fromLatin1(c);
            return out;
        };
        QTest::newRow("leading space and none are alike")
            << Mode::Commands << QByteArray(" Q T  ! ") << cmds({"Q|", "T|", "!|"});
        QTest::newRow("argument up to the closing space")
            << Mode::Commands << QByteArray("b12500  j-72000 P2.5 ")
            << cmds({"b|12500", "j|-72000", "P|2.5"});
        QTest::newRow("two-character word")
            << Mode::Commands << QByteArray(" :V  l ") << cmds({":V|", "l|"});
        QTest::newRow("home and end of upload need no space")
            << Mode::Commands << QByteArray("hS h~60 u Q ")
            << cmds({"h|", "S|", "h|", "~|60", "u|", "Q|"});
        QTest::newRow("no command until the closing space")
            << Mode::Commands << QByteArray(" b125") << QStringList();
        QTest::newRow("E and P are ordinary words outside the loader")
            << Mode::Commands << QByteArray(" E1234 P-3 ") << cmds({"E|1234", "P|-3"});
        QTest::newRow("loader: E and P bare, x with its space")
            << Mode::Loader << QByteArray("x EP") << cmds({"x|", "E|", "P|"});
        QTest::newRow("records cut by their byte count")
            << Mode::Records << QByteArray("S1050000AABBCCS9030000FC")
            << cmds({"S|S1050000AABBCC", "S|S9030000FC"});
        QTest::newRow("records: line ends and junk between them skipped")
            << Mode::Records << QByteArray("\r\nS10300FFFC\n  S9030000FC")
            << cmds({"S|S10300FFFC", "S|S9030000FC"});
        QTest::newRow("records: a bad count looks for the next S")
            << Mode::Records << QByteArray("SxZZS9030000FC") << cmds({"S|S9030000FC"});
    }
    void framing() {
        QFETCH(Mode, mode);
        QFETCH(QByteArray, bytes);
        QFETCH(QStringList, commands);
        CommandReader reader;
        reader.setMode(mode);
        QCOMPARE(read(reader, bytes), commands);
    }

    void modeChangeDropsHalfReadCommand() {
        CommandReader reader;
        QCOMPARE(read(reader, " b12"), QStringList());
        reader.setMode(Mode::Loader);
        reader.setMode(Mode::Commands);
        // The rest of the old argument is read as a command of its own, not as b12500.
        QCOMPARE(read(reader, "500 Q "),
                 (QStringList{QStringLiteral("5|00"), QStringLiteral("Q|")}));
    }
};

QTEST_GUILESS_MAIN(CommandReaderTest)
#include "CommandReaderTest.moc"
