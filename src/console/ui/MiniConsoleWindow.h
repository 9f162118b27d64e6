#pragma once

#include "console/MainConsole.h"

#include <QWidget>

#include <memory>

namespace Ui {
class frmConsole;
}

namespace mivel::console {

class ConsoleApp;
class ConsoleBinder;

// frmConsole: the mini console, the same readings and the main controls on three tabs. It runs
// its own console logic on the shared link.
class MiniConsoleWindow : public QWidget {
    Q_OBJECT
public:
    explicit MiniConsoleWindow(ConsoleApp& app, QWidget* parent = nullptr);
    ~MiniConsoleWindow() override;
    MainConsole& console() { return *console_; }

signals:
    void closed();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    ConsoleApp& app_;
    std::unique_ptr<Ui::frmConsole> ui_;
    std::unique_ptr<ConsoleDialogs> dialogs_;
    MainConsole* console_;
    ConsoleBinder* binder_;
};

} // namespace mivel::console
