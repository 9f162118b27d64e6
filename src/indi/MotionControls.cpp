// The focuser and rotator interfaces of the device, over the focuser and rotator objects.

#include "MivelDevice.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace mivel::indi {
namespace {

IPState endState(MotionWatch::Outcome outcome) {
    return outcome == MotionWatch::Outcome::Arrived ? IPS_OK : IPS_ALERT;
}

bool ended(MotionWatch::Outcome outcome) {
    return outcome == MotionWatch::Outcome::Arrived || outcome == MotionWatch::Outcome::Stopped;
}

} // namespace

// --- Focuser -------------------------------------------------------------------------------

// The object refuses a move while the unit compensates for temperature: the client is told so
// with the object's message, as Alpaca clients are.
IPState MivelDevice::MoveAbsFocuser(uint32_t targetTicks) {
    const qint32 target = qint32(std::min<uint32_t>(targetTicks, Focuser::MaxSteps));
    if (const Status refusal = session_.focuser().move(target)) {
        refused(*refusal);
        return IPS_ALERT;
    }
    focuserMove_.start(target);
    return IPS_BUSY;
}

// Relative to the target of the move under way, else to where the focuser stands.
IPState MivelDevice::MoveRelFocuser(FocusDirection dir, uint32_t ticks) {
    const std::optional<double> underWay = focuserMove_.target();
    const qint64 from = underWay ? qint64(*underWay) : session_.focuser().storedPosition();
    const qint64 by = dir == FOCUS_INWARD ? -qint64(ticks) : qint64(ticks);
    const qint64 to = std::clamp<qint64>(from + by, 0, Focuser::MaxSteps);
    const IPState state = MoveAbsFocuser(uint32_t(to));
    FocusAbsPosNP.s = state;
    IDSetNumber(&FocusAbsPosNP, nullptr);
    return state;
}

bool MivelDevice::AbortFocuser() {
    session_.focuser().halt();
    focuserMove_.stop();
    FocusAbsPosNP.s = IPS_IDLE;
    IDSetNumber(&FocusAbsPosNP, nullptr);
    return true;
}

void MivelDevice::showFocuser(qint32 position, bool moving) {
    const std::optional<double> target = focuserMove_.target();
    const bool atTarget = target && std::abs(position - *target) < Focuser::MovingThreshold;
    const MotionWatch::Outcome outcome = focuserMove_.update(moving, atTarget);
    bool changed = FocusAbsPosN[0].value != position || FocusAbsPosNP.s == IPS_IDLE;
    FocusAbsPosN[0].value = position;
    if (FocusAbsPosNP.s == IPS_IDLE)
        FocusAbsPosNP.s = IPS_OK;
    if (ended(outcome)) {
        if (outcome == MotionWatch::Outcome::Stopped)
            LOGF_WARN("The focuser stopped at %d, short of its target %.0f.", position, *target);
        FocusAbsPosNP.s = endState(outcome);
        if (FocusRelPosNP.s == IPS_BUSY) {
            FocusRelPosNP.s = endState(outcome);
            IDSetNumber(&FocusRelPosNP, nullptr);
        }
        changed = true;
    }
    if (changed)
        IDSetNumber(&FocusAbsPosNP, nullptr);
}

// --- Rotator -------------------------------------------------------------------------------

// The object checks the move against the cable wrap and its limit, and goes the other way round
// when the shorter way would pass the limit.
IPState MivelDevice::MoveRotator(double angle) {
    const double mechanical = frame_.mechanical(angle);
    if (const Status refusal = session_.rotator().moveAbsolute(mechanical)) {
        refused(*refusal);
        return IPS_ALERT;
    }
    rotatorMove_.start(mechanical);
    return IPS_BUSY;
}

bool MivelDevice::SyncRotator(double angle) {
    if (const Status refusal = session_.rotator().resetPosition(float(frame_.mechanical(angle)))) {
        refused(*refusal);
        return false;
    }
    return true;
}

IPState MivelDevice::HomeRotator() {
    if (const Status refusal = session_.rotator().goHome()) {
        refused(*refusal);
        return IPS_ALERT;
    }
    rotatorMove_.start(std::nullopt);
    return IPS_BUSY;
}

bool MivelDevice::AbortRotator() {
    Task<void> halting = session_.rotator().halt();
    rotatorMove_.stop();
    return true;
}

bool MivelDevice::ReverseRotator(bool enabled) {
    frame_.reversed = enabled;
    return true;
}

void MivelDevice::showRotator(double mechanical, bool moving, double wrapDegrees) {
    const std::optional<double> target = rotatorMove_.target();
    const bool atTarget = target && RotatorFrame::arrived(mechanical, *target);
    const MotionWatch::Outcome outcome = rotatorMove_.update(moving, atTarget);
    const double sky = frame_.sky(mechanical);
    bool changed = GotoRotatorN[0].value != sky || GotoRotatorNP.s == IPS_IDLE;
    GotoRotatorN[0].value = sky;
    if (GotoRotatorNP.s == IPS_IDLE)
        GotoRotatorNP.s = IPS_OK;
    if (ended(outcome)) {
        if (HomeRotatorSP.s == IPS_BUSY) {
            IUResetSwitch(&HomeRotatorSP);
            HomeRotatorSP.s = endState(outcome);
            IDSetSwitch(&HomeRotatorSP, nullptr);
        }
        GotoRotatorNP.s = endState(outcome);
        changed = true;
    }
    if (changed)
        IDSetNumber(&GotoRotatorNP, nullptr);
    if (wrap_[0].getValue() != wrapDegrees || wrap_.getState() == IPS_IDLE) {
        wrap_[0].setValue(wrapDegrees);
        wrap_.setState(IPS_OK);
        wrap_.apply();
    }
}

} // namespace mivel::indi
