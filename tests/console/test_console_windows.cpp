// The console's windows, driven through their widgets (found by object name) against the
// simulated unit. With MIVEL_SCREENSHOT_DIR set, every window is also saved there as a PNG.

#include "FakeDevices.h"

#include "console/ui/ConsoleApp.h"
#include "console/ui/MainWindow.h"
#include "console/ui/MiniConsoleWindow.h"
#include "console/ui/SetupWindows.h"
#include "console/ui/WrapWindows.h"

#include "app/CheckRegistry.h"
#include "app/MemorySettingsStore.h"
#include "drivers/DriverSet.h"
#include "sim/SimDevice.h"
#include "sim/SimulatedUnit.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QStatusBar>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QToolBar>

using namespace mivel;
using namespace mivel::console;
using mivel::test::FakeProvider;

namespace {

struct WindowRig {
    ManualClock clock;
    QTemporaryDir dir;
    sim::SimulatedUnit unit{clock};
    ScriptedPrompt* prompt = nullptr;
    MemorySettingsStore* store = nullptr;
    std::unique_ptr<AppContext> ctx;
    FakeProvider devices;
    std::unique_ptr<ConsoleApp> app;

    WindowRig() {
        auto p = std::make_unique<ScriptedPrompt>();
        prompt = p.get();
        auto s = std::make_unique<MemorySettingsStore>();
        store = s.get();
        ctx = std::make_unique<AppContext>(
            std::move(s), std::move(p), [this] { return sim::makeSimDevice(unit); },
            AppPaths::inDirectory(dir.path()), clock);
        checkRegistry(*ctx);
        unit.placeFocuser(12500, true);
        unit.placeRotator(9000, true, 1800);
        app = std::make_unique<ConsoleApp>(*ctx, &devices);
        app->showMainConsole();
    }
    ~WindowRig() { app.reset(); }

    MainWindow& main() { return *app->mainWindow(); }
    template <class W> W* find(QWidget* root, const char* name) {
        return root->findChild<W*>(QLatin1String(name));
    }
    QAction* action(const char* name) { return find<QAction>(&main(), name); }
    QString text(QWidget* root, const char* name) { return find<QLabel>(root, name)->text(); }

    // Lets queued deliveries of the line run.
    static void settle() {
        for (int i = 0; i < 10; ++i)
            QCoreApplication::processEvents();
    }
    // Time passes in steps, so that the unit answers each poll before the next.
    void run(qint64 ms) {
        for (qint64 t = 0; t < ms; t += 50) {
            clock.advance(50);
            settle();
        }
    }
    void connectToUnit() {
        action("DialPhoneNumber")->trigger();
        settle();
        run(1500); // probe answered, version asked for, a few polls
    }
};

// Saves a window when screenshots are asked for.
void shoot(QWidget* w, const QString& name) {
    const QString dir = qEnvironmentVariable("MIVEL_SCREENSHOT_DIR");
    if (dir.isEmpty())
        return;
    QDir().mkpath(dir);
    w->adjustSize();
    QCoreApplication::processEvents();
    QVERIFY(w->grab().save(QDir(dir).filePath(name + QStringLiteral(".png"))));
}

} // namespace

class ConsoleWindowsTest : public QObject {
    Q_OBJECT
private slots:
    void toolbarMenusTabsAndStatusBarCarryTheirNames();
    void controlsFollowTheLink();
    void connectedConsoleShowsTheUnit();
    void gotoThroughTheWidgetsMovesTheFocuser();
    void spinnerChangeReachesTheUnit();
    void tabSwitchChangesWhatIsPolled();
    void miniConsoleSharesTheLinkAndValues();
    void setupDialogRefusesASmallStepOfZero();
    void calculatorWindowFillsTheSetupDialog();
    void aboutBoxShowsTheFirmwareVersion();
    void wrapWindowsWork();
    void driverObjectsOpenTheConsoleWindows();
    void closingTheConsoleWithoutClientsEndsTheProgram();
    void closingTheConsoleWithALinkedClientKeepsServing();
};

void ConsoleWindowsTest::toolbarMenusTabsAndStatusBarCarryTheirNames() {
    WindowRig rig;
    MainWindow& w = rig.main();
    for (const char* name :
         {"DialPhoneNumber", "HangUpPhone", "Log", "StopLog", "Graph", "mnuConnect",
          "mnuDisconnect", "mnuExit", "mnuGoto", "mnuHome", "mnuStop", "mnuAbout"})
        QVERIFY2(rig.action(name), name);
    QCOMPARE(rig.action("mnuGoto")->shortcut(), QKeySequence(QStringLiteral("Ctrl+G")));
    QCOMPARE(rig.action("mnuHome")->shortcut(), QKeySequence(QStringLiteral("Ctrl+H")));
    QCOMPARE(rig.action("mnuStop")->shortcut(), QKeySequence(Qt::Key_Escape));
    // What other windows will do is visibly off, never half there.
    for (const char* name : {"Log", "StopLog", "Graph", "mnuLog", "mnuStopLog", "mnuGraph",
                             "mnuCalibrate", "mnuTempComp", "mnuFirmware"})
        QVERIFY2(!rig.action(name)->isEnabled(), name);
    QVERIFY(!rig.find<QPushButton>(&w, "cmdTempComp")->isEnabled());
    auto* toolbar = rig.find<QToolBar>(&w, "Toolbar1");
    QVERIFY(toolbar->actions().contains(rig.action("DialPhoneNumber")));
    auto* tabs = rig.find<QTabWidget>(&w, "SSTab1");
    QCOMPARE(tabs->count(), 4);
    QVERIFY(rig.find<QLabel>(w.statusBar(), "lblMivelTemp"));
    QVERIFY(rig.find<QLabel>(w.statusBar(), "lblAmbTemp"));
    QVERIFY(rig.ctx->shared().mainConsoleOpen);
    QCOMPARE(rig.ctx->windows(), nullptr); // installed by startConsole, not by the window
}

void ConsoleWindowsTest::controlsFollowTheLink() {
    WindowRig rig;
    MainWindow& w = rig.main();
    auto* gotoButton = rig.find<QPushButton>(&w, "cmdGoto");
    QVERIFY(!gotoButton->isEnabled());
    QVERIFY(!rig.find<QSpinBox>(&w, "UpDown2")->isEnabled());
    QVERIFY(rig.find<QLineEdit>(&w, "txtPosition")->isEnabled());
    QVERIFY(rig.action("DialPhoneNumber")->isEnabled());
    QVERIFY(!rig.action("HangUpPhone")->isEnabled());
    rig.connectToUnit();
    QVERIFY(gotoButton->isEnabled());
    QVERIFY(!rig.action("DialPhoneNumber")->isEnabled());
    QVERIFY(!rig.action("mnuConnect")->isEnabled());
    QVERIFY(rig.action("HangUpPhone")->isEnabled());
    QVERIFY(rig.action("mnuDisconnect")->isEnabled());
    rig.action("HangUpPhone")->trigger();
    QVERIFY(!gotoButton->isEnabled());
    QVERIFY(rig.action("mnuConnect")->isEnabled());
    QCOMPARE(rig.text(w.statusBar(), "lblLink"), QStringLiteral("Not connected"));
}

void ConsoleWindowsTest::connectedConsoleShowsTheUnit() {
    WindowRig rig;
    MainWindow& w = rig.main();
    rig.connectToUnit();
    QVERIFY(rig.prompt->shown.empty());
    QCOMPARE(rig.text(&w, "lblActual"), QStringLiteral("12500"));
    QCOMPARE(rig.text(&w, "lblMotor").isEmpty(), false);
    QCOMPARE(rig.ctx->shared().versionText, QStringLiteral("3.02"));
    rig.find<QTabWidget>(&w, "SSTab1")->setCurrentIndex(2);
    rig.run(500);
    QCOMPARE(rig.text(&w, "lblRotActual"), QStringLiteral("45.00"));
    QCOMPARE(rig.text(&w, "lblWrap"), QStringLiteral("9.0"));
    rig.find<QTabWidget>(&w, "SSTab1")->setCurrentIndex(1);
    rig.run(500);
    QVERIFY(rig.text(&w, "lblAmbTemp").startsWith(QStringLiteral("Amb Temp ")));
    QVERIFY(rig.text(&w, "lblMivelTemp").startsWith(QStringLiteral("Mivel Temp ")));
    QVERIFY(rig.text(&w, "lblMivelTemp").endsWith(QStringLiteral(" F")));
    QVERIFY(rig.text(&w, "lblAmbient") != QStringLiteral("-"));
    shoot(&w, QStringLiteral("main-console-temperatures"));
    rig.find<QTabWidget>(&w, "SSTab1")->setCurrentIndex(2);
    rig.run(300);
    shoot(&w, QStringLiteral("main-console-rotator"));
    rig.find<QTabWidget>(&w, "SSTab1")->setCurrentIndex(3);
    rig.unit.clearReceived();
    rig.run(300);
    QVERIFY(rig.unit.receivedBytes().contains(" d0 "));
    shoot(&w, QStringLiteral("main-console-diagnostics"));
    rig.find<QTabWidget>(&w, "SSTab1")->setCurrentIndex(0);
    rig.run(300);
    shoot(&w, QStringLiteral("main-console"));
    rig.app->setNightVision(true);
    QVERIFY(rig.action("mnuNight")->isCheckable());
    shoot(&w, QStringLiteral("main-console-night"));
    rig.app->setNightVision(false);
}

void ConsoleWindowsTest::gotoThroughTheWidgetsMovesTheFocuser() {
    WindowRig rig;
    MainWindow& w = rig.main();
    rig.connectToUnit();
    auto* position = rig.find<QLineEdit>(&w, "txtPosition");
    position->clear();
    QTest::keyClicks(position, QStringLiteral("13000"));
    rig.unit.clearReceived();
    rig.prompt->answers = {Prompt::Answer::Ok};
    QTest::mouseClick(rig.find<QPushButton>(&w, "cmdGoto"), Qt::LeftButton);
    QCOMPARE(rig.prompt->texts(), QStringList{QStringLiteral("Confirm slew?")});
    rig.settle();
    QVERIFY(rig.unit.receivedBytes().contains("b13000 "));
    QCOMPARE(rig.unit.focusTarget(), 13000);
    rig.run(20000);
    QCOMPARE(rig.text(&w, "lblActual"), QStringLiteral("13000"));

    // The keyboard shortcut on the rotator tab turns the rotator.
    rig.find<QTabWidget>(&w, "SSTab1")->setCurrentIndex(2);
    rig.find<QLineEdit>(&w, "txtRotGOTO")->setText(QStringLiteral("90"));
    rig.prompt->answers = {Prompt::Answer::Ok};
    rig.action("mnuGoto")->trigger();
    rig.run(2500); // not yet known to be homed: asked, then the Goto follows
    QCOMPARE(rig.unit.rotatorTarget(), 18000);
}

void ConsoleWindowsTest::spinnerChangeReachesTheUnit() {
    WindowRig rig;
    MainWindow& w = rig.main();
    rig.connectToUnit();
    rig.find<QTabWidget>(&w, "SSTab1")->setCurrentIndex(1);
    rig.run(500);
    auto* dew = rig.find<QSpinBox>(&w, "udDew2");
    dew->setValue(65);
    rig.settle();
    QCOMPARE(rig.unit.dewPower(2), 65);
    rig.run(3000);
    QCOMPARE(dew->value(), 65); // the unit's own reply agrees
    auto* manual = rig.find<QRadioButton>(&w, "optFanAuto");
    QTest::mouseClick(manual, Qt::LeftButton);
    rig.settle();
    QVERIFY(rig.unit.receivedBytes().contains("n1 "));
}

void ConsoleWindowsTest::tabSwitchChangesWhatIsPolled() {
    WindowRig rig;
    MainWindow& w = rig.main();
    rig.connectToUnit();
    auto* tabs = rig.find<QTabWidget>(&w, "SSTab1");
    const struct {
        int tab;
        const char* poll;
    } cases[] = {{1, " T "}, {2, " R "}, {3, " d0 "}, {0, " Q "}};
    for (const auto& c : cases) {
        tabs->setCurrentIndex(c.tab);
        rig.unit.clearReceived();
        rig.run(250);
        QCOMPARE(rig.unit.receivedBytes(), QByteArray(c.poll));
    }
}

void ConsoleWindowsTest::miniConsoleSharesTheLinkAndValues() {
    WindowRig rig;
    rig.connectToUnit();
    rig.app->showMiniConsole();
    MiniConsoleWindow* mini = rig.app->miniConsole();
    QVERIFY(mini);
    QVERIFY(mini->isVisible());
    rig.run(500);
    QCOMPARE(rig.text(mini, "lblActual"), QStringLiteral("12500"));
    QVERIFY(rig.find<QPushButton>(mini, "cmdGoto")->isEnabled());
    QVERIFY(!rig.find<QPushButton>(mini, "cmdConnect")->isEnabled());
    // Its Stop goes out on the same line.
    rig.unit.clearReceived();
    QTest::mouseClick(rig.find<QPushButton>(mini, "cmdStopFocus"), Qt::LeftButton);
    rig.settle();
    QVERIFY(rig.unit.receivedBytes().startsWith("S "));
    rig.find<QTabWidget>(mini, "SSTab1")->setCurrentIndex(2);
    rig.run(500);
    QCOMPARE(rig.text(mini, "lblRotActual"), QStringLiteral("45.00"));
    rig.find<QTabWidget>(mini, "SSTab1")->setCurrentIndex(0);
    rig.run(300);
    shoot(mini, QStringLiteral("mini-console"));
    // The mini console closes on its own; the program goes on.
    QSignalSpy quit(rig.app.get(), &ConsoleApp::quitRequested);
    mini->close();
    rig.settle();
    QCOMPARE(quit.count(), 0);
}

void ConsoleWindowsTest::setupDialogRefusesASmallStepOfZero() {
    WindowRig rig;
    FocuserSetupDialog dialog(*rig.ctx, numberedPorts());
    dialog.show();
    QCOMPARE(rig.find<QComboBox>(&dialog, "cmbPorts")->count(), 20);
    QCOMPARE(rig.find<QComboBox>(&dialog, "cmbPorts")->currentText(), QStringLiteral("COM1"));
    QCOMPARE(rig.find<QLineEdit>(&dialog, "txtStepSize")->text(), QStringLiteral("0.25"));
    shoot(&dialog, QStringLiteral("focuser-setup"));
    rig.store->writes.clear();
    rig.find<QLineEdit>(&dialog, "txtSmallStepSize")->setText(QStringLiteral("0"));
    QTest::mouseClick(rig.find<QPushButton>(&dialog, "cmdOK"), Qt::LeftButton);
    QCOMPARE(rig.prompt->texts(), QStringList{QStringLiteral("Illegal value for SmallStepSize")});
    QVERIFY(dialog.isVisible());
    QVERIFY(rig.store->writes.empty());
    rig.find<QLineEdit>(&dialog, "txtSmallStepSize")->setText(QStringLiteral("8"));
    QTest::mouseClick(rig.find<QPushButton>(&dialog, "cmdOK"), Qt::LeftButton);
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QCOMPARE(rig.ctx->settings().smallStepSize, std::int16_t(8));

    RotatorSetupDialog rotator(*rig.ctx, numberedPorts());
    rotator.show();
    shoot(&rotator, QStringLiteral("rotator-setup"));
    PropertiesDialog properties(*rig.ctx, numberedPorts());
    properties.show();
    QCOMPARE(rig.find<QComboBox>(&properties, "cboPort")->count(), 20);
    shoot(&properties, QStringLiteral("port-properties"));
}

void ConsoleWindowsTest::calculatorWindowFillsTheSetupDialog() {
    WindowRig rig;
    StepSizeDialog calc;
    calc.show();
    QTest::keyClicks(rig.find<QLineEdit>(&calc, "txtMag"), QStringLiteral("3"));
    QTest::keyClicks(rig.find<QLineEdit>(&calc, "txtfRatio"), QStringLiteral("10"));
    QCOMPARE(rig.text(&calc, "lblStepSize"), QStringLiteral("0.250"));
    QCOMPARE(rig.text(&calc, "lblCFZmils"), QStringLiteral("8.66"));
    QCOMPARE(rig.text(&calc, "lblCFZcounts"), QStringLiteral("34"));
    QCOMPARE(rig.text(&calc, "lblSmallStepSize"), QStringLiteral("6"));
    QCOMPARE(rig.text(&calc, "lblLargeStepSize"), QStringLiteral("68"));
    shoot(&calc, QStringLiteral("step-size-calculator"));
}

void ConsoleWindowsTest::aboutBoxShowsTheFirmwareVersion() {
    WindowRig rig;
    rig.connectToUnit();
    AboutDialog about(*rig.ctx, QStringLiteral("http://127.0.0.1:11111"));
    about.show();
    QCOMPARE(rig.text(&about, "lblInfoFirmwareversion"), QStringLiteral("3.02"));
    QCOMPARE(rig.text(&about, "lblInfoQtversion"), QString::fromLatin1(qVersion()));
    QCOMPARE(rig.text(&about, "lblInfoAlpacaserver"), QStringLiteral("http://127.0.0.1:11111"));
    QVERIFY(rig.text(&about, "lblInfoSerialport").contains(QStringLiteral("open")));
    shoot(&about, QStringLiteral("about"));
}

void ConsoleWindowsTest::wrapWindowsWork() {
    WindowRig rig;
    rig.connectToUnit();
    UnwrapDialog unwrap(rig.ctx->shared());
    unwrap.show();
    shoot(&unwrap, QStringLiteral("unwrap"));
    rig.find<QRadioButton>(&unwrap, "Option2")->setChecked(true);
    QTest::mouseClick(rig.find<QPushButton>(&unwrap, "cmdOK"), Qt::LeftButton);
    QCOMPARE(rig.ctx->shared().unwrapChoice, std::int16_t(2));

    rig.find<QTabWidget>(&rig.main(), "SSTab1")->setCurrentIndex(2);
    rig.run(500); // the dial shows what the rotator tab reads
    rig.app->showRotatorIndicator();
    RotIndicatorWindow* dial = rig.app->rotatorIndicator();
    QVERIFY(dial && dial->isVisible());
    QVERIFY(rig.ctx->shared().rotIndicatorOpen);
    QVERIFY(dial->windowFlags() & Qt::WindowStaysOnTopHint);
    rig.run(500);
    shoot(dial, QStringLiteral("rotator-indicator"));
    rig.unit.clearReceived();
    QTest::mouseClick(rig.find<QPushButton>(dial, "Command1"), Qt::LeftButton);
    rig.run(100);
    QVERIFY(rig.unit.receivedBytes().contains("q0 "));
    QVERIFY(!rig.ctx->shared().rotIndicatorOpen);

    WrapMessageWindow message(rig.clock);
    message.showMessage(QStringLiteral("Wrap limit reached."), 1000);
    QVERIFY(message.isVisible());
    shoot(&message, QStringLiteral("wrap-message"));
    rig.clock.advance(1000);
    QVERIFY(!message.isVisible());
}

void ConsoleWindowsTest::driverObjectsOpenTheConsoleWindows() {
    WindowRig rig;
    DriverSet drivers(*rig.ctx);
    rig.ctx->setWindows(rig.app.get());
    AutomationDevice& focuser = drivers.device(DeviceProvider::Kind::Focuser);

    // Nothing while the main console is open.
    QVERIFY(focuser.call(QStringLiteral("ShowForm"), {1}).isDone());
    QVERIFY(!rig.app->miniConsole());
    rig.main().close();
    rig.settle();
    QVERIFY(!rig.app->mainConsoleOpen());
    const auto shown = focuser.call(QStringLiteral("ShowForm"), {1});
    QVERIFY(shown.isDone());
    QVERIFY(!shown.result().error);
    QVERIFY(rig.app->miniConsole() && rig.app->miniConsole()->isVisible());

    // SetupDialog shows frmDialog modally.
    QString opened;
    QTimer::singleShot(0, [&opened] {
        if (QWidget* modal = QApplication::activeModalWidget()) {
            opened = modal->objectName();
            modal->close();
        }
    });
    QVERIFY(focuser.call(QStringLiteral("SetupDialog"), {}).isDone());
    QCOMPARE(opened, QStringLiteral("frmDialog"));
    rig.ctx->setWindows(nullptr);
}

void ConsoleWindowsTest::closingTheConsoleWithoutClientsEndsTheProgram() {
    WindowRig rig;
    rig.connectToUnit();
    QSignalSpy quit(rig.app.get(), &ConsoleApp::quitRequested);
    rig.action("mnuExit")->trigger();
    rig.settle();
    QCOMPARE(quit.count(), 1);
    QVERIFY(!rig.ctx->shared().mainConsoleOpen);
    QVERIFY(!rig.ctx->hub().serial() || !rig.ctx->hub().serial()->connected());
}

void ConsoleWindowsTest::closingTheConsoleWithALinkedClientKeepsServing() {
    WindowRig rig;
    Connector driver(rig.ctx->hub()); // a driver object holding the link
    rig.connectToUnit();
    rig.devices.device(DeviceProvider::Kind::Rotator);
    rig.devices.rotator.isLinked = true;
    QSignalSpy quit(rig.app.get(), &ConsoleApp::quitRequested);
    rig.main().close();
    rig.run(3000);
    QCOMPARE(quit.count(), 0);
    QVERIFY(rig.ctx->hub().serial()->connected()); // the server still has its port
    // A client asks for the main console again.
    rig.app->showMainConsole();
    QVERIFY(rig.app->mainConsoleOpen());
    rig.main().close();
    rig.devices.rotator.isLinked = false;
    rig.run(1500);
    QCOMPARE(quit.count(), 1);
}

QTEST_MAIN(ConsoleWindowsTest)
#include "test_console_windows.moc"
