// The setup dialogs' logic against an in-memory settings store, the step size calculator, the
// port list and the process model.

#include "ConsoleRig.h"

#include "console/SetupDialogs.h"
#include "console/StepSizeCalculator.h"
#include "link/PortList.h"

#include "app/CheckRegistry.h"
#include "app/SettingsKey.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace mivel;
using namespace mivel::console;
using mivel::test::ConsoleRig;

namespace {

constexpr int DwordType = int(SettingsStore::Type::Dword);

// A program whose settings key holds every value, with nothing written yet.
struct SetupRig : ConsoleRig {
    SetupRig() {
        QVERIFY(!checkRegistry(*ctx));
        store->writes.clear();
    }
    QVariant stored(const QString& name) {
        QVariant v;
        readSetting(*store, name, &v);
        return v;
    }
    QStringList written() const {
        QStringList names;
        for (const auto& w : store->writes)
            names << w.name;
        return names;
    }
};

} // namespace

class ConsoleDialogsTest : public QObject {
    Q_OBJECT
private slots:
    void focuserSetupShowsTheStoredValuesOrTheDefaults() {
        SetupRig rig;
        rig.ctx->settings().port = 3; // the port in use
        writeSetting(*rig.store, "SmallStepSize", DwordType, 12);
        FocuserSetup setup(*rig.ctx, numberedPorts());
        setup.load();
        QVERIFY(rig.prompt->shown.empty());
        QCOMPARE(setup.portIndex(), 2);
        QCOMPARE(setup.smallStepText, QStringLiteral("12"));
        rig.ctx->settings().port = 21; // outside the list: nothing selected
        rig.store->tree().removeValue(SettingsStore::Hive::LocalMachine, SettingsKeyPath,
                                      "StepSize");
        FocuserSetup again(*rig.ctx, numberedPorts());
        again.load();
        QCOMPARE(again.portIndex(), -1);
        QCOMPARE(again.stepSizeText, QStringLiteral("0.25"));
        QCOMPARE(rig.prompt->texts(), QStringList{QStringLiteral("Unable to read registry value")});
        rig.prompt->shown.clear();
        rig.store->failOpen(SettingsStore::Hive::LocalMachine, SettingsKeyPath);
        again.load();
        QCOMPARE(rig.prompt->texts(), QStringList{QStringLiteral("Unable to read registry")});
    }

    void focuserSetupRefusesBadStepsAndWritesNothing_data() {
        QTest::addColumn<QString>("small");
        QTest::addColumn<QString>("large");
        QTest::addColumn<QString>("message");
        const QString small = QStringLiteral("Illegal value for SmallStepSize");
        const QString large = QStringLiteral("Illegal value for LargeStepSize");
        QTest::newRow("small 0") << QString("0") << QString("80") << small;
        QTest::newRow("small not a number") << QString("five") << QString("80") << small;
        QTest::newRow("large below small") << QString("10") << QString("9") << large;
        QTest::newRow("large not a number") << QString("10") << QString("x") << large;
        QTest::newRow("large beyond 16 bits") << QString("10") << QString("40000") << large;
    }
    void focuserSetupRefusesBadStepsAndWritesNothing() {
        QFETCH(QString, small);
        QFETCH(QString, large);
        QFETCH(QString, message);
        SetupRig rig;
        const Settings before = rig.ctx->settings();
        FocuserSetup setup(*rig.ctx, numberedPorts());
        setup.load();
        setup.consoleOnConnect = true;
        setup.setPortIndex(4);
        setup.smallStepText = small;
        setup.largeStepText = large;
        QVERIFY(!setup.accept());
        QCOMPARE(rig.prompt->texts(), QStringList{message});
        QVERIFY(rig.store->writes.empty());
        QCOMPARE(rig.ctx->settings().controlConsole, before.controlConsole);
        QCOMPARE(rig.ctx->settings().port, before.port);
    }

    void focuserSetupWritesAndSwitchesAnOpenPort() {
        SetupRig rig;
        Connector holder(rig.ctx->hub());
        QVERIFY(!holder.serial().setConnected(true));
        FocuserSetup setup(*rig.ctx, numberedPorts());
        setup.load();
        setup.setPortIndex(2); // "COM3"
        setup.consoleOnConnect = true;
        setup.stepSizeText = QStringLiteral("0.75");
        setup.smallStepText = QStringLiteral("6");
        setup.largeStepText = QStringLiteral("6"); // equal to the small step is allowed
        QVERIFY(setup.accept());
        QVERIFY(rig.prompt->shown.empty());
        QCOMPARE(holder.serial().port(), qint16(3));
        QVERIFY(holder.serial().connected());
        QCOMPARE(rig.device->openCount, 2); // closed and opened again
        QVERIFY(rig.ctx->shared().portChanged);
        QCOMPARE(rig.written(), QStringList({"PORT", "PortDevice", "ControlConsole", "StepSize",
                                             "LargeStepSize", "SmallStepSize"}));
        QCOMPARE(rig.stored("ControlConsole"), QVariant(qint32(1)));
        QCOMPARE(rig.stored("LargeStepSize"), QVariant(qint32(6)));
        // The settings routine reads back what the dialog wrote.
        Settings reread;
        QString problem;
        QVERIFY(!checkRegistry(*rig.store, reread, *rig.prompt, problem));
        QCOMPARE(reread.stepSize, 0.75f);
        QCOMPARE(reread.port, std::int16_t(3));
    }

    void rotatorSetupAndPortPropertiesWriteThePortOnly() {
        SetupRig rig;
        RotatorSetup setup(*rig.ctx, numberedPorts());
        setup.load();
        setup.setPortIndex(6);
        setup.consoleOnConnect = true;
        QVERIFY(setup.accept());
        QCOMPARE(rig.written(), QStringList({"PORT", "PortDevice", "ControlConsole"}));
        QCOMPARE(rig.stored("PORT"), QVariant(qint32(7)));
        QVERIFY(rig.ctx->settings().controlConsole);

        PortProperties properties(*rig.ctx, numberedPorts());
        properties.loadPropertySettings();
        QCOMPARE(properties.portIndex(), 6);
        properties.setPortIndex(1);
        QVERIFY(properties.accept());
        QCOMPARE(rig.stored("PORT"), QVariant(qint32(2)));
        rig.store->failOpen(SettingsStore::Hive::LocalMachine, SettingsKeyPath);
        properties.loadPropertySettings();
        QCOMPARE(rig.prompt->texts(), QStringList{QStringLiteral("Unable to open registry key")});
    }

    void portListKeepsTheStoredChoice() {
#ifndef Q_OS_WIN
        const QList<PortEntry> ports =
            availablePorts(QStringLiteral("/tmp/sim-tty"), QStringLiteral("/dev/ttyGONE"));
        QCOMPARE(ports.first().device, QStringLiteral("/tmp/sim-tty"));
        QVERIFY(ports.first().label.contains(QStringLiteral("Simulated unit")));
        QCOMPARE(portIndexFor(ports, 1, QStringLiteral("/dev/ttyGONE")), int(ports.size()) - 1);
#endif
        const QList<PortEntry> com = numberedPorts();
        QCOMPARE(com.last().label, QStringLiteral("COM20"));
        QCOMPARE(portIndexFor(com, 20, {}), 19);
        QCOMPARE(portIndexFor(com, 0, {}), -1);
        QCOMPARE(portIndexFor(com, 3, QStringLiteral("/dev/none")), 2);
    }

    // A USB adapter is offered by the link that names it, which stays when it comes back under
    // another device number; a device without one keeps its own path.
    void portsAreNamedByTheirStableLinks() {
#ifndef Q_OS_WIN
        QTemporaryDir dir;
        const QString byId = dir.filePath("by-id");
        QVERIFY(QDir().mkpath(byId));
        for (const char* name : {"ttyUSB0", "ttyUSB1"}) {
            QFile f(dir.filePath(name));
            QVERIFY(f.open(QIODevice::WriteOnly));
        }
        const QString adapter = byId + "/usb-Maker_Serial_A1-if00-port0";
        QVERIFY(QFile::link("../ttyUSB1", adapter));
        QVERIFY(QFile::link(dir.filePath("missing"), byId + "/usb-Dangling-if00-port0"));
        QCOMPARE(stableDeviceName(dir.filePath("ttyUSB1"), byId), adapter);
        QCOMPARE(stableDeviceName(dir.filePath("ttyUSB0"), byId), dir.filePath("ttyUSB0"));
        QCOMPARE(stableDeviceName(dir.filePath("gone"), byId), dir.filePath("gone"));
        QCOMPARE(stableDeviceName(dir.filePath("ttyUSB1"), dir.filePath("none")),
                 dir.filePath("ttyUSB1"));
#endif
    }

    // The calculator's results go to the focuser setup once they are numbers.
    void calculatorFollowsTheOptics() {
        SetupRig rig;
        FocuserSetup setup(*rig.ctx, numberedPorts());
        setup.load();
        StepSizeCalculator calc;
        QCOMPARE(calc.stepSize(), QStringLiteral("n/a"));
        calc.setFocalRatio(QStringLiteral("10")); // before the magnification: no counts yet
        QCOMPARE(calc.cfzMils(), QStringLiteral("8.66"));
        QCOMPARE(calc.cfzCounts(), QStringLiteral("n/a"));
        calc.setMagnification(QStringLiteral("4"));
        QCOMPARE(calc.stepSize(), QStringLiteral("0.425"));
        QCOMPARE(calc.cfzCounts(), QStringLiteral("n/a"));    // until the ratio changes again
        setup.takeCalculation(calc.result());                 // only the step size passes
        QCOMPARE(setup.stepSizeText, QStringLiteral("0.43")); // shown with two decimals
        QCOMPARE(setup.smallStepText, QStringLiteral("5"));
        calc.setMagnification(QStringLiteral("3"));
        calc.setFocalRatio(QStringLiteral("10"));
        QCOMPARE(calc.cfzCounts(), QStringLiteral("34"));
        setup.takeCalculation(calc.result());
        QCOMPARE(setup.stepSizeText, QStringLiteral("0.25"));
        QCOMPARE(setup.smallStepText, QStringLiteral("6"));
        QCOMPARE(setup.largeStepText, QStringLiteral("68"));
        calc.setMagnification(QStringLiteral("m"));
        QCOMPARE(calc.stepSize(), QStringLiteral("0.025")); // not a number reads as 0
        // Counts beyond 16 bits are an overflow, not a number.
        calc.setFocalRatio(QStringLiteral("200"));
        QCOMPARE(calc.cfzMils(), QStringLiteral("3464.56"));
        QCOMPARE(calc.cfzCounts(), QStringLiteral("n/a"));
        QCOMPARE(calc.problem(), QStringLiteral("Overflow"));
    }
};

QTEST_GUILESS_MAIN(ConsoleDialogsTest)
#include "test_console_dialogs.moc"
