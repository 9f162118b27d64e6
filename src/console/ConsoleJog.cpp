#include "ConsoleJog.h"

#include "ConsoleCore.h"
#include "FocusCommands.h"
#include "RotatorCommands.h"
#include "RotatorMoves.h"

#include "tempcomp/FocusMoveRule.h"
#include "wire/Commands.h"

#include <cmath>

namespace mivel::console {

using wire::Cmd;
using wire::Lead;

namespace {
const QString kJogStepNotNumber =
    QStringLiteral("The rotator jog step must be a number of degrees (at most 360).");
} // namespace

ConsoleJog::ConsoleJog(ConsoleCore& core, const FocusCommands& focus, RotatorCommands& rotator)
    : core_(core)
    , focus_(focus)
    , rotator_(rotator)
    , timer_(core.ctx.clock()) {
    timer_.setInterval(timing::JogRepeatMs);
    QObject::connect(&timer_, &Timer::timeout, &timer_, [this] { onTick(); });
}

void ConsoleJog::press(Axis axis, int direction) {
    stop();
    if (!core_.requirePort())
        return;
    jog_ = Jog{axis, direction < 0 ? -1 : 1, true, false, std::nullopt};
    timer_.start(timing::JogFirstDelayMs);
    stepOnce();
}

void ConsoleJog::release() {
    // A click whose one step still waits for a fresh wrap reading keeps that step.
    if (jog_ && jog_->held && !jog_->stepSent) {
        jog_->held = false;
        return;
    }
    stop();
}

void ConsoleJog::stop() {
    timer_.stop();
    jog_.reset();
}

void ConsoleJog::onTick() {
    if (!jog_ || !core_.link.portOpen()) {
        stop();
        return;
    }
    if (jog_->stepSent && timer_.interval() != timing::JogRepeatMs)
        timer_.start(timing::JogRepeatMs);
    stepOnce();
}

void ConsoleJog::stepOnce() {
    const std::optional<QByteArray> command =
        jog_->axis == Axis::Focus ? focusStep() : rotatorStep();
    if (!command)
        return;
    // Jog steps do not hold the poll back: the readings keep coming while a button is held.
    core_.link.send(*command);
    const bool first = !std::exchange(jog_->stepSent, true);
    if (!jog_->held)
        stop();
    else if (first && timer_.interval() != timing::JogFirstDelayMs)
        timer_.start(timing::JogFirstDelayMs); // the repeat starts a moment after the first step
}

std::optional<QByteArray> ConsoleJog::focusStep() {
    // The unit owns the focus while it compensates; a held jog stops when that begins.
    if (const auto refusal = tempcomp::focusMoveRefusal(core_.ctx.shared().tempComp,
                                                        tempcomp::FocusMoveSource::ConsoleMove)) {
        stop();
        core_.inform(*refusal, MessageTitle, Prompt::Icon::Information);
        return std::nullopt;
    }
    return wire::command(Cmd::FocusStep, std::int64_t(jog_->direction) * focus_.focusJogStep());
}

std::optional<QByteArray> ConsoleJog::rotatorStep() {
    Jog& jog = *jog_;
    const auto degrees = wire::toNumber(rotator_.jogText().trimmed().toStdString());
    if (!degrees) {
        stop();
        core_.inform(kJogStepNotNumber, MessageTitle, Prompt::Icon::Warning);
        return std::nullopt;
    }
    const std::int64_t steps =
        jog.direction * std::int64_t(std::floor(std::min(std::fabs(*degrees), 360.0) * 200));
    if (!rotator_.wrapFresh()) {
        // Never a step on an old wrap: wait for the poll's answer, and give up when the unit
        // does not report its wrap at all.
        const qint64 now = core_.ctx.clock().nowMs();
        if (!jog.waitingSince) {
            jog.waitingSince = now;
            core_.link.send(wire::command(Cmd::RotatorStatus, Lead::Space));
            timer_.start(timing::JogRepeatMs);
        } else if (now - *jog.waitingSince > timing::RetryMs) {
            stop();
        }
        return std::nullopt;
    }
    jog.waitingSince.reset();
    if (!jogKeepsWrapInLimit(rotator_.wrapSteps(), steps, core_.ctx.settings().dornaLimit)) {
        stop();
        core_.inform(texts::kPastWrapLimit, MessageTitle, Prompt::Icon::Warning);
        return std::nullopt;
    }
    rotator_.rearmWrapGuard();
    return wire::command(Cmd::RotatorMove, steps);
}

} // namespace mivel::console
