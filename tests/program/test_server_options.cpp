// The mivel command line.

#include "program/ProgramOptions.h"

#include <QTest>

using namespace mivel;

class ProgramOptionsTest : public QObject {
    Q_OBJECT
    static ParsedOptions parse(QStringList args) {
        args.prepend("mivel");
        return parseProgramOptions(args);
    }

private slots:
    void optionsAndDefaults() {
        const ParsedOptions defaults = parse({});
        QCOMPARE(defaults.options->alpacaPort, 11111);
        QCOMPARE(defaults.options->listen, QHostAddress(QHostAddress::LocalHost));
        QVERIFY(!defaults.options->headless);
        QVERIFY(!defaults.options->discoveryActive()); // loopback only, not asked for

        const ParsedOptions p = parse({"--headless", "--port", "/dev/ttyUSB0", "--alpaca-port",
                                       "8080", "--listen", "0.0.0.0", "--config", "/tmp/m"});
        QVERIFY2(p.options, qPrintable(p.error));
        QVERIFY(p.options->headless);
        QCOMPARE(p.options->portDevice, "/dev/ttyUSB0");
        QCOMPARE(p.options->alpacaPort, 8080);
        QCOMPARE(p.options->configDir, "/tmp/m");
        QVERIFY(p.options->discoveryActive()); // reachable from other machines
        QVERIFY(parse({"--simulate", "--discovery"}).options->discoveryActive());
        QCOMPARE(parse({"--listen", "localhost"}).options->listen,
                 QHostAddress(QHostAddress::LocalHost));
        QCOMPARE(parse({"--listen=::1"}).options->listen, QHostAddress("::1"));
        QCOMPARE(defaults.options->thermalSpeed, 1.0);
        QCOMPARE(parse({"--simulate", "--thermal-speed", "600"}).options->thermalSpeed, 600.0);
    }

    void wrongCommandLinesSayWhatIsWrong_data() {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("error");
        QTest::newRow("unknown") << QStringList{"--bogus"} << "bogus";
        QTest::newRow("port 0") << QStringList{"--alpaca-port", "0"} << "1 to 65535";
        QTest::newRow("port big") << QStringList{"--alpaca-port", "70000"} << "1 to 65535";
        QTest::newRow("port text") << QStringList{"--alpaca-port", "http"} << "\"http\"";
        QTest::newRow("address") << QStringList{"--listen", "nowhere"} << "IP address";
        QTest::newRow("no device") << QStringList{"--port"} << "port";
        QTest::newRow("both ports") << QStringList{"--simulate", "--port", "/dev/x"} << "together";
        QTest::newRow("speed text") << QStringList{"--simulate", "--thermal-speed", "x"} << "\"x\"";
        QTest::newRow("speed 0") << QStringList{"--simulate", "--thermal-speed", "0"}
                                 << "1 to 10000";
        QTest::newRow("speed without the unit")
            << QStringList{"--thermal-speed", "10"} << "needs --simulate";
        QTest::newRow("positional") << QStringList{"extra"} << "extra";
    }
    void wrongCommandLinesSayWhatIsWrong() {
        QFETCH(QStringList, args);
        QFETCH(QString, error);
        const ParsedOptions p = parse(args);
        QVERIFY(!p.options);
        QVERIFY2(p.error.contains(error) && !p.error.contains('\n'), qPrintable(p.error));
    }
};

QTEST_GUILESS_MAIN(ProgramOptionsTest)
#include "test_server_options.moc"
