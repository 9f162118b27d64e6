// mivel --flash: the firmware upload in the terminal, its exit codes (0, or 10 + the upload's
// error code), and its refusal of a port that another program holds.

#include "wire/SRecord.h"

#include <QFile>
#include <QProcess>
#include <QSerialPort>
#include <QTemporaryDir>
#include <QTest>

namespace {

struct Run {
    int code = -1;
    QString out;
    QString err;
};

Run flash(const QStringList& args) {
    QProcess p;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove("DISPLAY");
    env.remove("WAYLAND_DISPLAY");
    p.setProcessEnvironment(env);
    p.start(QStringLiteral(MIVEL_PROGRAM), args);
    if (!p.waitForFinished(60000))
        return {};
    return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1,
            QString::fromLocal8Bit(p.readAllStandardOutput()),
            QString::fromLocal8Bit(p.readAllStandardError())};
}

// mivel-sim on a terminal of its own, with the given faults, until the end of the test.
struct SimulatedUnit {
    QProcess process;
    QString link;
    bool start(const QString& path, const QStringList& faults) {
        link = path;
        process.start(QStringLiteral(MIVEL_SIM_PROGRAM), QStringList{"--pty", link} + faults);
        return QTest::qWaitFor([&] { return QFile::exists(link); }, 10000);
    }
    ~SimulatedUnit() {
        process.terminate();
        process.waitForFinished(5000);
    }
};

} // namespace

class FlashCommandTest : public QObject {
    Q_OBJECT
    QTemporaryDir dir;
    QString firmware;

private slots:
    void initTestCase() {
        firmware = dir.filePath("Vark.s19");
        QFile f(firmware);
        QVERIFY(f.open(QIODevice::WriteOnly));
        for (int i = 0; i < 30; ++i)
            f.write(mivel::wire::makeRecord('1', quint32(16 * i), std::string(16, 'x')).c_str() +
                    QByteArray("\r\n"));
        f.write("S9030000FC\r\n");
    }

    void uploadsToTheSimulatedUnit() {
        const Run r = flash({"--flash", firmware, "--simulate"});
        QCOMPARE(r.code, 0);
        QVERIFY2(r.out.contains("100% Line 31 of 31"), qPrintable(r.out));
        QVERIFY(r.out.contains("The Vark Mivel firmware has been upload successfully."));
    }

    // The exit code is 10 + the upload's error code, with the error page's words on stderr.
    void failuresExitWithTheirCode() {
        const Run missing = flash({"--flash", dir.filePath("none.s19"), "--simulate"});
        QCOMPARE(missing.code, 14);
        QVERIFY2(missing.err.contains("UNABLE TO OPEN FIRMWARE FILE\n\nPlease verify that a valid "
                                      "file was chosen for the firmware upgrade."),
                 qPrintable(missing.err));

        SimulatedUnit silent;
        QVERIFY(silent.start(dir.filePath("silent"), {"--silent"}));
        const Run none = flash({"--flash", firmware, "--port", silent.link});
        QCOMPARE(none.code, 11);
        QVERIFY(none.err.contains("Timed out waiting for response"));
        QVERIFY(none.err.contains("NO RESPONSE DURING INITIALIZATION"));
    }

    void refusesAPortHeldByAnotherProgram() {
        SimulatedUnit unit;
        QVERIFY(unit.start(dir.filePath("held"), {}));
        QSerialPort other(unit.link); // as a running console holds it
        QVERIFY(other.open(QIODevice::ReadWrite));
        const Run r = flash({"--flash", firmware, "--port", unit.link});
        QCOMPARE(r.code, 1);
        QVERIFY2(r.err.contains("another program"), qPrintable(r.err));
        other.close();
        QCOMPARE(flash({"--flash", firmware, "--port", unit.link}).code, 0);
    }

    void refusesAnIncompleteCommandLine() {
        QCOMPARE(flash({"--flash", firmware}).code, 2);
        QCOMPARE(flash({"--flash"}).code, 2);
    }
};

QTEST_GUILESS_MAIN(FlashCommandTest)
#include "test_flash_command.moc"
