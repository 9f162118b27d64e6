#include "WrapWindows.h"

#include "ui_RotIndicatorWindow.h"
#include "ui_UnwrapDialog.h"
#include "ui_WrapMessageWindow.h"

#include <QCloseEvent>

namespace mivel::console {

UnwrapDialog::UnwrapDialog(SharedValues& shared, QWidget* parent)
    : QDialog(parent)
    , ui_(std::make_unique<Ui::frmUnwrap>())
    , choice_(shared) {
    ui_->setupUi(this);
    connect(ui_->cmdOK, &QPushButton::clicked, this, [this] {
        choice_.select(ui_->Option1->isChecked() ? UnwrapChoice::Option::First
                                                 : UnwrapChoice::Option::Second);
        choice_.accept();
        accept();
    });
    connect(ui_->cmdCancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(this, &QDialog::rejected, this, [this] { choice_.cancel(); });
    choice_.cancel(); // closing the window any other way is a cancel
}

UnwrapDialog::~UnwrapDialog() = default;

RotIndicatorWindow::RotIndicatorWindow(AppContext& ctx,
                                       std::function<RotatorIndicator::Angles()> angles,
                                       QWidget* parent)
    : QWidget(parent, Qt::Window | Qt::WindowStaysOnTopHint)
    , ui_(std::make_unique<Ui::frmRotIndicator>())
    , indicator_(ctx, std::move(angles)) {
    ui_->setupUi(this);
    ui_->Picture1->setIndicator(&indicator_);
    connect(&indicator_, &RotatorIndicator::redraw, ui_->Picture1, qOverload<>(&QWidget::update));
    connect(&indicator_, &RotatorIndicator::closeRequested, this, &QWidget::close);
    connect(ui_->Command1, &QPushButton::clicked, this, [this] { (void)indicator_.stop(); });
}

RotIndicatorWindow::~RotIndicatorWindow() {
    indicator_.unload();
}

void RotIndicatorWindow::showEvent(QShowEvent* event) {
    indicator_.load();
    QWidget::showEvent(event);
}

void RotIndicatorWindow::closeEvent(QCloseEvent* event) {
    indicator_.unload();
    QWidget::closeEvent(event);
}

WrapMessageWindow::WrapMessageWindow(Clock& clock, QWidget* parent)
    : QWidget(parent, Qt::Window | Qt::WindowStaysOnTopHint)
    , ui_(std::make_unique<Ui::frmWrapMessage>())
    , message_(clock) {
    ui_->setupUi(this);
    connect(&message_, &WrapMessage::closeRequested, this, &QWidget::close);
}

WrapMessageWindow::~WrapMessageWindow() = default;

void WrapMessageWindow::showMessage(const QString& text, qint64 intervalMs) {
    ui_->Label1->setText(text);
    message_.show(text, intervalMs);
    show();
    raise();
}

QString WrapMessageWindow::text() const {
    return ui_->Label1->text();
}

} // namespace mivel::console
