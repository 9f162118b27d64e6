#include "MiniConsoleWindow.h"

#include "ConsoleApp.h"
#include "ConsoleBinder.h"

#include "app/SettingsKey.h"

#include "ui_MiniConsoleWindow.h"

#include <QCloseEvent>

namespace mivel::console {

MiniConsoleWindow::MiniConsoleWindow(ConsoleApp& app, QWidget* parent)
    : QWidget(parent, Qt::Window)
    , app_(app)
    , ui_(std::make_unique<Ui::frmConsole>()) {
    ui_->setupUi(this);
    setAttribute(Qt::WA_DeleteOnClose);
    AppContext& ctx = app.context();
    console_ = new MainConsole(ctx, MainConsole::Role::Mini, this);
    dialogs_ = app.makeDialogs(this);
    console_->setDialogs(dialogs_.get());
    console_->setThermalReaders(app.thermalReaders());
    binder_ = new ConsoleBinder(this, *console_, this);
    const Settings& s = ctx.settings();
    if (s.miniPosX != 0 || s.miniPosY != 0)
        move(s.miniPosX, s.miniPosY);
}

MiniConsoleWindow::~MiniConsoleWindow() = default;

void MiniConsoleWindow::closeEvent(QCloseEvent* event) {
    AppContext& ctx = app_.context();
    Settings& s = ctx.settings();
    s.miniPosX = pos().x();
    s.miniPosY = pos().y();
    if (ctx.store().problem().isEmpty()) {
        writeSetting(ctx.store(), setting::MiniPosX, s.miniPosX, SettingsKeyUse::OnlyIfPresent);
        writeSetting(ctx.store(), setting::MiniPosY, s.miniPosY, SettingsKeyUse::OnlyIfPresent);
    }
    console_->stopJog();
    emit closed();
    QWidget::closeEvent(event);
}

} // namespace mivel::console
