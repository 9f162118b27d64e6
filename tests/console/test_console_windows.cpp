// The console's windows, driven through their widgets (found by object name) against the
// simulated unit. With MIVEL_SCREENSHOT_DIR set, every window is also saved there as a PNG.

#include "support/FakeDevices.h"
#include "support/TestRig.h"

#include "console/UnitControls.h"
#include "console/ui/ConsoleApp.h"
#include "console/ui/MainWindow.h"
#include "console/ui/MessageBoxPrompt.h"
#include "console/ui/MiniConsoleWindow.h"
#include "console/ui/SetupWindows.h"
#include "console/ui/WrapWindows.h"

#include "app/CheckRegistry.h"
#include "app/SettingsKey.h"
#include "drivers/DriverSet.h"
#include "records/StoredPositions.h"
#include "sim/SimDevice.h"
#include "sim/SimulatedUnit.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDir>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QStatusBar>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace mivel;
using namespace mivel::console;
using namespace mivel::test;

namespace {

struct WindowRig : AppRig {
    sim::SimulatedUnit unit{clock};
    FakeProvider devices{ctx->hub().waits()};
    records::StoredPositions positions{dir.path()};
    std::unique_ptr<ConsoleApp> app;

    WindowRig()
        : AppRig([this] { return sim::makeSimDevice(unit); }) {
        checkRegistry(*ctx);
        unit.placeFocuser(12500, true);
        unit.placeRotator(9000, true, 1800);
        // Stored positions on disk, which the main console loads when it opens.
        records::RecordList kept(records::RecordKind::Focus, dir.path());
        kept.save(1, {QStringLiteral("Moon, prime focus"), 12500, 45.5f}, true);
        kept.save(2, {QStringLiteral("Planets, 2x Barlow"), 18230, 44}, true);
        ConsoleOptions options;
        options.positions = &positions;
        app = std::make_unique<ConsoleApp>(*ctx, &devices, options);
        app->showMainConsole();
    }
    ~WindowRig() override {
        app.reset();
        ctx.reset(); // the line goes before the unit at its other end
    }

    MainWindow& main() { return *app->mainWindow(); }
    template <class W = QWidget> W* find(QObject* root, const char* name) {
        return root->findChild<W*>(QLatin1String(name));
    }
    QAction* action(const char* name) { return find<QAction>(&main(), name); }
    QString text(QWidget* root, const char* name) { return find<QLabel>(root, name)->text(); }
    void click(QWidget* root, const char* button) {
        QTest::mouseClick(find<QPushButton>(root, button), Qt::LeftButton);
    }
    void showTab(QWidget* window, int tab, qint64 ms = 500) {
        find<QTabWidget>(window, "SSTab1")->setCurrentIndex(tab);
        run(ms);
    }

    // Time passes in steps, so that the unit answers each poll before the next.
    void run(qint64 ms) { advance(ms, 50); }
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
    void mainConsoleThroughItsWidgets() {
        WindowRig rig;
        MainWindow& w = rig.main();
        // What other windows will do is visibly off, never half there.
        for (const char* name : {"Log", "StopLog", "Graph", "mnuLog", "mnuStopLog", "mnuGraph",
                                 "mnuCalibrate", "mnuTempComp", "mnuFirmware"})
            QVERIFY2(!rig.action(name)->isEnabled(), name);
        auto* gotoButton = rig.find(&w, "cmdGoto");
        QVERIFY(!gotoButton->isEnabled());
        // The stored positions were loaded as the console opened, "<new>" first.
        auto* stored = rig.find<QComboBox>(&w, "cboFocusRecall");
        QCOMPARE(stored->count(), 3);
        QCOMPARE(stored->itemText(0), QStringLiteral("<new>"));
        QCOMPARE(stored->itemText(2), QStringLiteral("Planets, 2x Barlow"));
        QCOMPARE(rig.find<QComboBox>(&w, "cboRotRecall")->count(), 1);
        rig.connectToUnit();
        QVERIFY(rig.prompt->shown.empty());
        QVERIFY(gotoButton->isEnabled());
        QVERIFY(!rig.action("DialPhoneNumber")->isEnabled() &&
                !rig.action("mnuConnect")->isEnabled());
        QVERIFY(rig.action("HangUpPhone")->isEnabled() && rig.action("mnuDisconnect")->isEnabled());
        QCOMPARE(rig.text(&w, "lblActual"), QStringLiteral("12500"));
        // With the port open the firmware wizard can be had, once.
        rig.action("mnuFirmware")->trigger();
        rig.action("mnuFirmware")->trigger();
        QCOMPARE(w.findChildren<QDialog*>(QStringLiteral("frmFlash")).size(), 1);
        delete w.findChild<QDialog*>(QStringLiteral("frmFlash"));

        // Each tab shows its readings, and its poll follows it.
        rig.showTab(&w, 1);
        QVERIFY(rig.text(&w, "lblAmbTemp").startsWith(QStringLiteral("Amb Temp ")));
        QVERIFY(rig.text(&w, "lblMivelTemp").startsWith(QStringLiteral("Mivel Temp ")));
        shoot(&w, QStringLiteral("main-console-temperatures"));
        auto* dew = rig.find<QSpinBox>(&w, "udDew2");
        dew->setValue(65);
        rig.settle();
        QCOMPARE(rig.unit.dewPower(2), 65);
        rig.run(3000);
        QCOMPARE(dew->value(), 65); // the unit's own reply agrees
        rig.showTab(&w, 2);
        QCOMPARE(rig.text(&w, "lblRotActual"), QStringLiteral("45.00"));
        QCOMPARE(rig.text(&w, "lblWrap"), QStringLiteral("9.0"));
        shoot(&w, QStringLiteral("main-console-rotator"));
        const std::pair<int, const char*> polls[] = {{3, " d0 "}, {1, " T "}, {0, " Q "}};
        for (const auto& [tab, poll] : polls) {
            rig.showTab(&w, tab, 0);
            rig.unit.clearReceived();
            rig.run(250);
            QCOMPARE(rig.unit.receivedBytes(), QByteArray(poll));
            if (tab == 3)
                shoot(&w, QStringLiteral("main-console-diagnostics"));
        }
        shoot(&w, QStringLiteral("main-console"));
        rig.app->setNightVision(true);
        shoot(&w, QStringLiteral("main-console-night"));
        rig.app->setNightVision(false);

        // A Goto typed and clicked moves the focuser; the shortcut on the rotator tab turns the
        // rotator, which is not yet known to be homed: asked, then the Goto follows.
        auto* position = rig.find<QLineEdit>(&w, "txtPosition");
        position->clear();
        QTest::keyClicks(position, QStringLiteral("13000"));
        rig.prompt->answers = {Prompt::Answer::Ok};
        rig.click(&w, "cmdGoto");
        QCOMPARE(rig.prompt->texts(), QStringList{QStringLiteral("Confirm slew?")});
        rig.run(20000);
        QCOMPARE(rig.text(&w, "lblActual"), QStringLiteral("13000"));
        rig.showTab(&w, 2, 0);
        rig.find<QLineEdit>(&w, "txtRotGOTO")->setText(QStringLiteral("90"));
        rig.prompt->answers = {Prompt::Answer::Ok};
        rig.action("mnuGoto")->trigger();
        rig.run(2500);
        QCOMPARE(rig.unit.rotatorTarget(), 18000);

        rig.action("HangUpPhone")->trigger();
        QVERIFY(!gotoButton->isEnabled());
        QVERIFY(rig.action("mnuConnect")->isEnabled());
        QCOMPARE(rig.text(w.statusBar(), "lblLink"), QStringLiteral("Not connected"));
    }

    // An unplugged unit: the status line says the link is being brought back, and once the unit
    // is back the console is connected and polling again without the user's help.
    // Every row of the control table names a control of the main console, of its kind, and
    // that control sets the row's reading: a misspelt name would leave a control unbound.
    void everyTableControlIsBoundOnTheMainConsole() {
        WindowRig rig;
        MainWindow& w = rig.main();
        rig.connectToUnit();
        const Readings& r = w.console().readings();
        for (const UnitControl& row : kUnitControls) {
            switch (row.kind) {
            case ControlKind::Level:
                if (row.shownDivisor == 1) {
                    auto* spin = rig.find<QSpinBox>(&w, row.control);
                    QVERIFY2(spin, row.control);
                    spin->setValue(spin->value() + 1);
                    QCOMPARE(r.*row.level, spin->value());
                } else {
                    auto* spin = rig.find<QDoubleSpinBox>(&w, row.control);
                    QVERIFY2(spin, row.control);
                    spin->setValue(2.5);
                    QCOMPARE(r.*row.level, int(2.5 * row.shownDivisor));
                }
                break;
            case ControlKind::Mode:
                QVERIFY2(rig.find<QRadioButton>(&w, row.control), row.control);
                QVERIFY2(rig.find<QRadioButton>(&w, row.manualButton), row.manualButton);
                rig.find<QRadioButton>(&w, row.manualButton)->click();
                QCOMPARE(r.*row.level, 2);
                rig.find<QRadioButton>(&w, row.control)->click();
                QCOMPARE(r.*row.level, 1);
                break;
            case ControlKind::Switch: {
                auto* box = rig.find<QCheckBox>(&w, row.control);
                QVERIFY2(box, row.control);
                box->click();
                QCOMPARE(r.*row.state, box->isChecked());
                break;
            }
            }
        }
    }

    void unpluggedUnitIsShownReconnectingAndComesBack() {
        WindowRig rig;
        MainWindow& w = rig.main();
        rig.connectToUnit();
        rig.unit.setHungUp(true);
        rig.run(3 * LinkHub::ReconnectPollMs);
        QVERIFY(rig.text(w.statusBar(), "lblLink").startsWith("Connection lost: reconnecting"));
        QVERIFY(!rig.find(&w, "cmdGoto")->isEnabled());
        rig.unit.setHungUp(false);
        rig.unit.clearReceived();
        rig.run(LinkHub::ReconnectPollMs + 1000);
        QCOMPARE(rig.text(w.statusBar(), "lblLink").left(10), QStringLiteral("Connected:"));
        QVERIFY(rig.find(&w, "cmdGoto")->isEnabled());
        QVERIFY(!rig.unit.receivedBytes().isEmpty()); // polling again
    }

    // A held jog button: the display keeps updating and the rotator stops at the wrap limit.
    void heldRotatorJogStopsAtTheWrapLimit() {
        WindowRig rig;
        MainWindow& w = rig.main();
        rig.connectToUnit();
        rig.showTab(&w, 2);
        QCOMPARE(rig.text(&w, "lblWrap"), QStringLiteral("9.0"));
        auto* limit = rig.find<QSpinBox>(&w, "udWrapLimit");
        QCOMPARE(limit->value(), 540);
        limit->setValue(20);
        QCOMPARE(rig.ctx->settings().dornaLimit, 20);
        QCOMPARE(rig.text(&w, "lblWrapLimit"), QStringLiteral("of \u00b120"));
        QCOMPARE(rig.text(&w, "lblRotHomed"), QStringLiteral("HOMED"));
        rig.find<QLineEdit>(&w, "txtRot")->setText(QStringLiteral("5"));
        auto* cw = rig.find<QPushButton>(&w, "cmdRotCW");
        QTest::mousePress(cw, Qt::LeftButton);
        rig.run(1000);
        const double afterOneSecond = rig.text(&w, "lblWrap").toDouble();
        QVERIFY2(afterOneSecond > 12, qPrintable(rig.text(&w, "lblWrap"))); // 6 degrees a second
        rig.run(5000);
        QTest::mouseRelease(cw, Qt::LeftButton);
        rig.run(500);
        QVERIFY(!rig.unit.rotatorMoving());
        // Within what the rotator turns between two polls of the limit.
        const double wrapDeg = rig.unit.wrap() / 200.0;
        QVERIFY2(wrapDeg <= 20 + 2 * 0.25 * 6, qPrintable(QString::number(wrapDeg)));
        QVERIFY2(wrapDeg >= 15, qPrintable(QString::number(wrapDeg)));
        QCOMPARE(rig.text(&w, "lblWrap"), QString::number(wrapDeg, 'f', 1));
        QVERIFY(rig.prompt->texts().contains(
            QStringLiteral("Warning:  Can not slew past wrap limit.")));
        // The step back is allowed from beyond the limit.
        rig.prompt->shown.clear();
        auto* ccw = rig.find<QPushButton>(&w, "cmdRotCCW");
        QTest::mousePress(ccw, Qt::LeftButton);
        QTest::mouseRelease(ccw, Qt::LeftButton);
        rig.run(2000);
        QVERIFY(rig.prompt->shown.empty());
        QVERIFY(rig.unit.wrap() / 200.0 < wrapDeg - 4);
    }

    // A unit that never answers: after the warning the port is closed, and every console says
    // so and offers nothing but Connect. The last readings are greyed, not shown as live.
    void silentUnitLeavesEveryWindowDisconnected() {
        WindowRig rig;
        MainWindow& w = rig.main();
        rig.connectToUnit();
        rig.app->showMiniConsole();
        MiniConsoleWindow* mini = rig.app->miniConsole();
        auto* actual = rig.find<QLabel>(&w, "lblActual");
        QVERIFY(actual->isEnabled());
        rig.action("HangUpPhone")->trigger();
        QVERIFY(!actual->isEnabled());
        QCOMPARE(actual->text(), QStringLiteral("12500"));
        QVERIFY(!rig.find(mini, "lblActual")->isEnabled());

        rig.unit.setSilent(true);
        rig.action("DialPhoneNumber")->trigger();
        rig.settle();
        QCOMPARE(rig.text(w.statusBar(), "lblLink").left(10), QStringLiteral("Connected:"));
        QVERIFY(rig.find(mini, "cmdDisconnect")->isEnabled());
        rig.run(4500);
        QCOMPARE(rig.prompt->texts(),
                 QStringList{QStringLiteral("Warning:  Unable to communicate with controller.")});
        QVERIFY(!rig.ctx->hub().serial()->connected());
        QCOMPARE(rig.text(w.statusBar(), "lblLink"), QStringLiteral("Not connected"));
        for (QWidget* window : {static_cast<QWidget*>(&w), static_cast<QWidget*>(mini)}) {
            QVERIFY(!rig.find(window, "cmdGoto")->isEnabled());
            QVERIFY(!rig.find(window, "cmdRotCW")->isEnabled());
            QVERIFY(!rig.find(window, "lblActual")->isEnabled());
        }
        QVERIFY(rig.find(mini, "cmdConnect")->isEnabled());
        QVERIFY(!rig.find(mini, "cmdDisconnect")->isEnabled());
        QVERIFY(rig.action("DialPhoneNumber")->isEnabled());
        QVERIFY(!rig.action("HangUpPhone")->isEnabled());
        QVERIFY(!rig.action("mnuGoto")->isEnabled());
        shoot(&w, QStringLiteral("main-console-disconnected"));
    }

    // A message box raised while no window is active (a timer's, a reply's) opens over the
    // console; at night its icon is red like everything else, and night vision is kept.
    void messageBoxesOverTheirWindowAndRedAtNight() {
        WindowRig rig;
        MainWindow& w = rig.main();
        auto* steps = rig.find<QComboBox>(&w, "cmbFocusStep");
        QCOMPARE(steps->itemText(0), QStringLiteral("1 count"));
        QCOMPARE(steps->itemText(1), QStringLiteral("5 counts"));

        MessageBoxPrompt prompt([&rig] { return rig.app->promptParent(); });
        rig.app->setNightVision(true);
        QApplication::setActiveWindow(nullptr);
        QVERIFY(!QApplication::activeWindow());
        QWidget* parent = nullptr;
        QImage icon;
        QTimer::singleShot(0, [&] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (!box)
                return;
            parent = box->parentWidget();
            icon = box->iconPixmap().toImage();
            box->done(QMessageBox::Ok);
        });
        prompt.inform(QStringLiteral("Wrap limit reached."), QStringLiteral("Mivel"),
                      Prompt::Icon::Warning);
        QCOMPARE(parent, &w);
        QVERIFY(!icon.isNull());
        int lit = 0;
        for (int y = 0; y < icon.height(); ++y)
            for (int x = 0; x < icon.width(); ++x) {
                const QColor c = icon.pixelColor(x, y);
                if (c.alpha() == 0)
                    continue;
                QVERIFY2(c.green() <= c.red() / 4 && c.blue() <= c.red() / 4, qPrintable(c.name()));
                lit += c.red() > 64;
            }
        QVERIFY(lit > 0);

        // The next start comes up in night vision, and turning it off is kept too.
        QVariant stored;
        QCOMPARE(readSetting(rig.ctx->store(), QStringLiteral("NightVision"), &stored), 0L);
        QCOMPARE(stored.toInt(), 1);
        rig.app = std::make_unique<ConsoleApp>(*rig.ctx, &rig.devices);
        QVERIFY(rig.app->nightVision());
        rig.app->showMainConsole();
        QVERIFY(rig.action("mnuNight")->isChecked());
        rig.action("mnuNight")->trigger();
        QVERIFY(!rig.app->nightVision());
        QCOMPARE(readSetting(rig.ctx->store(), QStringLiteral("NightVision"), &stored), 0L);
        QCOMPARE(stored.toInt(), 0);
    }

    void dialogsThroughTheirWidgets() {
        WindowRig rig;
        rig.connectToUnit();
        FocuserSetupDialog dialog(*rig.ctx, numberedPorts());
        dialog.show();
        QCOMPARE(rig.find<QComboBox>(&dialog, "cmbPorts")->currentText(), QStringLiteral("COM1"));
        QCOMPARE(rig.find<QLineEdit>(&dialog, "txtStepSize")->text(), QStringLiteral("0.25"));
        shoot(&dialog, QStringLiteral("focuser-setup"));
        rig.store->writes.clear();
        auto* small = rig.find<QLineEdit>(&dialog, "txtSmallStepSize");
        small->setText(QStringLiteral("0"));
        rig.click(&dialog, "cmdOK");
        QCOMPARE(rig.prompt->texts(),
                 QStringList{QStringLiteral("Illegal value for SmallStepSize")});
        QVERIFY(dialog.isVisible());
        QVERIFY(rig.store->writes.empty());
        small->setText(QStringLiteral("8"));
        rig.click(&dialog, "cmdOK");
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
        QCOMPARE(rig.ctx->settings().smallStepSize, std::int16_t(8));

        RotatorSetupDialog rotator(*rig.ctx, numberedPorts());
        rotator.show();
        shoot(&rotator, QStringLiteral("rotator-setup"));
        PropertiesDialog properties(*rig.ctx, numberedPorts());
        properties.show();
        QCOMPARE(rig.find<QComboBox>(&properties, "cboPort")->count(), 20);
        shoot(&properties, QStringLiteral("port-properties"));
        StepSizeDialog calc;
        calc.show();
        QTest::keyClicks(rig.find(&calc, "txtMag"), QStringLiteral("3"));
        QTest::keyClicks(rig.find(&calc, "txtfRatio"), QStringLiteral("10"));
        QCOMPARE(rig.text(&calc, "lblLargeStepSize"), QStringLiteral("68"));
        shoot(&calc, QStringLiteral("step-size-calculator"));
        AboutDialog about(*rig.ctx, QStringLiteral("http://127.0.0.1:11111"));
        about.show();
        QCOMPARE(rig.text(&about, "lblInfoFirmwareversion"), QStringLiteral("3.02"));
        QVERIFY(rig.text(&about, "lblInfoSerialport").contains(QStringLiteral("open")));
        shoot(&about, QStringLiteral("about"));

        UnwrapDialog unwrap(rig.ctx->shared());
        unwrap.show();
        shoot(&unwrap, QStringLiteral("unwrap"));
        const std::pair<const char*, int> choices[] = {{"Option2", 2}, {"Option1", 1}};
        for (const auto& [option, choice] : choices) {
            rig.find<QRadioButton>(&unwrap, option)->setChecked(true);
            rig.click(&unwrap, "cmdOK");
            QCOMPARE(rig.ctx->shared().unwrapChoice, std::int16_t(choice));
        }
        rig.click(&unwrap, "cmdCancel");
        QCOMPARE(rig.ctx->shared().unwrapChoice, std::int16_t(0));
        WrapMessageWindow message(rig.clock);
        message.showMessage(QStringLiteral("Wrap limit reached."), 1000);
        shoot(&message, QStringLiteral("wrap-message"));
        rig.clock.advance(999);
        QVERIFY(message.isVisible());
        rig.clock.advance(1);
        QVERIFY(!message.isVisible());

        rig.showTab(&rig.main(), 2); // the dial shows what the rotator tab reads
        rig.app->showRotatorIndicator();
        RotIndicatorWindow* dial = rig.app->rotatorIndicator();
        QVERIFY(dial && dial->isVisible());
        QVERIFY(dial->windowFlags() & Qt::WindowStaysOnTopHint);
        rig.run(500);
        shoot(dial, QStringLiteral("rotator-indicator"));
        rig.unit.clearReceived();
        rig.click(dial, "Command1");
        rig.run(100);
        QVERIFY(rig.unit.receivedBytes().contains("q0 "));
        QVERIFY(!rig.ctx->shared().rotIndicatorOpen);
    }

    // A driver object opens the mini console once the main console has closed; the program
    // goes on while a client is linked, and ends when the last window closes without one.
    void driverObjectsOpenTheConsoleWindowsAndKeepTheProgram() {
        WindowRig rig;
        DriverSet drivers(*rig.ctx);
        rig.ctx->setWindows(rig.app.get());
        AutomationDevice& focuser = drivers.device(DeviceProvider::Kind::Focuser);
        rig.connectToUnit();
        QVERIFY(focuser.call(QStringLiteral("ShowForm"), {1}).isDone());
        QVERIFY(!rig.app->miniConsole()); // nothing while the main console is open
        const Task<CallResult> link = focuser.set(QStringLiteral("Link"), true);
        rig.run(3000);
        QVERIFY(link.isDone() && !link.result().error && focuser.linked());
        QSignalSpy quit(rig.app.get(), &ConsoleApp::quitRequested);
        rig.main().close();
        rig.run(3000);
        QCOMPARE(quit.count(), 0);
        QVERIFY(rig.ctx->hub().serial()->connected()); // the server still has its port
        QVERIFY(focuser.call(QStringLiteral("ShowForm"), {1}).isDone());
        MiniConsoleWindow* mini = rig.app->miniConsole();
        QVERIFY(mini && mini->isVisible());
        rig.run(500);
        QCOMPARE(rig.text(mini, "lblActual"), QStringLiteral("12500"));
        rig.unit.clearReceived();
        rig.click(mini, "cmdStopFocus"); // on the same line
        rig.settle();
        QVERIFY(rig.unit.receivedBytes().startsWith("S "));
        shoot(mini, QStringLiteral("mini-console"));
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
        mini->close();
        rig.run(1500);
        QCOMPARE(quit.count(), 0); // the client still holds the focuser
        const Task<CallResult> unlink = focuser.set(QStringLiteral("Link"), false);
        rig.settle();
        QVERIFY(unlink.isDone());
        QCOMPARE(quit.count(), 1);
        QVERIFY(!rig.ctx->hub().serial()); // the link is torn down
    }

    void exitWithoutClientsEndsTheProgram() {
        WindowRig rig;
        rig.connectToUnit();
        QSignalSpy quit(rig.app.get(), &ConsoleApp::quitRequested);
        rig.action("mnuExit")->trigger();
        rig.settle();
        QCOMPARE(quit.count(), 1);
        QVERIFY(!rig.ctx->shared().mainConsoleOpen);
        QVERIFY(!rig.ctx->hub().serial() || !rig.ctx->hub().serial()->connected());
    }
};

QTEST_MAIN(ConsoleWindowsTest)
#include "test_console_windows.moc"
