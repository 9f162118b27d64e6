#pragma once

// The three small windows of the rotator's wrap handling, thin views over the logic in
// drivers/WrapDialogs.h.

#include "drivers/WrapDialogs.h"

#include <QDialog>
#include <QWidget>

#include <memory>

namespace Ui {
class frmUnwrap;
class frmRotIndicator;
class frmWrapMessage;
} // namespace Ui

namespace mivel::console {

// frmUnwrap: the choice is left in the shared unwrap choice.
class UnwrapDialog : public QDialog {
    Q_OBJECT
public:
    UnwrapDialog(SharedValues& shared, QWidget* parent = nullptr);
    ~UnwrapDialog() override;

private:
    std::unique_ptr<Ui::frmUnwrap> ui_;
    UnwrapChoice choice_;
};

// frmRotIndicator: always on top, redrawn on every tick of its timer.
class RotIndicatorWindow : public QWidget {
    Q_OBJECT
public:
    RotIndicatorWindow(AppContext& ctx, std::function<RotatorIndicator::Angles()> angles,
                       QWidget* parent = nullptr);
    ~RotIndicatorWindow() override;
    RotatorIndicator& indicator() { return indicator_; }

protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    std::unique_ptr<Ui::frmRotIndicator> ui_;
    RotatorIndicator indicator_;
};

// frmWrapMessage: a message that closes itself.
class WrapMessageWindow : public QWidget {
    Q_OBJECT
public:
    static constexpr qint64 ShownMs = 8000;
    explicit WrapMessageWindow(Clock& clock, QWidget* parent = nullptr);
    ~WrapMessageWindow() override;
    void showMessage(const QString& text, qint64 intervalMs = ShownMs);
    QString text() const;

private:
    std::unique_ptr<Ui::frmWrapMessage> ui_;
    WrapMessage message_;
};

} // namespace mivel::console
