#include "sim/CommandReader.h"

#include <QTest>

using mivel::sim::CommandReader;
using Mode = CommandReader::Mode;

Q_DECLARE_METATYPE(Mode)

namespace {

// Every command read from the bytes, written "word|argument" and joined by spaces.
QString read(CommandReader& reader, const QByteArray& bytes) {
    QStringList out;
    for (const char byte : bytes)
        if (const auto c = reader.push(byte))
            out << QString::fromLatin1(c->word + '|' + c->argument);
    return out.join(' ');
}

} // namespace

class CommandReaderTest : public QObject {
    Q_OBJECT
private slots:
    void framing_data() {
        QTest::addColumn<Mode>("mode");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("commands");
        QTest::newRow("leading space and none are alike")
            << Mode::Commands << QByteArray(" Q T  ! ") << "Q| T| !|";
        QTest::newRow("argument up to the closing space")
            << Mode::Commands << QByteArray("b12500  j-72000 P2.5 ") << "b|12500 j|-72000 P|2.5";
        QTest::newRow("two-character word") << Mode::Commands << QByteArray(" :V  l ") << ":V| l|";
        QTest::newRow("home and end of upload need no space")
            << Mode::Commands << QByteArray("hS h~60 u Q ") << "h| S| h| ~|60 u| Q|";
        QTest::newRow("no command until the closing space")
            << Mode::Commands << QByteArray(" b125") << "";
        QTest::newRow("E and P are ordinary words outside the loader")
            << Mode::Commands << QByteArray(" E1234 P-3 ") << "E|1234 P|-3";
        QTest::newRow("loader: E and P bare, x with its space")
            << Mode::Loader << QByteArray("x EP") << "x| E| P|";
        QTest::newRow("records cut by their byte count")
            << Mode::Records << QByteArray("S1050000AABBCCS9030000FC")
            << "S|S1050000AABBCC S|S9030000FC";
        QTest::newRow("records: line ends and junk between them skipped")
            << Mode::Records << QByteArray("\r\nS10300FFFC\n  S9030000FC")
            << "S|S10300FFFC S|S9030000FC";
        QTest::newRow("records: a bad count looks for the next S, itself included")
            << Mode::Records << QByteArray("SxZS9030000FC") << "S|S9030000FC";
    }
    void framing() {
        QFETCH(Mode, mode);
        QFETCH(QByteArray, bytes);
        QFETCH(QString, commands);
        CommandReader reader;
        reader.setMode(mode);
        QCOMPARE(read(reader, bytes), commands);
    }

    void modeChangeDropsHalfReadCommand() {
        CommandReader reader;
        QCOMPARE(read(reader, " b12"), QString());
        reader.setMode(Mode::Loader);
        reader.setMode(Mode::Commands);
        // The rest of the old argument is read as a command of its own, not as b12500.
        QCOMPARE(read(reader, "500 Q "), QStringLiteral("5|00 Q|"));
    }
};

QTEST_GUILESS_MAIN(CommandReaderTest)
#include "test_command_reader.moc"
