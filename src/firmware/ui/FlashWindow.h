#pragma once

#include "firmware/FlashWizard.h"

#include <QDialog>

#include <functional>
#include <memory>

namespace Ui {
class frmFlash;
}

namespace mivel::firmware {

// frmFlash: the firmware upgrade wizard's window over its logic. It cannot be closed while the
// upload runs; Finish and a confirmed Cancel close it.
class FlashWindow : public QDialog {
    Q_OBJECT
public:
    FlashWindow(LinkHub& hub, Prompt& prompt, QWidget* parent = nullptr);
    ~FlashWindow() override;

    FlashWizard& wizard() { return wizard_; }
    // The file dialog behind Browse; tests and screenshots put their own in. Returns the chosen
    // path, or empty text when the observer gave up.
    void setFileChooser(std::function<QString()> choose) { choose_ = std::move(choose); }

protected:
    void closeEvent(QCloseEvent* event) override;
    void reject() override; // Esc asks as Cancel does

private:
    void refresh(); // draws the logic's state
    QString browse();

    std::unique_ptr<Ui::frmFlash> ui_;
    FlashWizard wizard_;
    std::function<QString()> choose_;
};

// Opens the wizard over parent, or raises the one already open. It deletes itself when closed.
FlashWindow* openFlashWindow(LinkHub& hub, Prompt& prompt, QWidget* parent);

} // namespace mivel::firmware
