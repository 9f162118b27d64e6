// What the user chose during a run holds for the run: the port in use (given for the run or
// picked in a setup dialog) and the console's jog step survive every settings reload, and the
// program lives while anything holds the link.

#include "support/TestRig.h"

#include "console/SetupDialogs.h"
#include "console/ui/ConsoleApp.h"
#include "console/ui/MainWindow.h"

#include "app/CheckRegistry.h"
#include "app/SettingsKey.h"
#include "app/SettingsTable.h"
#include "drivers/DriverSet.h"
#include "sim/PtyHost.h"
#include "sim/SimDevice.h"
#include "sim/SimulatedUnit.h"

#include <QAction>
#include <QComboBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace mivel;
using namespace mivel::console;
using namespace mivel::test;

namespace {

using Kind = DeviceProvider::Kind;
constexpr int DwordType = int(SettingsStore::Type::Dword);

QVariant stored(SettingsStore& store, const QString& name) {
    QVariant v;
    readSetting(store, name, &v);
    return v;
}

// The program on the simulated unit behind the real serial port code: the unit on a
// pseudo-terminal, opened through QSerialPort, and a store whose settings key exists.
struct PtyProgram {
    QTemporaryDir dir;
    sim::SimulatedUnit unit;
    sim::PtyHost host{unit};
    QString tty = dir.filePath(QStringLiteral("unit"));
    QString gone = dir.filePath(QStringLiteral("gone")); // a device that is not there
    MemorySettingsStore* store = nullptr;
    ScriptedPrompt* prompt = nullptr;
    std::unique_ptr<AppContext> ctx;

    PtyProgram() {
        const Status started = host.start(tty);
        QVERIFY2(!started, qPrintable(describe(started)));
        auto s = std::make_unique<MemorySettingsStore>();
        auto p = std::make_unique<ScriptedPrompt>();
        store = s.get();
        prompt = p.get();
        ctx = std::make_unique<AppContext>(std::move(s), std::move(p), makeQtSerialDevice,
                                           AppPaths::inDirectory(dir.path()));
        QVERIFY(!checkRegistry(*ctx)); // creates the key
    }
    // The start-up of the program with a device given for the run.
    void startOn(const QString& device) {
        QVERIFY(!checkRegistry(*ctx));
        ctx->settings().portDevice = device;
        ctx->hub().ensureSerial().setDevicePath(device);
    }
    Serial& serial() { return *ctx->hub().serial(); }
};

// The console's windows on the simulated unit behind the in-memory device.
struct WindowProgram : AppRig {
    sim::SimulatedUnit unit{clock};
    std::unique_ptr<ConsoleApp> app;

    WindowProgram()
        : AppRig([this] { return sim::makeSimDevice(unit); }) {
        checkRegistry(*ctx);
        app = std::make_unique<ConsoleApp>(*ctx, nullptr);
        app->showMainConsole();
    }
    ~WindowProgram() override {
        app.reset();
        ctx.reset(); // the line goes before the unit at its other end
    }
    MainWindow& main() { return *app->mainWindow(); }
    void run(qint64 ms) { advance(ms, 50); }
};

} // namespace

class RunChoicesTest : public QObject {
    Q_OBJECT
private slots:
    // Creating driver objects reads the settings again; the device given for the run stays the
    // one every link opens, and the stored device is left as it was.
    void theDeviceGivenForTheRunOutlivesSettingsReloads() {
        PtyProgram p;
        writeSetting(*p.store, setting::PortDevice, p.gone);
        p.startOn(p.tty);
        DriverSet drivers(*p.ctx);
        drivers.device(Kind::Rotator); // opens the port at once
        QVERIFY(p.serial().connected());
        QCOMPARE(p.serial().devicePath(), p.tty);
        Task<CallResult> link = drivers.device(Kind::Focuser).set(QStringLiteral("Link"), true);
        QTRY_VERIFY_WITH_TIMEOUT(link.isDone(), 10000);
        QCOMPARE(link.result().error, Status());
        QCOMPARE(p.serial().devicePath(), p.tty);
        QCOMPARE(stored(*p.store, setting::PortDevice.name).toString(), p.gone);
        QVERIFY(p.prompt->shown.empty());
    }

    // The dialogs open on the port in use. OK after changing a step size leaves a live link
    // where it is and stores no port; picking a device that is not there says which one.
    void setupDialogsOpenOnThePortInUse() {
        PtyProgram p;
        p.startOn(p.tty); // the store says port 1, with no device
        Connector console(p.ctx->hub());
        QVERIFY(!p.serial().setConnected(true));
        const QList<PortEntry> ports{{p.gone, p.gone}, {p.tty, p.tty}};
        QSignalSpy reopened(&p.serial(), &Serial::connectedChanged);
        p.store->writes.clear();

        FocuserSetup setup(*p.ctx, ports);
        setup.load();
        QCOMPARE(setup.portIndex(), 1);
        setup.stepSizeText = QStringLiteral("0.5");
        QVERIFY(setup.accept());
        QVERIFY(p.serial().connected());
        QCOMPARE(p.serial().devicePath(), p.tty);
        QCOMPARE(reopened.count(), 0);
        QVERIFY(!p.ctx->shared().portChanged);
        QCOMPARE(stored(*p.store, QStringLiteral("StepSize")).toString(), QStringLiteral("0.5"));
        QVERIFY(!stored(*p.store, setting::PortDevice.name).isValid());
        QVERIFY(p.prompt->shown.empty());

        RotatorSetup rotatorSetup(*p.ctx, ports);
        rotatorSetup.load();
        rotatorSetup.setPortIndex(0);
        QVERIFY(rotatorSetup.accept());
        QVERIFY(!p.serial().connected());
        QCOMPARE(p.prompt->texts().size(), 1);
        QVERIFY2(p.prompt->texts()[0].startsWith(p.gone + QStringLiteral(": ")),
                 qPrintable(p.prompt->texts()[0]));
        QCOMPARE(stored(*p.store, setting::PortDevice.name).toString(), p.gone); // the user's pick
    }

    // The simulated unit's terminal goes with the run: OK keeps it as the port in use, and
    // picking it in a dialog uses it without storing it.
    void theSimulatedUnitsTerminalIsNeverStored() {
        PtyProgram p;
        writeSetting(*p.store, setting::PortDevice, p.gone);
        p.startOn(p.tty);
        const QList<PortEntry> ports = availablePorts(p.tty, p.tty);
        QVERIFY(ports.first().temporary);
        p.store->writes.clear();

        RotatorSetup setup(*p.ctx, ports);
        setup.load();
        QCOMPARE(setup.portIndex(), 0);
        QVERIFY(setup.accept());
        PortProperties properties(*p.ctx, ports + QList<PortEntry>{{p.gone, p.gone}});
        properties.loadPropertySettings();
        properties.setPortIndex(int(ports.size())); // another device, then back to the unit
        QVERIFY(properties.accept());
        QCOMPARE(p.ctx->settings().portDevice, p.gone);
        properties.setPortIndex(0);
        QVERIFY(properties.accept());
        QCOMPARE(p.ctx->settings().portDevice, p.tty);
        QCOMPARE(p.serial().devicePath(), p.tty);

        // The next start finds the user's last lasting choice.
        Settings next;
        QString problem;
        QVERIFY(!checkRegistry(*p.store, next, *p.prompt, problem));
        QCOMPARE(next.portDevice, p.gone);
    }

    // The jog step the combo shows is the step a click moves, after a driver object has been
    // created meanwhile, and it is the one saved when the console closes.
    void theJogStepShownIsTheStepMoved() {
        WindowProgram w;
        w.unit.placeFocuser(12500, true);
        w.main().findChild<QAction*>(QStringLiteral("DialPhoneNumber"))->trigger();
        w.run(1500);
        auto* steps = w.main().findChild<QComboBox*>(QStringLiteral("cmbFocusStep"));
        steps->setCurrentIndex(4);
        const QString shown = steps->currentText();
        QCOMPARE(shown, QStringLiteral("100 counts"));

        DriverSet drivers(*w.ctx);
        drivers.device(Kind::Focuser); // its creation runs the settings routine
        QCOMPARE(steps->currentText(), shown);
        w.unit.clearReceived();
        auto* in = w.main().findChild<QPushButton*>(QStringLiteral("cmdFocusIn"));
        QTest::mousePress(in, Qt::LeftButton);
        QTest::mouseRelease(in, Qt::LeftButton);
        w.run(100);
        QVERIFY2(w.unit.receivedBytes().contains("m-100 "), w.unit.receivedBytes().constData());

        w.main().close();
        QCOMPARE(stored(*w.store, QStringLiteral("FocusStep")), QVariant(qint32(4)));
    }

    // Closing the main console ends the program only when nothing else holds the link: a
    // client's request that is still running, a client's link, another window. The last one
    // to let go ends it and closes the port.
    void theProgramLivesWhileAnythingHoldsTheLink() {
        WindowProgram w;
        w.main().findChild<QAction*>(QStringLiteral("DialPhoneNumber"))->trigger();
        w.run(1500);
        QSignalSpy quit(w.app.get(), &ConsoleApp::quitRequested);
        DriverSet drivers(*w.ctx);
        AutomationDevice& focuser = drivers.device(Kind::Focuser);
        const Task<CallResult> link = focuser.set(QStringLiteral("Link"), true);
        QVERIFY(!link.isDone());
        w.main().close();
        w.run(3000);
        QCOMPARE(quit.count(), 0);
        QVERIFY(link.isDone() && focuser.linked());
        QVERIFY(w.ctx->hub().serial()->connected());

        auto window = std::make_unique<Connector>(w.ctx->hub());
        const Task<CallResult> unlink = focuser.set(QStringLiteral("Link"), false);
        QVERIFY(unlink.isDone() && !focuser.linked());
        w.run(500);
        QCOMPARE(quit.count(), 0);
        window.reset();
        QCOMPARE(quit.count(), 1);
        QVERIFY(!w.ctx->hub().serial()); // the link is torn down, the port closed
    }
};

QTEST_MAIN(RunChoicesTest)
#include "test_run_choices.moc"
