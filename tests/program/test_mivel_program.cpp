// The mivel program as users start it: headless on the simulated unit, stopped by a signal, and
// refusing what it cannot do with one line and a non-zero exit.

#include "alpaca/HttpTestClient.h"

#include <QFile>
#include <QJsonArray>
#include <QProcess>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QUrl>

#include <csignal>

using namespace mivel::test;

class MivelProgramTest : public QObject {
    Q_OBJECT
    QTemporaryDir config;
    QTcpServer taken; // a port another program holds

    // The program with no display, as on a computer at the telescope, or with one (drawn
    // off-screen).
    void start(QProcess& p, const QStringList& args, bool display = false,
               const QString& configDir = {}) {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.remove("DISPLAY");
        env.remove("WAYLAND_DISPLAY");
        if (display) {
            env.insert("DISPLAY", ":0");
            env.insert("QT_QPA_PLATFORM", "offscreen");
        }
        p.setProcessEnvironment(env);
        p.start(MIVEL_PROGRAM,
                QStringList{"--config", configDir.isEmpty() ? config.path() : configDir} + args);
    }
    static quint16 freePort() {
        QTcpServer probe;
        probe.listen(QHostAddress::LocalHost, 0);
        return probe.serverPort();
    }
    static bool announced(QProcess& p) {
        QByteArray out;
        return QTest::qWaitFor(
                   [&] {
                       return (out += p.readAllStandardOutput()).contains("server on") ||
                              p.state() == QProcess::NotRunning;
                   },
                   20000) &&
               p.state() == QProcess::Running;
    }
    static int errorNumber(HttpTestClient& c, const QByteArray& method, const QByteArray& target,
                           const QByteArray& form = {}) {
        c.request(method, target, form);
        return c.await(20000).json()["ErrorNumber"].toInt(-1);
    }

private slots:
    void initTestCase() { QVERIFY(taken.listen(QHostAddress::LocalHost, 0)); }

    void servesTheSimulatedUnitUntilStopped_data() {
        QTest::addColumn<QStringList>("mode");
        QTest::addColumn<bool>("display");
        QTest::addColumn<int>("signal");
        QTest::newRow("headless, SIGTERM") << QStringList{"--headless"} << false << int(SIGTERM);
        // Without a display the program is headless by itself.
        QTest::newRow("no display, SIGINT") << QStringList{} << false << int(SIGINT);
        // With one, the console runs beside the server.
        QTest::newRow("console, SIGTERM") << QStringList{} << true << int(SIGTERM);
    }
    void servesTheSimulatedUnitUntilStopped() {
        QFETCH(QStringList, mode);
        QFETCH(bool, display);
        QFETCH(int, signal);
        const quint16 port = [] {
            QTcpServer probe;
            probe.listen(QHostAddress::LocalHost, 0);
            return probe.serverPort();
        }();
        QProcess p;
        start(p, mode + QStringList{"--simulate", "--alpaca-port", QString::number(port)}, display);
        QByteArray out;
        QTRY_VERIFY_WITH_TIMEOUT((out += p.readAllStandardOutput()).contains("server on") ||
                                     p.state() == QProcess::NotRunning,
                                 20000);
        QVERIFY2(p.state() == QProcess::Running, p.readAllStandardError().constData());

        HttpTestClient c(port);
        c.request("GET", "/management/v1/configureddevices");
        QCOMPARE(c.await(20000).json()["Value"].toArray().size(), 3);
        c.request("PUT", "/api/v1/focuser/0/connected", "Connected=true&ClientTransactionID=5");
        const QJsonObject linked = c.await(20000).json();
        QCOMPARE(linked["ErrorNumber"].toInt(-1), 0);
        QCOMPARE(linked["ClientTransactionID"].toInt(), 5);

        ::kill(pid_t(p.processId()), signal);
        QVERIFY(p.waitForFinished(20000));
        QCOMPARE(p.exitStatus(), QProcess::NormalExit);
        QCOMPARE(p.exitCode(), 0);
        QVERIFY(c.closedByServer());
    }

    // A script logs the simulated unit's night with no window: rows a second apart, the
    // readings the unit answered, until it stops the log.
    void logsHeadlessThroughActions() {
        const quint16 port = freePort();
        QProcess p;
        start(p, {"--headless", "--simulate", "--alpaca-port", QString::number(port)});
        QVERIFY(announced(p));
        const QString file = config.filePath("night.csv");
        HttpTestClient c(port);
        auto action = [&](const QByteArray& name, const QByteArray& parameters) {
            c.request("PUT", "/api/v1/switch/0/action",
                      "Action=" + name + "&Parameters=" + QUrl::toPercentEncoding(parameters));
            return c.await(20000).json();
        };
        const QJsonObject started =
            action("StartLog",
                   "{\"File\":\"" + file.toUtf8() +
                       "\",\"Interval\":1,\"Columns\":[\"Ambient Temperature\",\"Fan Power\"]}");
        QCOMPARE(started["ErrorNumber"].toInt(-1), 0);
        QTRY_VERIFY_WITH_TIMEOUT(QFile(file).size() > 60, 10000);
        QCOMPARE(action("StopLog", "")["ErrorNumber"].toInt(-1), 0);
        QFile log(file);
        QVERIFY(log.open(QIODevice::ReadOnly));
        const QList<QByteArray> lines = log.readAll().split('\n');
        QCOMPARE(lines[0], QByteArray("\"Time\",\"Ambient \",\"Fan Power \"\r"));
        QVERIFY2(QRegularExpression("^\"[^\"]+\",-?\\d+(\\.\\d+)?,\\d+\\r$")
                     .match(QString::fromLatin1(lines[1]))
                     .hasMatch(),
                 lines[1].constData());
        // Refusals carry the setup window's messages.
        const QJsonObject refused = action("StartLog", "{\"File\":\"x\",\"Interval\":\"abc\"}");
        QCOMPARE(refused["ErrorMessage"].toString(), QStringLiteral("Invalid interval"));
        ::kill(pid_t(p.processId()), SIGTERM);
        QVERIFY(p.waitForFinished(20000));
        QCOMPARE(p.exitCode(), 0);
    }

    // The simulated unit is the port of the run, whatever device the store names: the driver
    // objects, which read the settings again when they are made, link to it. A client that
    // links and lets go leaves the program serving while the console or the headless server
    // holds the link, and the store keeps its own device.
    void theRunsDeviceIsThePortUsed_data() {
        QTest::addColumn<QStringList>("mode");
        QTest::addColumn<bool>("display");
        QTest::newRow("headless") << QStringList{"--headless"} << false;
        QTest::newRow("console") << QStringList{} << true;
    }
    void theRunsDeviceIsThePortUsed() {
        QFETCH(QStringList, mode);
        QFETCH(bool, display);
        QTemporaryDir own;
        const QString gone = own.filePath("gone-tty");
        QFile settings(own.filePath("settings.reg"));
        QVERIFY(settings.open(QIODevice::WriteOnly));
        settings.write("[HKEY_LOCAL_MACHINE\\SOFTWARE\\ASCOM\\Focuser Drivers\\Vark_AE.Focuser]\n"
                       "\"PortDevice\"=\"" +
                       gone.toUtf8() + "\"\n");
        settings.close();
        const quint16 port = freePort();
        QProcess p;
        start(p, mode + QStringList{"--simulate", "--alpaca-port", QString::number(port)}, display,
              own.path());
        QVERIFY2(announced(p), p.readAllStandardError().constData());

        HttpTestClient c(port);
        for (const QByteArray device : {"focuser", "rotator"}) {
            const QByteArray connected = "/api/v1/" + device + "/0/connected";
            QCOMPARE(errorNumber(c, "PUT", connected, "Connected=true"), 0);
            QCOMPARE(errorNumber(c, "PUT", connected, "Connected=false"), 0);
        }
        QCOMPARE(errorNumber(c, "GET", "/api/v1/switch/0/connected"), 0);
        QCOMPARE(p.state(), QProcess::Running);

        ::kill(pid_t(p.processId()), SIGTERM);
        QVERIFY(p.waitForFinished(20000));
        QCOMPARE(p.exitCode(), 0);
        QVERIFY(settings.open(QIODevice::ReadOnly));
        const QByteArray kept = settings.readAll();
        QVERIFY2(kept.contains(gone.toUtf8()) && !kept.contains("mivel-unit"), kept.constData());
    }

    void refusesWithOneLine_data() {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("says");
        QTest::newRow("bad option") << QStringList{"--frobnicate"} << 2 << "frobnicate";
        QTest::newRow("bad port number") << QStringList{"--alpaca-port", "0"} << 2 << "65535";
        QTest::newRow("serial port that cannot be opened")
            << QStringList{"--headless", "--port", config.filePath("no-such-tty")} << 1
            << "cannot open the serial port";
        QTest::newRow("busy HTTP port") << QStringList{"--headless", "--simulate", "--alpaca-port",
                                                       QString::number(taken.serverPort())}
                                        << 1 << "cannot listen";
    }
    void refusesWithOneLine() {
        QFETCH(QStringList, args);
        QFETCH(int, code);
        QFETCH(QString, says);
        QProcess p;
        start(p, args);
        QVERIFY(p.waitForFinished(20000));
        const QString err = QString::fromLocal8Bit(p.readAllStandardError());
        QCOMPARE(p.exitCode(), code);
        QVERIFY2(err.contains(says), qPrintable(err));
        QVERIFY2(err.startsWith("mivel: ") && err.count('\n') == 1, qPrintable(err));
    }
};

QTEST_GUILESS_MAIN(MivelProgramTest)
#include "test_mivel_program.moc"
