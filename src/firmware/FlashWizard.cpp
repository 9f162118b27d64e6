#include "FlashWizard.h"

#include "FlashTexts.h"

#include <QFileInfo>
#include <QPointer>

namespace mivel::firmware {

FlashWizard::FlashWizard(LinkHub& hub, Prompt& prompt, QObject* parent)
    : QObject(parent)
    , hub_(hub)
    , prompt_(prompt) {
    step_ = Welcome;
    changeStep(0);
    flags_->loaderAnswered = false;
    flags_->wizardClosed = false;
}

FlashWizard::~FlashWizard() {
    if (uploading()) {
        upload_->disconnect(this);
        upload_.release()->orphan();
    }
    flags_->loaderAnswered = false;
    flags_->wizardClosed = true;
}

void FlashWizard::changeStep(int delta) {
    // The upload moves the wizard on by itself; nothing else may while it runs.
    if (uploading() && delta != 0)
        return;
    step_ = qint16(qBound(0, step_ + delta, int(ErrorPage)));
    drawPage();
    if (step_ == Uploading && delta != 0)
        startUpload();
    emit changed();
}

void FlashWizard::drawPage() {
    const PageText page = pageText(step_);
    title_ = step_ == ErrorPage ? ErrorPageTitle : page.title;
    instructions_ = step_ == ErrorPage ? errorPageText(errorCode_) : page.text;
    Controls c;
    switch (step_) {
    case Welcome:
        c.next = true;
        break;
    case ChooseFile:
        c.back = true;
        c.fileBox = true;
        c.browse = true;
        c.next = fileName_.contains(text::FileMark);
        break;
    case Ready:
        c.back = true;
        c.next = true;
        break;
    case Uploading:
        c.cancel = false;
        c.progressVisible = true;
        break;
    case Success:
    case ErrorPage:
        c.cancel = false;
        c.finish = true;
        break;
    }
    controls_ = c;
}

void FlashWizard::startUpload() {
    errorCode_ = NoError;
    upload_ = std::make_unique<FlashUpload>(hub_, prompt_, flags_);
    connect(upload_.get(), &FlashUpload::statusChanged, this, [this](const QString& status) {
        instructions_ = status;
        emit changed();
    });
    connect(upload_.get(), &FlashUpload::progressChanged, this, &FlashWizard::changed);
    upload_->run(fileName_).then([self = QPointer<FlashWizard>(this)](int code) {
        if (!self)
            return;
        self->uploadEnded(code);
    });
}

void FlashWizard::uploadEnded(int code) {
    if (code == NoError) {
        changeStep(1);
    } else {
        errorCode_ = qint16(code);
        changeStep(2);
    }
    endPage();
}

void FlashWizard::endPage() {
    // Both end pages: a late ":x" has no effect from now on.
    flags_->wizardClosed = true;
    flags_->loaderAnswered = false;
    if (step_ == Success)
        prompt_.beep();
    emit changed();
}

bool FlashWizard::confirmCancel() {
    if (!controls_.cancel)
        return false;
    return prompt_.confirm(text::CancelQuestion, text::VarkTitle, Prompt::Icon::Question);
}

void FlashWizard::setFileName(const QString& path) {
    fileName_ = path;
    if (step_ == ChooseFile) {
        // Case matters: a name typed as ".S19" does not do.
        controls_.next = path.contains(text::FileMark);
        summariseFile();
    }
    emit changed();
}

void FlashWizard::summariseFile() {
    fileSummary_.clear();
    if (!QFileInfo(fileName_).isFile())
        return;
    const Result<FirmwareSummary> summary = summariseFirmware(fileName_);
    fileSummary_ = summary ? describeFirmware(*summary) : summary.error().description;
}

QString FlashWizard::progressText() const {
    if (!upload_ || step_ != Uploading || upload_->lineCount() == 0)
        return {};
    return firmware::progressText(upload_->linesSent(), upload_->lineCount(), upload_->msLeft());
}

} // namespace mivel::firmware
