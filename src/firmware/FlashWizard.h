#pragma once

#include "FirmwareSummary.h"
#include "FlashUpload.h"
#include "LoaderFlags.h"

#include "app/Prompt.h"
#include "link/LinkHub.h"

#include <QObject>
#include <QString>

#include <memory>

namespace mivel::firmware {

// The firmware upgrade wizard without its window: five pages, which controls each page enables,
// and the upload on page 3. The window (firmware/ui) draws what this says and forwards the
// observer's clicks; tests drive it directly.
//
//   0 Welcome → 1 Choose Firmware File → 2 Complete Upgrade → 3 Uploading → 4 Success
//                                                                         ↘ 5 Error Encountered
class FlashWizard : public QObject {
    Q_OBJECT
public:
    enum Page : int { Welcome, ChooseFile, Ready, Uploading, Success, ErrorPage };

    struct Controls {
        bool back = false;
        bool next = false;
        bool cancel = true;
        bool finish = false;
        bool fileBox = false;
        bool browse = false;
        bool progressVisible = false;
    };

    FlashWizard(LinkHub& hub, Prompt& prompt, QObject* parent = nullptr);
    // Unload: a ":x" that comes after this is no longer the wizard's. An upload still running
    // (the console closed under it) goes on to its end by itself.
    ~FlashWizard() override;

    // Moves by delta pages (-1 back, +1 next, +2 from the upload to the error page, 0 redraws)
    // and does the page's work; entering page 3 starts the upload, which moves on by itself.
    void changeStep(int delta);
    void back() { changeStep(-1); }
    void next() { changeStep(1); }
    // Asks before giving up; true when the observer confirmed and the wizard should close.
    bool confirmCancel();
    // The file box's text changed (typed or browsed).
    void setFileName(const QString& path);

    int step() const { return step_; }
    int errorCode() const { return errorCode_; }
    QString fileName() const { return fileName_; }
    QString title() const { return title_; }
    QString instructions() const { return instructions_; }
    const Controls& controls() const { return controls_; }
    int progress() const { return upload_ ? upload_->percent() : 0; }
    // "Line n of m, about ... left" while uploading.
    QString progressText() const;
    // What the chosen file holds, in plain words; empty until a file that exists is named.
    QString fileSummary() const { return fileSummary_; }
    bool uploading() const { return upload_ && upload_->running(); }
    LoaderFlags& flags() { return *flags_; }
    const FlashUpload* upload() const { return upload_.get(); }

signals:
    // Anything shown changed: title, text, controls, progress.
    void changed();

private:
    void drawPage();
    void startUpload();
    void uploadEnded(int code);
    void endPage();
    void summariseFile();

    LinkHub& hub_;
    Prompt& prompt_;
    std::shared_ptr<LoaderFlags> flags_ = std::make_shared<LoaderFlags>();
    std::unique_ptr<FlashUpload> upload_;
    qint16 step_ = Welcome;
    qint16 errorCode_ = 0;
    QString fileName_;
    QString title_;
    QString instructions_;
    QString fileSummary_;
    Controls controls_;
};

} // namespace mivel::firmware
