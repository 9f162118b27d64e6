#include "SecHeaterWizard.h"

#include "wire/Commands.h"

#include <QTimer>

namespace mivel::heater {

namespace {

const QString PortTitle = QStringLiteral("Vark");
const QString PortClosed = QStringLiteral("Error:  The communications port is not open.");

} // namespace

SecHeaterWizard::SecHeaterWizard(AppContext& ctx, QObject* parent)
    : QObject(parent)
    , ctx_(ctx)
    , recorder_(ctx) {
    connect(&recorder_, &StepRecorder::phaseChanged, this, &SecHeaterWizard::onRecorderPhase);
    connect(&recorder_, &StepRecorder::readingAdded, this, &SecHeaterWizard::changed);
}

SecHeaterWizard::~SecHeaterWizard() = default;

// --- Pages ---

bool SecHeaterWizard::canGoBack() const {
    return page_ != Page::Intro && !recorder_.running();
}

bool SecHeaterWizard::canGoNext() const {
    switch (page_) {
    case Page::Intro:
        return true;
    case Page::Step:
        return StepRecorder::planProblem(plan_).isEmpty();
    case Page::Recording:
        return recorder_.phase() == StepRecorder::Phase::Done || recorder_.shortened();
    case Page::Fit:
        return fit_ && fit_->ok();
    case Page::Tuning:
        return true;
    case Page::Upload:
        return false;
    }
    return false;
}

void SecHeaterWizard::next() {
    if (!canGoNext())
        return;
    switch (page_) {
    case Page::Step:
        if (const Status s = recorder_.start(plan_)) {
            const bool port = s->kind == ErrorKind::NotLinked;
            ctx_.prompt().inform(s->description, port ? PortTitle : MessageTitle,
                                 Prompt::Icon::Warning);
            return;
        }
        setPage(Page::Recording);
        return;
    case Page::Recording:
        refit();
        setPage(Page::Fit);
        return;
    case Page::Fit:
        deriveValues();
        setPage(Page::Tuning);
        return;
    default:
        setPage(Page(int(page_) + 1));
    }
}

void SecHeaterWizard::back() {
    if (canGoBack())
        setPage(Page(int(page_) - 1));
}

void SecHeaterWizard::setPage(Page page) {
    page_ = page;
    emit pageChanged();
    emit changed();
}

// --- Step and recording ---

void SecHeaterWizard::setPlan(const StepRecorder::Plan& plan) {
    plan_ = plan;
    emit changed();
}

void SecHeaterWizard::finishRecording() {
    recorder_.finish();
}

void SecHeaterWizard::abortRecording() {
    recorder_.abort();
    fit_.reset();
    setPage(Page::Step);
}

void SecHeaterWizard::onRecorderPhase() {
    if (recorder_.phase() == StepRecorder::Phase::Stopped && !closing_) {
        fit_.reset();
        useShortened_ = false;
        // Told outside the handler that stopped the recording: a port closing or a timer.
        QTimer::singleShot(0, this, &SecHeaterWizard::tellInterruption);
    }
    emit changed();
}

void SecHeaterWizard::tellInterruption() {
    // The observer's own Finish and Abort need no message; the page says what happened.
    if (recorder_.phase() != StepRecorder::Phase::Stopped || recorder_.endedByObserver())
        return;
    QString text = recorder_.stopReason();
    if (!recorder_.restoreNote().isEmpty())
        text += QStringLiteral("  ") + recorder_.restoreNote();
    if (recorder_.shortened())
        text +=
            QStringLiteral("  The readings so far are kept; they are fitted only if you say so.");
    ctx_.prompt().inform(text, MessageTitle, Prompt::Icon::Warning);
}

// --- Fit and values ---

void SecHeaterWizard::setUseShortened(bool use) {
    useShortened_ = use;
    if (page_ == Page::Fit)
        refit();
    emit changed();
}

void SecHeaterWizard::refit() {
    if (recorder_.shortened() && !useShortened_)
        fit_.reset();
    else
        fit_ = fitStepResponse(recorder_.response());
    values_ = {};
    emit changed();
}

const TuningRule& SecHeaterWizard::rule() const {
    return tuningRules()[std::size_t(rule_)];
}

void SecHeaterWizard::chooseRule(int index) {
    if (index < 0 || index >= int(tuningRules().size()) || index == rule_)
        return;
    rule_ = index;
    deriveValues();
}

std::optional<PidTerms> SecHeaterWizard::terms() const {
    if (!fit_ || !fit_->ok())
        return std::nullopt;
    return rule().terms(fit_->value().model);
}

void SecHeaterWizard::deriveValues() {
    if (const auto t = terms())
        values_ = unitValues(*t, fit_->value().model);
    uploaded_ = false;
    emit changed();
}

void SecHeaterWizard::setValues(const tempcomp::HeaterLoopValues& values) {
    values_ = values;
    uploaded_ = false;
    emit changed();
}

// --- Upload ---

std::array<std::optional<QByteArray>, 5> SecHeaterWizard::commands() const {
    return tempcomp::heaterLoopCommands(values_);
}

void SecHeaterWizard::upload() {
    Connector link(ctx_.hub());
    if (!link.serial().connected()) {
        ctx_.prompt().inform(PortClosed, PortTitle, Prompt::Icon::Critical);
        return;
    }
    for (const auto& command : commands())
        if (command)
            link.serial().transmit(*command);
    uploaded_ = true;
    emit changed();
    ctx_.prompt().inform(QStringLiteral("Coefficients uploaded to Mivel."), MessageTitle,
                         Prompt::Icon::Information);
}

// --- Closing ---

bool SecHeaterWizard::close() {
    if (recorder_.running()) {
        const auto answer = ctx_.prompt().ask(
            QStringLiteral("A recording is running.  Stop it and put the heater back?"),
            MessageTitle, Prompt::Icon::Question, Prompt::Buttons::YesNo);
        if (answer != Prompt::Answer::Yes)
            return false;
        closing_ = true;
        recorder_.abort();
        ctx_.prompt().inform(recorder_.restoreNote(), MessageTitle, Prompt::Icon::Information);
    }
    closing_ = true;
    return true;
}

} // namespace mivel::heater
