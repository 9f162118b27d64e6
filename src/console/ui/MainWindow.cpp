#include "MainWindow.h"

#include "ConsoleApp.h"
#include "ConsoleBinder.h"

#include "app/SettingsKey.h"
#include "firmware/ui/FlashWindow.h"

#include "ui_MainWindow.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QLabel>
#include <QShortcut>

namespace mivel::console {

MainWindow::MainWindow(ConsoleApp& app, QWidget* parent)
    : QMainWindow(parent)
    , app_(app)
    , ui_(std::make_unique<Ui::frmMain>()) {
    ui_->setupUi(this);
    setAttribute(Qt::WA_DeleteOnClose);
    // The link on the left; the two temperatures at the right, where the eye finds them.
    for (const char* name : {"lblLink", "lblMivelTemp", "lblAmbTemp"}) {
        auto* label = new QLabel(this);
        label->setObjectName(QLatin1String(name));
        label->setProperty("role", QStringLiteral("status"));
        label->setContentsMargins(8, 0, 8, 0);
        if (qstrcmp(name, "lblLink") == 0)
            ui_->StatusBar1->addWidget(label, 1);
        else
            ui_->StatusBar1->addPermanentWidget(label);
    }

    AppContext& ctx = app.context();
    console_ = new MainConsole(ctx, MainConsole::Role::Main, this);
    console_->setStoredPositions(app.positions());
    dialogs_ = app.makeDialogs(this);
    console_->setDialogs(dialogs_.get());
    console_->setThermalReaders(app.thermalReaders());
    binder_ = new ConsoleBinder(this, *console_, this);
    connect(console_, &MainConsole::linkStateChanged, this, &MainWindow::refreshLink);
    wireActions();
    wireRecallBoxes();
    refreshLink();
    refreshLog();

    const Settings& s = ctx.settings();
    if (s.mainPosX != 0 || s.mainPosY != 0)
        move(s.mainPosX, s.mainPosY);
}

MainWindow::~MainWindow() = default;

void MainWindow::wireActions() {
    Ui::frmMain& u = *ui_;
    MainConsole* c = console_;
    for (QAction* a : {u.DialPhoneNumber, u.mnuConnect})
        connect(a, &QAction::triggered, c, &MainConsole::connectLink);
    for (QAction* a : {u.HangUpPhone, u.mnuDisconnect})
        connect(a, &QAction::triggered, c, &MainConsole::disconnectLink);
    connect(u.mnuExit, &QAction::triggered, this, &QWidget::close);
    connect(u.mnuGoto, &QAction::triggered, this, &MainWindow::onShownTabGoto);
    connect(u.mnuHome, &QAction::triggered, this, &MainWindow::onShownTabHome);
    connect(u.mnuStop, &QAction::triggered, c, [c] {
        c->focusStop();
        c->rotatorStop();
    });
    for (QAction* a : {u.Setup, u.mnuFocuserSetup})
        connect(a, &QAction::triggered, &app_, &ConsoleApp::showFocuserSetup);
    connect(u.mnuRotatorSetup, &QAction::triggered, &app_, &ConsoleApp::showRotatorSetup);
    connect(u.mnuProperties, &QAction::triggered, &app_, [this] { app_.showProperties(this); });
    connect(u.mnuComPort, &QAction::triggered, c, &MainConsole::showComPort);
    for (QAction* a : {u.MiniConsole, u.mnuMiniConsole})
        connect(a, &QAction::triggered, &app_, &ConsoleApp::showMiniConsole);
    connect(u.mnuRotIndicator, &QAction::triggered, &app_, &ConsoleApp::showRotatorIndicator);
    connect(u.cmdRotIndicator, &QPushButton::clicked, &app_, &ConsoleApp::showRotatorIndicator);
    connect(u.mnuTempComp, &QAction::triggered, c, &MainConsole::openTempComp);
    for (QAction* a : {u.Calibrate, u.mnuCalibrate})
        connect(a, &QAction::triggered, this, [this] { app_.openCalibration(this); });
    for (QAction* a : {u.Log, u.mnuLog})
        connect(a, &QAction::triggered, this, [this] { app_.showLogSetup(this); });
    for (QAction* a : {u.StopLog, u.mnuStopLog})
        connect(a, &QAction::triggered, &app_, &ConsoleApp::stopLog);
    for (QAction* a : {u.Graph, u.mnuGraph})
        connect(a, &QAction::triggered, &app_, &ConsoleApp::showGraph);
    if (datalog::Recording* recording = app_.recording())
        connect(&recording->log(), &datalog::DataLog::activeChanged, this, &MainWindow::refreshLog);
    connect(u.mnuHeaterWizard, &QAction::triggered, this, [this] { app_.openHeaterWizard(this); });
    connect(u.mnuFirmware, &QAction::triggered, this, &MainWindow::openFirmwareWizard);
    u.mnuNight->setChecked(app_.nightVision());
    connect(u.mnuNight, &QAction::toggled, &app_, &ConsoleApp::setNightVision);
    for (QAction* a : {u.About, u.mnuAbout})
        connect(a, &QAction::triggered, &app_, [this] { app_.showAbout(this); });
    // Ctrl+1 to Ctrl+4 show the tabs.
    for (int i = 0; i < u.SSTab1->count(); ++i) {
        auto* shortcut = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key(Qt::Key_1 + i)), this);
        connect(shortcut, &QShortcut::activated, u.SSTab1,
                [tabs = u.SSTab1, i] { tabs->setCurrentIndex(i); });
    }
}

void MainWindow::wireRecallBoxes() {
    Ui::frmMain& u = *ui_;
    MainConsole* c = console_;
    using records::RecordKind;
    const std::pair<QComboBox*, RecordKind> boxes[] = {{u.cboFocusRecall, RecordKind::Focus},
                                                       {u.cboRotRecall, RecordKind::Rotator}};
    for (const auto& [box, kind] : boxes) {
        box->setEnabled(c->storedPositions() != nullptr);
        box->setPlaceholderText(QStringLiteral("Go to a stored position"));
        // Activated, not index changed: the same entry chosen twice goes there twice.
        connect(box, &QComboBox::activated, c, [c, box, kind](int entry) {
            box->setCurrentIndex(-1);
            c->recall(kind, entry);
        });
    }
    connect(c, &MainConsole::gotoTextsChanged, this, [this] {
        ui_->txtPosition->setText(console_->focusGotoText());
        ui_->txtRotGOTO->setText(console_->rotatorGotoText());
    });
    connect(c, &MainConsole::recallListsChanged, this, &MainWindow::fillRecallBoxes);
    for (QAction* a : {u.Records, u.mnuStoredPositions, u.mnuStoredRotator})
        a->setEnabled(c->storedPositions() != nullptr);
    for (QAction* a : {u.Records, u.mnuStoredPositions})
        connect(a, &QAction::triggered, c, [c] { c->editStoredPositions(RecordKind::Focus); });
    connect(u.mnuStoredRotator, &QAction::triggered, c,
            [c] { c->editStoredPositions(RecordKind::Rotator); });
    fillRecallBoxes();
}

void MainWindow::fillRecallBoxes() {
    using records::RecordKind;
    for (auto [box, kind] : {std::pair{ui_->cboFocusRecall, RecordKind::Focus},
                             std::pair{ui_->cboRotRecall, RecordKind::Rotator}}) {
        const QSignalBlocker quiet(box);
        box->clear();
        box->addItems(console_->recallItems(kind));
        box->setCurrentIndex(-1);
    }
}

void MainWindow::refreshLink() {
    Ui::frmMain& u = *ui_;
    const bool open = console_->portOpen();
    u.DialPhoneNumber->setEnabled(console_->connectEnabled());
    u.mnuConnect->setEnabled(console_->connectEnabled());
    u.HangUpPhone->setEnabled(console_->disconnectEnabled());
    u.mnuDisconnect->setEnabled(console_->disconnectEnabled());
    for (QAction* a : {u.mnuGoto, u.mnuHome, u.mnuStop})
        a->setEnabled(open);
    u.mnuTempComp->setEnabled(open && console_->tempCompAvailable());
    u.mnuFirmware->setEnabled(open);
    for (QAction* a : {u.Calibrate, u.mnuCalibrate})
        a->setEnabled(app_.calibrationAvailable());
    u.mnuHeaterWizard->setEnabled(app_.heaterWizardAvailable());
    if (auto* link = findChild<QLabel*>(QStringLiteral("lblLink"))) {
        const LinkHub& hub = app_.context().hub();
        const QString device = hub.serial() ? hub.serial()->deviceName() : QString();
        if (open)
            link->setText(QStringLiteral("Connected: %1").arg(device));
        else if (hub.lost())
            link->setText(QStringLiteral("Connection lost: reconnecting to %1...").arg(device));
        else
            link->setText(QStringLiteral("Not connected"));
    }
}

// The toolbar offers starting the log or stopping it, never both; so does the menu.
void MainWindow::refreshLog() {
    Ui::frmMain& u = *ui_;
    datalog::Recording* recording = app_.recording();
    const bool logging = recording && recording->log().active();
    u.Log->setVisible(!logging);
    u.StopLog->setVisible(logging);
    for (QAction* a : {u.Log, u.mnuLog})
        a->setEnabled(recording && !logging);
    for (QAction* a : {u.StopLog, u.mnuStopLog})
        a->setEnabled(logging);
    for (QAction* a : {u.Graph, u.mnuGraph})
        a->setEnabled(recording != nullptr);
}

void MainWindow::openFirmwareWizard() {
    AppContext& ctx = app_.context();
    firmware::FlashWindow* w = firmware::openFlashWindow(ctx.hub(), ctx.prompt(), this);
    // While the console still reads the port (before the first "x "), a ":x" it parses is the
    // wizard's too.
    connect(console_, &MainConsole::loaderStatus, w,
            [w](int code) { w->wizard().flags().onLoaderReply(code); });
}

void MainWindow::onShownTabGoto() {
    if (console_->tab() == ConsoleTab::Rotator)
        console_->rotatorGoto();
    else
        console_->focusGoto();
}

void MainWindow::onShownTabHome() {
    if (console_->tab() == ConsoleTab::Rotator)
        console_->rotatorHome();
    else
        console_->focusHome();
}

void MainWindow::closeEvent(QCloseEvent* event) {
    AppContext& ctx = app_.context();
    Settings& s = ctx.settings();
    s.mainPosX = pos().x();
    s.mainPosY = pos().y();
    if (ctx.store().problem().isEmpty()) {
        const auto onlyIfPresent = SettingsKeyUse::OnlyIfPresent;
        writeSetting(ctx.store(), setting::MainPosX, s.mainPosX, onlyIfPresent);
        writeSetting(ctx.store(), setting::MainPosY, s.mainPosY, onlyIfPresent);
        writeSetting(ctx.store(), setting::FocusStep, s.focusStep, onlyIfPresent);
    }
    console_->stopJog();
    // A running log may go on without windows: the process stays while it runs.
    if (datalog::Recording* recording = app_.recording())
        recording->log().onConsoleClosing(ctx.prompt());
    emit closed();
    QMainWindow::closeEvent(event);
}

} // namespace mivel::console
