#include "ConsoleApp.h"

#include "datalog/ui/GraphWindow.h"
#include "datalog/ui/LogDialog.h"
#include "records/ui/StoreEditorView.h"
#include "tempcomp/ui/TempCompWindows.h"

#include "MainWindow.h"
#include "MessageBoxPrompt.h"
#include "MiniConsoleWindow.h"
#include "NightTheme.h"
#include "SetupWindows.h"
#include "WrapWindows.h"

#include "app/CheckRegistry.h"
#include "app/SettingsKey.h"
#include "heater/ui/SecHeaterWizardView.h"

#include <QApplication>
#include <QDir>

namespace mivel::console {
namespace {

bool storedNightVision(SettingsStore& store) {
    QVariant value;
    return readSetting(store, setting::NightVision, &value) == SettingsStore::Success &&
           settingNumber(value).value_or(0) != 0;
}

} // namespace

// The small windows of a console window.
class WindowDialogs final : public ConsoleDialogs {
public:
    WindowDialogs(ConsoleApp& app, QWidget* parent)
        : app_(app)
        , parent_(parent) {}

    int chooseUnwrap() override {
        UnwrapDialog dialog(app_.ctx_.shared(), parent_);
        dialog.exec();
        return app_.ctx_.shared().unwrapChoice;
    }
    void showWrapWarning(const QString& text) override {
        auto* window = new WrapMessageWindow(app_.ctx_.clock());
        window->setAttribute(Qt::WA_DeleteOnClose);
        window->showMessage(text);
    }
    bool tempCompDialogAvailable() const override { return bool(app_.tempComp_); }
    void runTempCompDialog() override {
        if (app_.tempComp_)
            app_.tempComp_(parent_);
    }
    void runStoreEditor(records::RecordList& list,
                        std::function<records::CurrentPosition()> current) override {
        records::runStoreEditor(list, app_.ctx_.prompt(), std::move(current), parent_);
    }

private:
    ConsoleApp& app_;
    QPointer<QWidget> parent_;
};

ConsoleApp::ConsoleApp(AppContext& ctx, DeviceProvider* /*devices*/, ConsoleOptions options,
                       QObject* parent)
    : QObject(parent)
    , ctx_(ctx)
    , options_(std::move(options))
    , lifetime_(ctx.hub()) {
    options_.nightVision = options_.nightVision || storedNightVision(ctx.store());
    applyTheme(); // the console's look
    connect(&lifetime_, &ConsoleLifetime::quitRequested, this, [this] {
        if (Serial* serial = ctx_.hub().serial())
            serial->setConnected(false);
        if (indicator_)
            indicator_->close();
        if (graph_)
            graph_->close();
        if (mini_)
            mini_->close();
        emit quitRequested();
    });
}

ConsoleApp::~ConsoleApp() {
    if (ctx_.windows() == this)
        ctx_.setWindows(nullptr);
    delete graph_;
    delete indicator_;
    delete mini_;
    delete main_;
}

MainWindow* ConsoleApp::mainWindow() const {
    return main_;
}

MiniConsoleWindow* ConsoleApp::miniConsole() const {
    return mini_;
}

RotIndicatorWindow* ConsoleApp::rotatorIndicator() const {
    return indicator_;
}

bool ConsoleApp::mainConsoleOpen() const {
    return main_ != nullptr;
}

void ConsoleApp::showMainConsole() {
    if (!main_) {
        checkRegistry(ctx_);    // the main console's load runs the settings routine
        if (options_.positions) // and loads the stored positions
            options_.positions->load(ctx_.prompt());
        main_ = new MainWindow(*this);
        ctx_.shared().mainConsoleOpen = true;
        connect(main_, &MainWindow::closed, this,
                [this] { ctx_.shared().mainConsoleOpen = false; });
        linkPeers();
    }
    main_->show();
    main_->raise();
    main_->activateWindow();
}

void ConsoleApp::showMiniConsole() {
    if (!mini_) {
        mini_ = new MiniConsoleWindow(*this);
        linkPeers();
    }
    mini_->show();
    mini_->raise();
}

void ConsoleApp::linkPeers() {
    // The mini console leaves the main console's poll, alerts and wrap guard to the main one.
    if (mini_)
        mini_->console().setPeer(main_ ? &main_->console() : nullptr);
}

QList<PortEntry> ConsoleApp::ports() const {
    const Settings& s = ctx_.settings();
    return availablePorts(options_.simulatedDevice, s.portDevice.isEmpty()
                                                        ? Serial::deviceNameForPort(s.port)
                                                        : s.portDevice);
}

void ConsoleApp::showFocuserSetup() {
    FocuserSetupDialog dialog(ctx_, ports(), main_);
    dialog.exec();
}

void ConsoleApp::showRotatorSetup() {
    RotatorSetupDialog dialog(ctx_, ports(), main_);
    dialog.exec();
}

void ConsoleApp::showProperties(QWidget* parent) {
    PropertiesDialog dialog(ctx_, ports(), parent);
    dialog.exec();
}

void ConsoleApp::showAbout(QWidget* parent) {
    AboutDialog dialog(ctx_, options_.alpacaAddress, parent);
    dialog.exec();
}

void ConsoleApp::showRotatorIndicator() {
    if (!indicator_) {
        // The dial shows the target and the position of the console that is open.
        auto angles = [this]() -> RotatorIndicator::Angles {
            const MainConsole* c = main_ ? &main_->console() : mini_ ? &mini_->console() : nullptr;
            if (!c)
                return {};
            return {c->rotatorTargetSteps(), c->rotatorPosition()};
        };
        indicator_ = new RotIndicatorWindow(ctx_, angles);
        indicator_->setAttribute(Qt::WA_DeleteOnClose);
    }
    indicator_->show();
    indicator_->raise();
}

void ConsoleApp::showLogSetup(QWidget* parent) {
    if (!options_.recording)
        return;
    datalog::LogDialog dialog(options_.recording->log(), ctx_.prompt(),
                              QDir(ctx_.paths().dataDir).filePath(QStringLiteral("datalog.csv")),
                              parent);
    dialog.exec();
}

void ConsoleApp::stopLog() {
    if (options_.recording)
        options_.recording->log().stop();
}

void ConsoleApp::showGraph() {
    if (!options_.recording)
        return;
    if (!graph_) {
        graph_ = new datalog::GraphWindow(*options_.recording, ctx_.prompt());
        graph_->setAttribute(Qt::WA_DeleteOnClose);
    }
    graph_->show();
    graph_->raise();
    graph_->activateWindow();
}

std::function<ThermalReaders()> ConsoleApp::thermalReaders() const {
    datalog::Recording* recording = options_.recording;
    return [recording] {
        if (!recording)
            return ThermalReaders{};
        const datalog::ThermalDemand d = recording->thermalDemand();
        return ThermalReaders{d.logRunning, d.logIntervalS, d.graphRunning, d.graphPeriodS};
    };
}

void ConsoleApp::setNightVision(bool on) {
    if (on == options_.nightVision)
        return;
    options_.nightVision = on;
    applyTheme();
    writeSetting(ctx_.store(), setting::NightVision, on ? 1 : 0);
}

void ConsoleApp::applyTheme() {
    if (auto* app = qobject_cast<QApplication*>(QCoreApplication::instance()))
        applyConsoleTheme(*app, options_.nightVision);
}

QWidget* ConsoleApp::promptParent() const {
    for (QWidget* w : {static_cast<QWidget*>(main_.data()), static_cast<QWidget*>(mini_.data())})
        if (w && w->isVisible())
            return w;
    return nullptr;
}

std::unique_ptr<ConsoleDialogs> ConsoleApp::makeDialogs(QWidget* parent) {
    return std::make_unique<WindowDialogs>(*this, parent);
}

bool startConsole(AppContext& ctx, DeviceProvider* devices, const ConsoleOptions& options) {
    auto* app = qobject_cast<QApplication*>(QCoreApplication::instance());
    if (!app)
        return false;
    // The console decides when the program ends, not the last window.
    app->setQuitOnLastWindowClosed(false);
    auto* console = new ConsoleApp(ctx, devices, options, app);
    ctx.setPrompt(
        std::make_unique<MessageBoxPrompt>([console = QPointer<ConsoleApp>(console)]() -> QWidget* {
            return console ? console->promptParent() : nullptr;
        }));
    records::StoredPositions* positions = options.positions;
    console->setTempCompDialog([&ctx, positions](QWidget* parent) {
        tempcomp::runTempCompDialog(ctx, parent, positions ? &positions->focus() : nullptr);
    });
    console->setCalibrationWindow(
        [&ctx](QWidget* parent) { tempcomp::openCalibrationWindow(ctx, parent); });
    console->setHeaterWizard([&ctx](QWidget* parent) { heater::openSecHeaterWizard(ctx, parent); });
    ctx.setWindows(console);
    QObject::connect(console, &ConsoleApp::quitRequested, app, [] { QCoreApplication::exit(0); });
    QObject::connect(app, &QCoreApplication::aboutToQuit, console, [console, &ctx] {
        ctx.setWindows(nullptr);
        delete console;
    });
    console->showMainConsole();
    if (options.connectAtStart && console->mainWindow())
        console->mainWindow()->console().connectLink();
    return true;
}

} // namespace mivel::console
