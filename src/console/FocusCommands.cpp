#include "FocusCommands.h"

#include "ConsoleCore.h"
#include "ConsoleJog.h"

#include "tempcomp/FocusMoveRule.h"
#include "tempcomp/TempCompReplies.h"

#include "core/Format.h"
#include "core/Numbers.h"
#include "wire/Commands.h"

#include <array>
#include <cmath>

namespace mivel::console {

using wire::Cmd;
using wire::Lead;
using wire::Tag;

namespace {

// The unit's focus error reports (:e), by code.
const std::array<QString, 3> kFocusErrors{
    QStringLiteral("Error:  Excessive position error.  The focus position has been adjusted."),
    QStringLiteral(
        "Error:  Excessive motor current detected.  The focus motor has been turned off."),
    QStringLiteral(
        "Error:  Excessive motor driver temperature.  The focus motor has been turned off."),
};

// The focus jog increments offered by the consoles; the FocusStep setting is the index.
constexpr std::array<int, 7> kFocusJogSteps{1, 5, 10, 50, 100, 500, 1000};

// Ideal mirror spacing: counts to the first unit (mils), and the factor of the second unit
// applied on top of the stored focus scale factor.
constexpr double kSpacingPerCount = 0.025;
constexpr double kScaledSpacingFactor = 0.0408;

} // namespace

FocusCommands::FocusCommands(ConsoleCore& core, ConsoleJog& jog)
    : core_(core)
    , jog_(jog)
    , errorMemoryTimer_(core.ctx.clock()) {
    errorMemoryTimer_.setSingleShot(true);
    errorMemoryTimer_.setInterval(timing::ErrorMemoryMs);
    QObject::connect(&errorMemoryTimer_, &Timer::timeout, &errorMemoryTimer_,
                     [this] { lastError_.reset(); });
}

void FocusCommands::goTo() {
    if (core_.readings.forceMotorOff) {
        core_.inform(QStringLiteral("FORCE MOTOR OFF is checked.  Please uncheck to move motor."),
                     MessageTitle, Prompt::Icon::Information);
        return;
    }
    if (const auto refusal = tempcomp::focusMoveRefusal(core_.ctx.shared().tempComp,
                                                        tempcomp::FocusMoveSource::ConsoleMove)) {
        core_.inform(*refusal, MessageTitle, Prompt::Icon::Information);
        return;
    }
    if (!core_.requirePort())
        return;
    if (!core_.skipConfirmation && !core_.confirm(QStringLiteral("Confirm slew?")))
        return;
    core_.skipConfirmation = false;
    if (!core_.readings.focusHomed) {
        // The unit answers with its homed state; the retry timer repeats the Goto then.
        core_.link.sendCommand(wire::command(Cmd::FocusHomedQuery));
        core_.focusGotoRetry = true;
        core_.retryTimer.start();
        return;
    }
    const auto position = wire::toNumber(gotoText_.trimmed().toStdString());
    if (!position || std::fabs(*position) > 2147483647.0) {
        core_.ctx.prompt().beep();
        return;
    }
    core_.link.sendCommand(wire::command(Cmd::FocusMove, std::int64_t(std::floor(*position))));
}

void FocusCommands::resumeGoto() {
    if (!std::exchange(core_.focusGotoRetry, false))
        return;
    if (core_.readings.focusHomed) {
        core_.skipConfirmation = true;
        goTo();
    } else {
        core_.inform(texts::kMustHome, texts::kVark, Prompt::Icon::Warning);
    }
}

void FocusCommands::home() {
    if (!core_.requirePort() || !core_.confirm(QStringLiteral("Confirm slew home?")))
        return;
    core_.link.sendCommand(wire::command(Cmd::FocusHome));
}

void FocusCommands::stop() {
    if (!core_.requirePort())
        return;
    jog_.stop();
    core_.link.sendCommand(wire::command(Cmd::FocusStop));
}

void FocusCommands::record() {
    if (!core_.requirePort())
        return;
    core_.link.sendCommand(wire::command(Cmd::RecordFocus, Lead::Space));
}

// --- Ideal mirror spacing -------------------------------------------------------------------

void FocusCommands::setMirrorSpacing() {
    if (!core_.requirePort())
        return;
    if (!core_.readings.focusHomed) {
        core_.inform(
            QStringLiteral("You must first set home position before setting ideal mirror spacing."),
            MessageTitle, Prompt::Icon::Information);
        return;
    }
    if (!core_.confirm(QStringLiteral("Set current position for ideal mirror spacing?")))
        return;
    idealSpacingPosition_ = position_;
    core_.link.sendCommand(wire::command(Cmd::MirrorSpacing, position_, Lead::Space));
    updateSpacing();
    core_.flush();
}

void FocusCommands::setSpacingUnit(int unit) {
    spacingUnit_ = unit == 1 ? 1 : 0;
    updateSpacing();
    core_.flush();
}

void FocusCommands::updateSpacing() {
    Readings& r = core_.readings;
    core_.setText(r.spacingUnit, !r.focusHomed       ? QString()
                                 : spacingUnit_ == 0 ? QStringLiteral("mils")
                                                     : QStringLiteral("scaled"));
    QString text = QStringLiteral("GO HOME");
    if (r.focusHomed) {
        const double counts = double(position_) - double(idealSpacingPosition_);
        const double spacing = spacingUnit_ == 0 ? counts * kSpacingPerCount
                                                 : counts * double(core_.ctx.settings().stepSize) *
                                                       kScaledSpacingFactor;
        text = formatNumber(spacing, "0.000");
    }
    core_.setText(r.spacing, text);
}

// --- Temperature compensation ---------------------------------------------------------------

void FocusCommands::synchTempComp() {
    if (!core_.requirePort())
        return;
    core_.link.sendCommand(wire::command(Cmd::TempCompMode, 2, Lead::Space));
}

void FocusCommands::openTempComp() {
    if (!core_.dialogs->tempCompDialogAvailable() || !core_.requirePort())
        return;
    core_.link.send(wire::command(Cmd::TempCompPrepare, Lead::Space));
    core_.dialogs->runTempCompDialog();
    // The mode goes to the unit whenever the dialog closes, Cancel included.
    showTempComp(Tag::TempCompMode);
    core_.flush();
    core_.link.sendCommand(
        wire::command(Cmd::TempCompMode, core_.ctx.shared().tempComp.mode, Lead::Space));
}

void FocusCommands::showTempComp(Tag tag) {
    const TempCompState& comp = core_.ctx.shared().tempComp;
    if (tag == Tag::TempCompMode) {
        const tempcomp::TempCompButtons buttons = tempcomp::tempCompButtons(comp.mode);
        core_.setText(core_.readings.tempCompCaption, buttons.caption);
        core_.setValue(core_.readings.synchEnabled, buttons.synchEnabled);
    } else if (comp.sensorRawReceived &&
               (tag == Tag::CompSensorRaw || tag == Tag::Slope1 || tag == Tag::Offset1)) {
        core_.setText(core_.readings.ambientStatus,
                      QStringLiteral("Amb Temp ") + formatNumber(comp.sensorTemp, "0.0 F"));
    }
}

// --- Jog increments -------------------------------------------------------------------------

std::span<const int> FocusCommands::jogSteps() {
    return kFocusJogSteps;
}

int FocusCommands::focusJogStep() const {
    const int index =
        std::clamp<int>(core_.ctx.settings().focusStep, 0, int(kFocusJogSteps.size()) - 1);
    return kFocusJogSteps[std::size_t(index)];
}

void FocusCommands::setJogStepIndex(int index) {
    core_.ctx.settings().focusStep =
        std::int16_t(std::clamp<int>(index, 0, int(kFocusJogSteps.size()) - 1));
}

// --- Replies --------------------------------------------------------------------------------

void FocusCommands::onActual(double value, const QString& text) {
    position_ = wire::roundToInt<std::int32_t>(value).value_or(position_);
    core_.setText(core_.readings.focusActual, text);
    updateSpacing();
}

void FocusCommands::onHomed(bool homed) {
    core_.setValue(core_.readings.focusHomed, homed);
    updateSpacing();
}

void FocusCommands::onRecord(double value) {
    // The recall box follows the same reply through its row of the control table.
    const bool odd = wire::isOddFlag(value);
    if (odd)
        core_.setValue(core_.readings.focusHomed, true);
    core_.ctx.shared().focusRecordState = std::int16_t(odd ? (value >= 8 ? 8 : 4) : 0);
    core_.setText(core_.readings.focusRecordCaption,
                  value >= 8 ? QStringLiteral("RECORDED") : QStringLiteral("RECORD"));
    updateSpacing();
}

void FocusCommands::onError(int code) {
    if (lastError_ == code)
        return;
    // Remembered for 15 seconds, so a fault that persists is reported again after that.
    lastError_ = code;
    errorMemoryTimer_.start();
    if (!core_.leadConsole() || core_.ctx.settings().errorMessage == 0 || code < 1 ||
        code > int(kFocusErrors.size()))
        return;
    core_.pendingAlerts.push_back(kFocusErrors[std::size_t(code - 1)]);
}

} // namespace mivel::console
