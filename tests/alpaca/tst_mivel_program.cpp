// The mivel program as users start it: headless on the simulated unit, stopped by a signal, and
// refusing what it cannot do with one line and a non-zero exit.

#include "HttpTestClient.h"

#include <QJsonArray>
#include <QProcess>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTemporaryDir>

#ifdef Q_OS_UNIX
#include <csignal>
#endif

using namespace mivel::test;

namespace {

quint16 freePort() {
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

} // namespace

class MivelProgramTest : public QObject {
    Q_OBJECT
    QTemporaryDir config;

    // The program with no display, as on a computer at the telescope, or with one (drawn
    // off-screen).
    void start(QProcess& p, const QStringList& args, bool display = false) {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.remove("DISPLAY");
        env.remove("WAYLAND_DISPLAY");
        if (display) {
            env.insert("DISPLAY", ":0");
            env.insert("QT_QPA_PLATFORM", "offscreen");
        }
        p.setProcessEnvironment(env);
        p.start(MIVEL_PROGRAM, QStringList{"--config", config.path()} + args);
    }
    // Runs the program to its end; its exit code and what it wrote to stderr.
    std::pair<int, QString> runToEnd(const QStringList& args) {
        QProcess p;
        start(p, args);
        if (!p.waitForFinished(20000))
            return {-1, "did not end"};
        return {p.exitCode(), QString::fromLocal8Bit(p.readAllStandardError())};
    }

private slots:
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
        const quint16 port = freePort();
        QProcess p;
        start(p, mode + QStringList{"--simulate", "--alpaca-port", QString::number(port)}, display);
        QVERIFY(p.waitForStarted());
        QByteArray out;
        QTRY_VERIFY_WITH_TIMEOUT((out += p.readAllStandardOutput()).contains("server on") ||
                                     p.state() == QProcess::NotRunning,
                                 20000);
        QVERIFY2(p.state() == QProcess::Running, p.readAllStandardError().constData());

        HttpTestClient c(port);
        c.get("/management/v1/configureddevices");
        QCOMPARE(c.await(20000).json()["Value"].toArray().size(), 3);
        c.put("/api/v1/focuser/0/connected", "Connected=true&ClientTransactionID=5");
        const QJsonObject linked = c.await(20000).json();
        QCOMPARE(linked["ErrorNumber"].toInt(-1), 0);
        QCOMPARE(linked["ClientTransactionID"].toInt(), 5);
        c.get("/api/v1/focuser/0/maxstep");
        QCOMPARE(c.await(20000).json()["Value"].toInt(), 40000);

        ::kill(pid_t(p.processId()), signal);
        QVERIFY(p.waitForFinished(20000));
        QCOMPARE(p.exitStatus(), QProcess::NormalExit);
        QCOMPARE(p.exitCode(), 0);
        QVERIFY(c.closedByServer());
    }

    void refusesWithOneLine_data() {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("says");
        QTest::newRow("bad option") << QStringList{"--frobnicate"} << 2 << "frobnicate";
        QTest::newRow("bad port number") << QStringList{"--alpaca-port", "0"} << 2 << "65535";
        QTest::newRow("port that cannot be opened")
            << QStringList{"--headless", "--port", config.filePath("no-such-tty")} << 1
            << "cannot open the serial port";
    }
    void refusesWithOneLine() {
        QFETCH(QStringList, args);
        QFETCH(int, code);
        QFETCH(QString, says);
        const auto [exit, err] = runToEnd(args);
        QCOMPARE(exit, code);
        QVERIFY2(err.contains(says), qPrintable(err));
        QVERIFY2(err.startsWith("mivel: ") && err.count('\n') == 1, qPrintable(err));
    }

    void refusesABusyHttpPort() {
        QTcpServer taken;
        QVERIFY(taken.listen(QHostAddress::LocalHost, 0));
        const auto [exit, err] = runToEnd(
            {"--headless", "--simulate", "--alpaca-port", QString::number(taken.serverPort())});
        QCOMPARE(exit, 1);
        QVERIFY2(err.contains("cannot listen") && err.count('\n') == 1, qPrintable(err));
    }

    void helpListsTheOptions() {
        QProcess p;
        start(p, {"--help"});
        QVERIFY(p.waitForFinished(20000));
        QCOMPARE(p.exitCode(), 0);
        const QString out = QString::fromLocal8Bit(p.readAllStandardOutput());
        for (const char* o : {"--headless", "--simulate", "--port", "--alpaca-port", "--listen",
                              "--config", "--discovery"})
            QVERIFY2(out.contains(o), o);
    }
};

QTEST_GUILESS_MAIN(MivelProgramTest)
#include "tst_mivel_program.moc"
