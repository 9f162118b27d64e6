#include "RotatorCommands.h"

#include "ConsoleCore.h"
#include "ConsoleJog.h"
#include "RotatorMoves.h"

#include "app/SettingsKey.h"
#include "core/Numbers.h"
#include "wire/Commands.h"
#include "wire/Replies.h"

#include <cmath>

namespace mivel::console {

using wire::Cmd;
using wire::Lead;
using wire::Tag;

namespace {

const QString kWrapStopped =
    QStringLiteral("Wrap limit reached.  The Dorna has been stopped to protect its cables.");

} // namespace

RotatorCommands::RotatorCommands(ConsoleCore& core, ConsoleJog& jog)
    : core_(core)
    , jog_(jog) {
    updateWrapLimitText();
}

void RotatorCommands::goTo() {
    if (!core_.requirePort())
        return;
    if (!core_.skipConfirmation && !core_.confirm(QStringLiteral("Confirm slew?")))
        return;
    core_.skipConfirmation = false;
    if (!core_.readings.rotatorHomed) {
        core_.link.sendCommand(wire::command(Cmd::RotatorHomedQuery));
        core_.rotatorGotoRetry = true;
        core_.retryTimer.start();
        return;
    }
    const auto target = wire::toNumber(gotoText_.trimmed().toStdString());
    if (!target) {
        core_.ctx.prompt().beep();
        return;
    }
    const Settings& settings = core_.ctx.settings();
    const auto move = planRotatorGoto(
        {*target, offsetDeg_, position_, wrap_, settings.dornaLimit, settings.autoReverse});
    if (!move) {
        core_.inform(texts::kPastWrapLimit, MessageTitle, Prompt::Icon::Warning);
        return;
    }
    rearmWrapGuard();
    core_.link.sendCommand(wire::command(Cmd::RotatorMove, *move));
}

void RotatorCommands::resumeGoto() {
    if (!std::exchange(core_.rotatorGotoRetry, false))
        return;
    if (core_.readings.rotatorHomed) {
        core_.skipConfirmation = true;
        goTo();
    } else {
        core_.inform(texts::kMustHome, texts::kVark, Prompt::Icon::Warning);
    }
}

void RotatorCommands::home() {
    if (!core_.requirePort())
        return;
    const QString question =
        skyLinked_ ? QStringLiteral("Warning:  Homing while connected to TheSky will cause loss of "
                                    "TheSky/Dorna synchronization.  Do you want to continue?")
                   : QStringLiteral("Confirm Rotate HOME");
    if (!core_.confirm(question))
        return;
    core_.link.sendCommand(wire::command(Cmd::RotatorHome));
}

void RotatorCommands::stop() {
    if (!core_.requirePort())
        return;
    jog_.stop();
    core_.link.sendCommand(wire::command(Cmd::RotatorStep, 0));
}

void RotatorCommands::record() {
    if (!core_.requirePort())
        return;
    core_.link.sendCommand(wire::command(Cmd::RecordRotator, Lead::Space));
}

void RotatorCommands::wrapZero() {
    if (!core_.requirePort() ||
        !core_.confirm(QStringLiteral("Initialize wrap to current Dorna position?")))
        return;
    core_.link.sendCommand(wire::command(Cmd::WrapZero, Lead::Space));
}

void RotatorCommands::unwrap() {
    if (!core_.requirePort())
        return;
    const int choice = core_.dialogs->chooseUnwrap();
    core_.ctx.shared().unwrapChoice = std::int16_t(choice);
    if (choice == 1) {
        // A full turn against the wrap; below half a turn that only winds the other way.
        if (std::abs(wrap_) <= StepsPerTurn / 2 &&
            !core_.confirm(
                QStringLiteral("The current wrap is less than 180 degrees.  Unwrapping by 360 "
                               "degrees will result in a greater wrap.  Do you wish to "
                               "continue?")))
            return;
        rearmWrapGuard();
        core_.link.sendCommand(wire::command(
            Cmd::RotatorMove, wrap_ >= 0 ? -StepsPerTurn : StepsPerTurn, Lead::Space));
    } else if (choice == 2) {
        rearmWrapGuard();
        core_.link.sendCommand(wire::command(Cmd::RotatorMove, -std::int64_t(wrap_), Lead::Space));
    }
}

// --- The wrap and its limit -----------------------------------------------------------------

bool RotatorCommands::wrapFresh() const {
    return wrapReadAtMs_ && core_.ctx.clock().nowMs() - *wrapReadAtMs_ <= timing::WrapFreshMs;
}

int RotatorCommands::wrapLimitDeg() const {
    return core_.ctx.settings().dornaLimit;
}

std::int64_t RotatorCommands::wrapLimitSteps() const {
    return std::int64_t(core_.ctx.settings().dornaLimit) * StepsPerDegree;
}

bool RotatorCommands::setWrapLimitDeg(int degrees) {
    if (degrees < 0 || degrees > WrapLimitMaxDeg)
        return false;
    core_.ctx.settings().dornaLimit = degrees;
    // Saved where the rotator driver saves it; the settings key is never created for this.
    writeSetting(core_.ctx.store(), QStringLiteral("DornaLimit"), int(SettingsStore::Type::Dword),
                 degrees, SettingsKeyUse::OnlyIfPresent);
    updateWrapLimitText();
    core_.flush();
    return true;
}

void RotatorCommands::updateWrapLimitText() {
    core_.setText(core_.readings.wrapLimit,
                  QStringLiteral("of \u00b1%1").arg(core_.ctx.settings().dornaLimit));
}

// --- Replies --------------------------------------------------------------------------------

void RotatorCommands::onTarget(double value, const QString& text) {
    target_ = wire::roundToInt<std::int32_t>(value).value_or(target_);
    core_.setText(core_.readings.rotatorTarget, text);
}

void RotatorCommands::onActual(double value, const QString& text) {
    position_ = wire::roundToInt<std::int32_t>(value).value_or(position_);
    core_.setText(core_.readings.rotatorActual, text);
}

void RotatorCommands::onHomed(bool homed) {
    core_.setValue(core_.readings.rotatorHomed, homed);
    core_.setText(core_.readings.rotatorHomedText,
                  homed ? QStringLiteral("HOMED") : QStringLiteral("NOT HOMED"));
}

void RotatorCommands::onWrap(std::int32_t wrap) {
    wrap_ = wrap;
    wrapReadAtMs_ = core_.ctx.clock().nowMs();
    core_.ctx.shared().wrapCounter = wrap;
    core_.setText(core_.readings.wrap, wire::displayText(Tag::Wrap, wrap));
    const std::int64_t limit = wrapLimitSteps();
    if (previousWrap_ && !wrapStopSent_ && core_.leadConsole()) {
        const bool outward =
            (wrap > *previousWrap_ && wrap > limit) || (wrap < *previousWrap_ && wrap < -limit);
        if (outward) {
            core_.link.send(wire::command(Cmd::RotatorStep, 0));
            wrapStopSent_ = true;
            core_.dialogs->showWrapWarning(kWrapStopped);
            core_.retryTimer.start();
        }
    } else if (wrapStopSent_ && std::abs(std::int64_t(wrap)) <= limit) {
        rearmWrapGuard(); // back inside the limit
    }
    previousWrap_ = wrap;
}

void RotatorCommands::onRecord(double value) {
    // The recall box follows the same reply through its row of the control table.
    const bool odd = wire::isOddFlag(value);
    if (odd)
        onHomed(true);
    core_.ctx.shared().rotatorRecordState = std::int16_t(odd ? (value >= 8 ? 8 : 4) : 0);
    core_.setText(core_.readings.rotatorRecordCaption,
                  value >= 8 ? QStringLiteral("RECORDED") : QStringLiteral("RECORD"));
}

} // namespace mivel::console
