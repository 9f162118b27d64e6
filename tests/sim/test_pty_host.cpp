#include "Heard.h"

#include "sim/PtyHost.h"
#include "sim/SimulatedUnit.h"

#include "link/Serial.h"

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace mivel;
using sim::PtyHost;
using sim::SimulatedUnit;

class PtyHostTest : public QObject {
    Q_OBJECT
private slots:
    // The program's real serial port against the unit on a pseudo-terminal.
    void realSerialPortEndToEnd() {
        QTemporaryDir dir;
        const QString link = dir.filePath(QStringLiteral("mivel"));
        QVERIFY(QFile::link(dir.filePath(QStringLiteral("gone")), link)); // stale: replaced
        SimulatedUnit unit;
        PtyHost host(unit);
        const Status started = host.start(link);
        QVERIFY2(!started, qPrintable(describe(started)));
        QCOMPARE(QFileInfo(link).symLinkTarget(), host.devicePath());

        Serial serial(makeQtSerialDevice());
        serial.setDevicePath(link);
        Heard heard;
        connect(&serial, &Serial::myEvent, this, [&](const QByteArray& c) { heard(c); });
        const Status opened = serial.setConnected(true);
        QVERIFY2(!opened, opened ? qPrintable(opened->description) : "");

        serial.transmit(QByteArray(" Q "));
        QTRY_COMPARE(heard.tags().size(), 12);
        QCOMPARE(heard.tags(), (QStringList{":s", ":a", ":h", ":mc", ":s", ":a", ":mo", ":mb",
                                            ":tc", ":frp", ":s", ":a"}));
        QCOMPARE(heard.number(":a"), unit.focusPosition());
        QCOMPARE(unit.receivedBytes(), QByteArray(" Q "));

        // Unplugged: the port reports the loss and closes.
        QSignalSpy lost(&serial, &Serial::portLost);
        host.hangUp();
        QTRY_COMPARE(lost.count(), 1);
        QVERIFY(!serial.connected());
    }

    // The stand-alone program: it says where the unit is, and on SIGTERM removes its link and
    // exits normally. It never replaces a file that is not a link.
    void standAloneProgram() {
        QTemporaryDir dir;
        const QString link = dir.filePath(QStringLiteral("unit"));
        QProcess sim;
        sim.start(QStringLiteral(MIVEL_SIM_PROGRAM), {QStringLiteral("--pty"), link});
        QVERIFY(sim.waitForStarted());
        QTRY_VERIFY(sim.canReadLine());
        QVERIFY(QString::fromLocal8Bit(sim.readLine()).contains(link));
        QVERIFY(QFileInfo(link).isSymLink());
        sim.terminate();
        QVERIFY(sim.waitForFinished(10000));
        QCOMPARE(sim.exitStatus(), QProcess::NormalExit);
        QCOMPARE(sim.exitCode(), 0);
        QVERIFY(!QFileInfo(link).isSymLink());
        QFile file(link);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("mine") == 4);
        file.close();
        QCOMPARE(
            QProcess::execute(QStringLiteral(MIVEL_SIM_PROGRAM), {QStringLiteral("--pty"), link}),
            1);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("mine"));

        QProcess help;
        help.start(QStringLiteral(MIVEL_SIM_PROGRAM), {QStringLiteral("--help")});
        QVERIFY(help.waitForFinished(10000));
        const QString text = QString::fromLocal8Bit(help.readAllStandardOutput());
        for (const char* option :
             {"--pace", "--silent", "--garbage", "--split", "--focus-error", "--late-ack",
              "--missing-ack", "--no-programming-voltage", "--erase-failure", "--hang-up-after",
              "--thermal-speed", "--late-loader", "--hang-up-after-records"})
            QVERIFY2(text.contains(QLatin1String(option)), option);
        for (const char* speed : {"0", "fast", "20000"})
            QCOMPARE(QProcess::execute(QStringLiteral(MIVEL_SIM_PROGRAM),
                                       {QStringLiteral("--pty"), link,
                                        QStringLiteral("--thermal-speed"), QLatin1String(speed)}),
                     2);
    }
};

QTEST_GUILESS_MAIN(PtyHostTest)
#include "test_pty_host.moc"
