#pragma once

#include "console/MainConsole.h"

#include <QMainWindow>

#include <memory>

namespace Ui {
class frmMain;
}

namespace mivel::console {

class ConsoleApp;
class ConsoleBinder;

// frmMain: the main console window, a view over MainConsole.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(ConsoleApp& app, QWidget* parent = nullptr);
    ~MainWindow() override;

    MainConsole& console() { return *console_; }
    Ui::frmMain& ui() { return *ui_; }

signals:
    void closed();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void wireActions();
    void refreshLink();
    void refreshLog();
    void openFirmwareWizard();
    void wireRecallBoxes();
    void fillRecallBoxes();
    void onShownTabGoto();
    void onShownTabHome();

    ConsoleApp& app_;
    std::unique_ptr<Ui::frmMain> ui_;
    std::unique_ptr<ConsoleDialogs> dialogs_;
    MainConsole* console_;
    ConsoleBinder* binder_;
};

} // namespace mivel::console
