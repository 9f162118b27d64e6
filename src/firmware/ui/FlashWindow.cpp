#include "FlashWindow.h"

#include "ui_frmFlash.h"

#include "firmware/FlashTexts.h"

#include <QCloseEvent>
#include <QFileDialog>

namespace mivel::firmware {

FlashWindow::FlashWindow(LinkHub& hub, Prompt& prompt, QWidget* parent)
    : QDialog(parent)
    , ui_(std::make_unique<Ui::frmFlash>())
    , wizard_(hub, prompt) {
    ui_->setupUi(this);
    setObjectName(QStringLiteral("frmFlash"));
    choose_ = [this] { return browse(); };
    Ui::frmFlash& u = *ui_;
    connect(u.cmdBack, &QPushButton::clicked, &wizard_, &FlashWizard::back);
    connect(u.cmdNext, &QPushButton::clicked, &wizard_, &FlashWizard::next);
    connect(u.cmdFinish, &QPushButton::clicked, this, &QDialog::accept);
    connect(u.cmdCancel, &QPushButton::clicked, this, [this] {
        if (wizard_.confirmCancel())
            QDialog::reject();
    });
    connect(u.cmdBrowse, &QPushButton::clicked, this, [this] {
        if (const QString path = choose_(); !path.isEmpty())
            ui_->txtFileName->setText(path);
    });
    connect(u.txtFileName, &QLineEdit::textChanged, &wizard_, &FlashWizard::setFileName);
    connect(&wizard_, &FlashWizard::changed, this, &FlashWindow::refresh);
    refresh();
}

FlashWindow::~FlashWindow() = default;

void FlashWindow::refresh() {
    Ui::frmFlash& u = *ui_;
    const FlashWizard::Controls& c = wizard_.controls();
    u.lblStep->setText(wizard_.title());
    u.lblInstructions->setText(wizard_.instructions());
    u.cmdBack->setEnabled(c.back);
    u.cmdNext->setEnabled(c.next);
    u.cmdCancel->setEnabled(c.cancel);
    u.cmdFinish->setEnabled(c.finish);
    u.txtFileName->setEnabled(c.fileBox);
    u.cmdBrowse->setEnabled(c.browse);
    const bool choosing = wizard_.step() == FlashWizard::ChooseFile;
    u.lblFileInfo->setVisible(choosing && !wizard_.fileSummary().isEmpty());
    u.lblFileInfo->setText(wizard_.fileSummary());
    u.ProgBar1->setVisible(c.progressVisible);
    u.ProgBar1->setValue(wizard_.progress());
    u.lblProgress->setVisible(c.progressVisible);
    u.lblProgress->setText(wizard_.progressText());
}

QString FlashWindow::browse() {
    QFileDialog dialog(this, QStringLiteral("Open"));
    dialog.setFileMode(QFileDialog::ExistingFile);
    dialog.setNameFilter(text::BrowseFilter);
    dialog.selectFile(text::ProposedName);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return {};
    return dialog.selectedFiles().first();
}

void FlashWindow::closeEvent(QCloseEvent* event) {
    // The upload must run to its end; the window stays until it has.
    if (wizard_.uploading())
        event->ignore();
    else
        QDialog::closeEvent(event);
}

void FlashWindow::reject() {
    if (wizard_.uploading())
        return;
    if (wizard_.controls().cancel && !wizard_.confirmCancel())
        return;
    QDialog::reject();
}

FlashWindow* openFlashWindow(LinkHub& hub, Prompt& prompt, QWidget* parent) {
    if (parent)
        if (auto* open = parent->findChild<FlashWindow*>(QStringLiteral("frmFlash"))) {
            open->raise();
            open->activateWindow();
            return open;
        }
    auto* window = new FlashWindow(hub, prompt, parent);
    QObject::connect(window, &QDialog::finished, window, &QObject::deleteLater);
    window->setWindowModality(Qt::WindowModal);
    window->QDialog::show();
    return window;
}

} // namespace mivel::firmware
