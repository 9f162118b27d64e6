#pragma once

// The secondary heater tuning wizard's logic. Its pages, in order: what will happen, the step
// to apply, the recording, the fitted model, the PID values, and the upload. The window is a
// thin view over this object; tests drive it without a display.

#include "FirstOrderFit.h"
#include "StepRecorder.h"
#include "TuningRules.h"

#include "app/AppContext.h"
#include "tempcomp/HeaterLoopUpload.h"

#include <QObject>

#include <array>
#include <optional>

namespace mivel::heater {

class SecHeaterWizard : public QObject {
    Q_OBJECT
public:
    enum class Page { Intro, Step, Recording, Fit, Tuning, Upload };
    static constexpr int PageCount = 6;

    explicit SecHeaterWizard(AppContext& ctx, QObject* parent = nullptr);
    ~SecHeaterWizard() override;

    Page page() const { return page_; }
    bool canGoBack() const;
    bool canGoNext() const;
    // Next on the step page starts the recording (and stays there if it cannot start); on the
    // recording page it fits the model.
    void next();
    void back();

    // --- Step ---
    const StepRecorder::Plan& plan() const { return plan_; }
    void setPlan(const StepRecorder::Plan& plan);

    // --- Recording ---
    const StepRecorder& recorder() const { return recorder_; }
    // The observer ends the recording now and keeps it, or abandons it and goes back to the step.
    void finishRecording();
    void abortRecording();

    // --- Fit ---
    // A shortened recording is fitted only when the observer says so.
    bool useShortened() const { return useShortened_; }
    void setUseShortened(bool use);
    // The fit, or why there is none; empty before a fit was tried.
    const std::optional<Result<ModelFit>>& fit() const { return fit_; }

    // --- PID values ---
    int ruleIndex() const { return rule_; }
    const TuningRule& rule() const;
    void chooseRule(int index);
    // The rule's controller for the fitted model.
    std::optional<PidTerms> terms() const;
    // The five values to upload, as shown and edited.
    const tempcomp::HeaterLoopValues& values() const { return values_; }
    void setValues(const tempcomp::HeaterLoopValues& values);

    // --- Upload ---
    // The commands the upload sends; empty where a value cannot go.
    std::array<std::optional<QByteArray>, 5> commands() const;
    bool uploaded() const { return uploaded_; }
    // Sends the heater-loop commands that can go and says so; with the port closed it says that
    // instead and sends nothing.
    void upload();

    // Closing the window. A running recording is stopped, after asking, and the heater put back.
    // False when the observer chose to go on recording.
    bool close();

signals:
    void pageChanged();
    // Something a page shows has changed.
    void changed();

private:
    void setPage(Page page);
    void refit();
    void deriveValues();
    void onRecorderPhase();
    void tellInterruption();

    AppContext& ctx_;
    StepRecorder recorder_;
    Page page_ = Page::Intro;
    StepRecorder::Plan plan_;
    bool useShortened_ = false;
    std::optional<Result<ModelFit>> fit_;
    int rule_ = 0;
    tempcomp::HeaterLoopValues values_;
    bool uploaded_ = false;
    bool closing_ = false;
};

} // namespace mivel::heater
