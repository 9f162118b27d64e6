// The setup dialogs' logic against an in-memory settings store, the step size calculator, the
// port list and the process model.

#include "ConsoleRig.h"
#include "FakeDevices.h"

#include "console/ConsoleLifetime.h"
#include "console/PortList.h"
#include "console/SetupDialogs.h"
#include "console/StepSizeCalculator.h"

#include "app/CheckRegistry.h"
#include "app/MemorySettingsStore.h"
#include "app/SettingsKey.h"

#include <QSignalSpy>
#include <QTest>

using namespace mivel;
using namespace mivel::console;
using mivel::test::ConsoleRig;
using mivel::test::FakeProvider;

namespace {

constexpr int StringType = int(SettingsStore::Type::String);
constexpr int DwordType = int(SettingsStore::Type::Dword);

struct SetupRig : ConsoleRig {
    MemorySettingsStore* store;
    SetupRig()
        : ConsoleRig(std::make_unique<MemorySettingsStore>()) {
        store = static_cast<MemorySettingsStore*>(&ctx->store());
        QVERIFY(!checkRegistry(*ctx)); // a fresh store with every value
        store->writes.clear();
    }
    QVariant stored(const QString& name) {
        QVariant v;
        readSetting(*store, name, &v);
        return v;
    }
};

} // namespace

class ConsoleDialogsTest : public QObject {
    Q_OBJECT
private slots:
    void focuserSetupShowsTheStoredValues();
    void focuserSetupReportsMissingValues();
    void focuserSetupRefusesBadStepsAndWritesNothing_data();
    void focuserSetupRefusesBadStepsAndWritesNothing();
    void focuserSetupWritesAndSwitchesAnOpenPort();
    void rotatorSetupWritesPortAndConsoleOnly();
    void portPropertiesNeedTheKey();
    void portListKeepsTheStoredChoice();
    void calculatorFollowsTheOptics();
    void calculatorCountsWaitForTheFocalRatio();
    void calculatorResultGoesToTheFocuserSetup();
    void closingTheConsoleEndsTheProgramWithoutClients();
    void linkedClientKeepsTheServerRunning();
};

void ConsoleDialogsTest::focuserSetupShowsTheStoredValues() {
    SetupRig rig;
    writeSetting(*rig.store, "PORT", DwordType, 3);
    writeSetting(*rig.store, "ControlConsole", DwordType, 1);
    writeSetting(*rig.store, "StepSize", StringType, "0.5");
    writeSetting(*rig.store, "LargeStepSize", DwordType, 120);
    writeSetting(*rig.store, "SmallStepSize", DwordType, 12);
    FocuserSetup setup(*rig.ctx, numberedPorts());
    setup.load();
    QVERIFY(rig.prompt->shown.empty());
    QCOMPARE(setup.portIndex(), 2);
    QVERIFY(setup.consoleOnConnect);
    QCOMPARE(setup.stepSizeText, QStringLiteral("0.50"));
    QCOMPARE(setup.largeStepText, QStringLiteral("120"));
    QCOMPARE(setup.smallStepText, QStringLiteral("12"));

    // A port outside the list selects nothing.
    writeSetting(*rig.store, "PORT", DwordType, 21);
    setup.load();
    QCOMPARE(setup.portIndex(), -1);
}

void ConsoleDialogsTest::focuserSetupReportsMissingValues() {
    SetupRig rig;
    rig.store->tree().removeValue(SettingsStore::Hive::LocalMachine, SettingsKeyPath, "StepSize");
    FocuserSetup setup(*rig.ctx, numberedPorts());
    setup.stepSizeText = QStringLiteral("9");
    setup.load();
    QCOMPARE(setup.stepSizeText, QStringLiteral("9")); // kept, and the default stays
    QCOMPARE(rig.prompt->texts(), QStringList{QStringLiteral("Unable to read registry value")});
    FocuserSetup fresh(*rig.ctx, numberedPorts());
    fresh.load();
    QCOMPARE(fresh.stepSizeText, QStringLiteral("0.25"));

    rig.prompt->shown.clear();
    rig.store->failOpen(SettingsStore::Hive::LocalMachine, SettingsKeyPath);
    fresh.load();
    QCOMPARE(rig.prompt->texts(), QStringList{QStringLiteral("Unable to read registry")});
}

void ConsoleDialogsTest::focuserSetupRefusesBadStepsAndWritesNothing_data() {
    QTest::addColumn<QString>("small");
    QTest::addColumn<QString>("large");
    QTest::addColumn<QString>("message");
    QTest::newRow("small 0") << "0"
                             << "80"
                             << "Illegal value for SmallStepSize";
    QTest::newRow("small not a number") << "five"
                                        << "80"
                                        << "Illegal value for SmallStepSize";
    QTest::newRow("small empty") << ""
                                 << "80"
                                 << "Illegal value for SmallStepSize";
    QTest::newRow("large below small") << "10"
                                       << "9"
                                       << "Illegal value for LargeStepSize";
    QTest::newRow("large not a number") << "10"
                                        << "x"
                                        << "Illegal value for LargeStepSize";
    QTest::newRow("large beyond 16 bits") << "10"
                                          << "40000"
                                          << "Illegal value for LargeStepSize";
}

void ConsoleDialogsTest::focuserSetupRefusesBadStepsAndWritesNothing() {
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
    QCOMPARE(rig.ctx->settings().smallStepSize, before.smallStepSize);
}

void ConsoleDialogsTest::focuserSetupWritesAndSwitchesAnOpenPort() {
    SetupRig rig;
    Connector holder(rig.ctx->hub());
    QVERIFY(!holder.serial().setConnected(true));
    QCOMPARE(rig.device->openCount, 1);

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
    const Settings& s = rig.ctx->settings();
    QCOMPARE(s.port, std::int16_t(3));
    QVERIFY(s.controlConsole);
    QCOMPARE(s.stepSize, 0.75f);
    QCOMPARE(s.smallStepSize, std::int16_t(6));
    QCOMPARE(s.largeStepSize, std::int16_t(6));

    QCOMPARE(rig.stored("PORT"), QVariant(qint32(3)));
    QCOMPARE(rig.stored("ControlConsole"), QVariant(qint32(1)));
    QCOMPARE(rig.stored("StepSize"), QVariant(QStringLiteral("0.75")));
    QCOMPARE(rig.stored("LargeStepSize"), QVariant(qint32(6)));
    QCOMPARE(rig.stored("SmallStepSize"), QVariant(qint32(6)));
    QStringList written;
    for (const auto& w : rig.store->writes)
        written << w.name;
    QCOMPARE(written, QStringList({"PORT", "PortDevice", "ControlConsole", "StepSize",
                                   "LargeStepSize", "SmallStepSize"}));

    // The settings routine reads back what the dialog wrote.
    Settings reread;
    QString problem;
    QVERIFY(!checkRegistry(*rig.store, reread, *rig.prompt, problem));
    QCOMPARE(reread.stepSize, 0.75f);
    QCOMPARE(reread.port, std::int16_t(3));
}

void ConsoleDialogsTest::rotatorSetupWritesPortAndConsoleOnly() {
    SetupRig rig;
    RotatorSetup setup(*rig.ctx, numberedPorts());
    setup.load();
    QCOMPARE(setup.portIndex(), 0);
    QVERIFY(!setup.consoleOnConnect);
    setup.setPortIndex(6);
    setup.consoleOnConnect = true;
    QVERIFY(setup.accept());
    QStringList written;
    for (const auto& w : rig.store->writes)
        written << w.name;
    QCOMPARE(written, QStringList({"PORT", "PortDevice", "ControlConsole"}));
    QCOMPARE(rig.stored("PORT"), QVariant(qint32(7)));
    QCOMPARE(rig.ctx->settings().port, std::int16_t(7));
    QVERIFY(rig.ctx->settings().controlConsole);
}

void ConsoleDialogsTest::portPropertiesNeedTheKey() {
    SetupRig rig;
    writeSetting(*rig.store, "PORT", DwordType, 5);
    PortProperties properties(*rig.ctx, numberedPorts());
    properties.loadPropertySettings();
    QCOMPARE(properties.portIndex(), 4);
    properties.setPortIndex(1);
    QVERIFY(properties.accept());
    QCOMPARE(rig.stored("PORT"), QVariant(qint32(2)));

    rig.store->failOpen(SettingsStore::Hive::LocalMachine, SettingsKeyPath);
    properties.loadPropertySettings();
    QCOMPARE(rig.prompt->texts(), QStringList{QStringLiteral("Unable to open registry key")});
}

void ConsoleDialogsTest::portListKeepsTheStoredChoice() {
    const QList<PortEntry> ports =
        availablePorts(QStringLiteral("/tmp/sim-tty"), QStringLiteral("/dev/ttyGONE"));
#ifndef Q_OS_WIN
    QCOMPARE(ports.first().device, QStringLiteral("/tmp/sim-tty"));
    QVERIFY(ports.first().label.contains(QStringLiteral("Simulated unit")));
    QCOMPARE(ports.last().device, QStringLiteral("/dev/ttyGONE"));
    QCOMPARE(portIndexFor(ports, 1, QStringLiteral("/dev/ttyGONE")), int(ports.size()) - 1);
#endif
    const QList<PortEntry> com = numberedPorts();
    QCOMPARE(com.size(), 20);
    QCOMPARE(com.first().label, QStringLiteral("COM1"));
    QCOMPARE(com.last().label, QStringLiteral("COM20"));
    QCOMPARE(portIndexFor(com, 20, {}), 19);
    QCOMPARE(portIndexFor(com, 0, {}), -1);
    QCOMPARE(portIndexFor(com, 3, QStringLiteral("/dev/none")), 2);
}

void ConsoleDialogsTest::calculatorFollowsTheOptics() {
    StepSizeCalculator calc;
    calc.setMagnification(QStringLiteral("3"));
    calc.setFocalRatio(QStringLiteral("10"));
    QCOMPARE(calc.stepSize(), QStringLiteral("0.250"));
    QCOMPARE(calc.cfzMils(), QStringLiteral("8.66"));
    QCOMPARE(calc.cfzCounts(), QStringLiteral("34"));
    QCOMPARE(calc.smallStep(), QStringLiteral("6"));
    QCOMPARE(calc.largeStep(), QStringLiteral("68"));

    calc.setMagnification(QStringLiteral("m"));
    QCOMPARE(calc.stepSize(), QStringLiteral("0.025")); // not a number reads as 0

    // Counts beyond 16 bits are an overflow, not a number.
    calc.setMagnification(QStringLiteral("0"));
    calc.setFocalRatio(QStringLiteral("200"));
    QCOMPARE(calc.cfzMils(), QStringLiteral("3464.56"));
    QCOMPARE(calc.cfzCounts(), QStringLiteral("n/a"));
    QCOMPARE(calc.problem(), QStringLiteral("Overflow"));
}

void ConsoleDialogsTest::calculatorCountsWaitForTheFocalRatio() {
    StepSizeCalculator calc;
    QCOMPARE(calc.stepSize(), QStringLiteral("n/a"));
    calc.setFocalRatio(QStringLiteral("10"));
    QCOMPARE(calc.cfzMils(), QStringLiteral("8.66"));
    QCOMPARE(calc.cfzCounts(), QStringLiteral("n/a"));
    calc.setMagnification(QStringLiteral("3"));
    QCOMPARE(calc.cfzCounts(), QStringLiteral("n/a")); // until the ratio changes again
    calc.setFocalRatio(QStringLiteral("10"));
    QCOMPARE(calc.cfzCounts(), QStringLiteral("34"));
}

void ConsoleDialogsTest::calculatorResultGoesToTheFocuserSetup() {
    SetupRig rig;
    FocuserSetup setup(*rig.ctx, numberedPorts());
    setup.load();
    StepSizeCalculator calc;
    calc.setFocalRatio(QStringLiteral("10"));
    setup.takeCalculation(calc.result()); // only "n/a": nothing passes
    QCOMPARE(setup.stepSizeText, QStringLiteral("0.25"));
    QCOMPARE(setup.smallStepText, QStringLiteral("5"));
    calc.setMagnification(QStringLiteral("4"));
    calc.setFocalRatio(QStringLiteral("8"));
    setup.takeCalculation(calc.result());
    QCOMPARE(setup.stepSizeText, QStringLiteral("0.43")); // 0.425 shown with two decimals
    QCOMPARE(setup.smallStepText, QStringLiteral("2"));   // 13 counts x 0.2
    QCOMPARE(setup.largeStepText, QStringLiteral("26"));
}

void ConsoleDialogsTest::closingTheConsoleEndsTheProgramWithoutClients() {
    ManualClock clock;
    FakeProvider devices;
    ConsoleLifetime lifetime(&devices, clock);
    QSignalSpy quit(&lifetime, &ConsoleLifetime::quitRequested);
    lifetime.mainConsoleOpened();
    devices.device(DeviceProvider::Kind::Rotator); // created, never linked
    lifetime.mainConsoleClosed();
    QCOMPARE(quit.count(), 1);

    ConsoleLifetime headless(nullptr, clock);
    QSignalSpy quit2(&headless, &ConsoleLifetime::quitRequested);
    headless.mainConsoleOpened();
    headless.mainConsoleClosed();
    QCOMPARE(quit2.count(), 1);
}

void ConsoleDialogsTest::linkedClientKeepsTheServerRunning() {
    ManualClock clock;
    FakeProvider devices;
    ConsoleLifetime lifetime(&devices, clock);
    QSignalSpy quit(&lifetime, &ConsoleLifetime::quitRequested);
    lifetime.mainConsoleOpened();
    devices.device(DeviceProvider::Kind::Rotator);
    devices.rotator.isLinked = true;
    lifetime.mainConsoleClosed();
    QVERIFY(lifetime.serving());
    clock.advance(10 * ConsoleLifetime::WatchMs);
    QCOMPARE(quit.count(), 0);

    // The client opens the mini console; letting go while it is open keeps the program.
    lifetime.miniConsoleOpened();
    devices.rotator.isLinked = false;
    clock.advance(3 * ConsoleLifetime::WatchMs);
    QCOMPARE(quit.count(), 0);
    lifetime.miniConsoleClosed();
    clock.advance(ConsoleLifetime::WatchMs);
    QCOMPARE(quit.count(), 1);
    clock.advance(5 * ConsoleLifetime::WatchMs);
    QCOMPARE(quit.count(), 1);
}

QTEST_GUILESS_MAIN(ConsoleDialogsTest)
#include "test_console_dialogs.moc"
