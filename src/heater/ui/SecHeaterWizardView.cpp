#include "SecHeaterWizardView.h"

#include "StepChart.h"
#include "ui_frmSecHeaterWizard.h"

#include <QCloseEvent>
#include <QPointer>
#include <QSignalBlocker>

namespace mivel::heater {
namespace {

using Page = SecHeaterWizard::Page;

const char* const PageTitles[SecHeaterWizard::PageCount] = {
    "What happens", "The step", "Recording", "The fitted model", "PID values", "Upload"};

QString clockText(qint64 ms) {
    const qint64 s = ms / 1000;
    return QStringLiteral("%1:%2").arg(s / 60).arg(s % 60, 2, 10, QLatin1Char('0'));
}

QString refusal(const QString& text) {
    return QStringLiteral("<span style=\"color:#e06060\">%1</span>").arg(text.toHtmlEscaped());
}

QString phaseText(const StepRecorder& r) {
    switch (r.phase()) {
    case StepRecorder::Phase::Idle:
        return {};
    case StepRecorder::Phase::Asking:
        return QStringLiteral("Asking the unit what the heater is doing...");
    case StepRecorder::Phase::Settling:
        return QStringLiteral("Settling at %1 %: the step comes at %2.")
            .arg(r.plan().startPower)
            .arg(clockText(qint64(r.plan().settleSeconds) * 1000));
    case StepRecorder::Phase::Stepped:
        return QStringLiteral("Stepped to %1 %: recording the response.").arg(r.plan().endPower);
    case StepRecorder::Phase::Done:
        return QStringLiteral("The recording is complete.  ") + r.restoreNote();
    case StepRecorder::Phase::Stopped:
        return r.stopReason() + QStringLiteral("  ") + r.restoreNote();
    }
    return {};
}

} // namespace

SecHeaterWizardView::SecHeaterWizardView(AppContext& ctx, QWidget* parent)
    : QDialog(parent)
    , ui_(std::make_unique<Ui::frmSecHeaterWizard>())
    , logic_(ctx) {
    ui_->setupUi(this);
    setAttribute(Qt::WA_DeleteOnClose);
    recordChart_ = new StepChart(QStringLiteral("chartRecording"), ui_->pageRecording);
    ui_->layoutRecordChart->addWidget(recordChart_);
    fitChart_ = new StepChart(QStringLiteral("chartFit"), ui_->pageFit);
    ui_->layoutFitChart->addWidget(fitChart_);
    for (const TuningRule& rule : tuningRules())
        ui_->cboRule->addItem(rule.name);
    ui_->lblIntro->setText(QStringLiteral(
        "<p>The wizard tunes the loop that holds the secondary mirror's temperature.  It steps "
        "the heater's power, records how the secondary warms, fits a model of it (gain, time "
        "constant and dead time) and derives the loop's PID values from a published tuning "
        "rule.  You can change the values before they are uploaded to the Mivel.</p>"
        "<p>It takes as long as the secondary needs to settle twice: a few minutes at the start "
        "power, then about an hour after the step by default (you choose on the next page).  "
        "The heater is put back as it was when the recording ends or is stopped.</p>"));
    ui_->lblWarning->setText(QStringLiteral(
        "<p><b>Warning:</b> during the recording the heater runs open loop, at a fixed power, "
        "and nothing limits the secondary's temperature.  The secondary must be free to warm: "
        "leave it uncovered, keep the fan and dew heaters as they are, and keep the telescope "
        "still until the recording ends.</p>"));
    ui_->lblStepIntro->setText(QStringLiteral(
        "The heater goes to manual power with the \" s\" command: first the start power, held "
        "while the secondary settles, then the end power for the rest of the recording.  The "
        "larger the step, the clearer the response."));
    bind();
    refresh();
}

SecHeaterWizardView::~SecHeaterWizardView() = default;

void SecHeaterWizardView::bind() {
    connect(&logic_, &SecHeaterWizard::changed, this, &SecHeaterWizardView::refresh);
    connect(ui_->cmdNext, &QPushButton::clicked, &logic_, &SecHeaterWizard::next);
    connect(ui_->cmdBack, &QPushButton::clicked, &logic_, &SecHeaterWizard::back);
    connect(ui_->cmdClose, &QPushButton::clicked, this, &QWidget::close);
    connect(ui_->cmdFinish, &QPushButton::clicked, &logic_, &SecHeaterWizard::finishRecording);
    connect(ui_->cmdAbort, &QPushButton::clicked, &logic_, &SecHeaterWizard::abortRecording);
    connect(ui_->cmdUpload, &QPushButton::clicked, &logic_, &SecHeaterWizard::upload);
    connect(ui_->chkUseShortened, &QCheckBox::toggled, &logic_, &SecHeaterWizard::setUseShortened);
    connect(ui_->cboRule, &QComboBox::currentIndexChanged, &logic_, &SecHeaterWizard::chooseRule);
    for (QSpinBox* s : {ui_->udStartPower, ui_->udEndPower, ui_->udSettle, ui_->udRecord})
        connect(s, &QSpinBox::valueChanged, this, &SecHeaterWizardView::takePlan);
    for (QLineEdit* e : {ui_->txtSKp, ui_->txtSKd, ui_->txtSDI, ui_->txtSKi, ui_->txtSecKi})
        connect(e, &QLineEdit::textEdited, this, &SecHeaterWizardView::takeValues);
}

void SecHeaterWizardView::takePlan() {
    StepRecorder::Plan plan;
    plan.startPower = ui_->udStartPower->value();
    plan.endPower = ui_->udEndPower->value();
    plan.settleSeconds = ui_->udSettle->value() * 60;
    plan.recordSeconds = ui_->udRecord->value() * 60;
    logic_.setPlan(plan);
}

void SecHeaterWizardView::takeValues() {
    logic_.setValues({ui_->txtSKp->text(), ui_->txtSKd->text(), ui_->txtSDI->text(),
                      ui_->txtSKi->text(), ui_->txtSecKi->text()});
}

void SecHeaterWizardView::refresh() {
    const int index = int(logic_.page());
    ui_->pages->setCurrentIndex(index);
    ui_->lblTitle->setText(QStringLiteral("<b>Step %1 of %2: %3</b>")
                               .arg(index + 1)
                               .arg(SecHeaterWizard::PageCount)
                               .arg(QLatin1String(PageTitles[index])));
    ui_->cmdBack->setEnabled(logic_.canGoBack());
    ui_->cmdNext->setEnabled(logic_.canGoNext());
    // Only the page in view: the recording changes every second, and its charts are long.
    switch (logic_.page()) {
    case Page::Intro:
        break;
    case Page::Step:
        showStep();
        break;
    case Page::Recording:
        showRecording();
        break;
    case Page::Fit:
        showFit();
        break;
    case Page::Tuning:
        showTuning();
        break;
    case Page::Upload:
        showUpload();
        break;
    }
}

void SecHeaterWizardView::showStep() {
    const StepRecorder::Plan& plan = logic_.plan();
    ui_->lblExpected->setText(QStringLiteral("The recording takes %1 minutes.")
                                  .arg((plan.settleSeconds + plan.recordSeconds) / 60));
    const QString problem = StepRecorder::planProblem(plan);
    ui_->lblPlanProblem->setText(problem.isEmpty() ? QString() : refusal(problem));
}

void SecHeaterWizardView::showRecording() {
    const StepRecorder& r = logic_.recorder();
    const qint64 planned = r.plan().totalMs();
    recordChart_->showResponse(r.response(), double(planned) / 1000);
    ui_->prgRecording->setValue(int(std::min<qint64>(1000, r.elapsedMs() * 1000 / planned)));
    ui_->lblElapsed->setText(QStringLiteral("Elapsed %1 of %2 minutes")
                                 .arg(clockText(r.elapsedMs()), clockText(planned)));
    ui_->lblRecordState->setText(phaseText(r));
    ui_->cmdFinish->setEnabled(r.running());
    ui_->cmdAbort->setEnabled(r.running());
}

void SecHeaterWizardView::showFit() {
    const StepRecorder& r = logic_.recorder();
    const auto& fit = logic_.fit();
    fitChart_->showResponse(r.response(), 0);
    fitChart_->showModel(r.response(), fit && fit->ok()
                                           ? std::optional<FirstOrderModel>(fit->value().model)
                                           : std::nullopt);
    ui_->chkUseShortened->setVisible(r.shortened());
    {
        const QSignalBlocker quiet(ui_->chkUseShortened);
        ui_->chkUseShortened->setChecked(logic_.useShortened());
    }
    if (!fit) {
        ui_->lblFit->setText(r.shortened() ? QStringLiteral("The recording was cut short (%1).  "
                                                            "Tick the box to fit it anyway.")
                                                 .arg(r.stopReason().toHtmlEscaped())
                                           : QString());
        return;
    }
    if (!fit->ok()) {
        ui_->lblFit->setText(refusal(fit->error().description));
        return;
    }
    const ModelFit& f = fit->value();
    const FirstOrderModel& m = f.model;
    ui_->lblFit->setText(QStringLiteral("Gain K = %1 °F per % (%2 °F for the step)<br>"
                                        "Time constant τ = %3 s (%4 min)<br>Dead time θ = %5 s<br>"
                                        "Residual %6 °F rms over %7 readings")
                             .arg(m.gain, 0, 'f', 4)
                             .arg(f.rise, 0, 'f', 2)
                             .arg(m.timeConstant, 0, 'f', 0)
                             .arg(m.timeConstant / 60, 0, 'f', 1)
                             .arg(m.deadTime, 0, 'f', 1)
                             .arg(f.residual, 0, 'f', 3)
                             .arg(f.readings));
}

void SecHeaterWizardView::showTuning() {
    {
        const QSignalBlocker quiet(ui_->cboRule);
        ui_->cboRule->setCurrentIndex(logic_.ruleIndex());
    }
    const TuningRule& rule = logic_.rule();
    ui_->lblRule->setText(QStringLiteral("<b>%1</b>: %2<br><i>%3</i>")
                              .arg(rule.name.toHtmlEscaped(), rule.note.toHtmlEscaped(),
                                   rule.reference.toHtmlEscaped()));
    if (const auto t = logic_.terms())
        ui_->lblTerms->setText(
            QStringLiteral("Controller: Kc = %1 % per °F, Ti = %2 s, Td = %3 s.  In the unit's "
                           "terms, over a derivative time of %4 s:")
                .arg(t->gain, 0, 'f', 2)
                .arg(t->integralTime, 0, 'f', 0)
                .arg(t->derivativeTime, 0, 'f', 1)
                .arg(logic_.values().derivativeTime));
    const tempcomp::HeaterLoopValues& v = logic_.values();
    const std::pair<QLineEdit*, QString> fields[] = {{ui_->txtSKp, v.proportionalGain},
                                                     {ui_->txtSKd, v.derivativeGain},
                                                     {ui_->txtSDI, v.derivativeTime},
                                                     {ui_->txtSKi, v.integralGain},
                                                     {ui_->txtSecKi, v.integralLimit}};
    for (const auto& [edit, text] : fields)
        if (edit->text() != text)
            edit->setText(text);
}

void SecHeaterWizardView::showUpload() {
    QStringList sent;
    const char* const names[] = {"proportional gain", "derivative gain", "derivative time",
                                 "integral gain", "integral limit"};
    int i = 0;
    for (const auto& command : logic_.commands()) {
        sent << (command
                     ? QStringLiteral("<tt>%1</tt>").arg(QString::fromLatin1(*command).trimmed())
                     : refusal(QStringLiteral("%1 not sent: the unit cannot take it")
                                   .arg(QLatin1String(names[i]))));
        ++i;
    }
    ui_->lblUpload->setText(
        QStringLiteral("<p>The upload sends the heater loop's five values, in this order:</p>"
                       "<p>%1</p><p>The unit uses them while the heater is in an automatic "
                       "mode: afterwards, choose the automatic heater mode on the console to "
                       "hold the set point.</p>")
            .arg(sent.join(QStringLiteral("&nbsp;&nbsp;"))));
    ui_->lblUploaded->setText(logic_.uploaded() ? QStringLiteral("Coefficients uploaded to Mivel.")
                                                : QString());
}

void SecHeaterWizardView::closeEvent(QCloseEvent* event) {
    if (logic_.close())
        event->accept();
    else
        event->ignore();
}

QWidget* openSecHeaterWizard(AppContext& ctx, QWidget* parent) {
    // One wizard at a time: two would drive the one heater.
    static QPointer<SecHeaterWizardView> open;
    if (!open)
        open = new SecHeaterWizardView(ctx, parent);
    open->show();
    open->raise();
    open->activateWindow();
    return open;
}

} // namespace mivel::heater
