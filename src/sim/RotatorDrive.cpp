#include "RotatorDrive.h"

#include <cmath>

namespace mivel::sim {

double RotatorDrive::withinTurn(double steps) {
    const double r = std::fmod(steps, double(rotator::StepsPerTurn));
    return r < 0 ? r + rotator::StepsPerTurn : r;
}

void RotatorDrive::moveBy(qint64 steps) {
    homing_ = false;
    remaining_ = double(steps);
}

void RotatorDrive::moveTo(qint64 angle) {
    const double travel = withinTurn(double(angle)) - double(position());
    moveBy(rotator::shorterWayFromHalfTurn(qint64(travel)));
}

void RotatorDrive::stop() {
    homing_ = false;
    remaining_ = 0;
    angle_ = withinTurn(std::round(angle_));
    wrap_ = std::round(wrap_);
}

void RotatorDrive::home() {
    moveTo(0);
    // Already on the home mark: found at once, with nothing to turn.
    homing_ = remaining_ != 0;
    homed_ = homed_ || !homing_;
}

void RotatorDrive::declare(qint64 angle) {
    stop();
    angle_ = withinTurn(double(angle));
}

void RotatorDrive::place(int angle, bool homed, qint64 wrap) {
    stop();
    angle_ = withinTurn(double(angle));
    homed_ = homed;
    wrap_ = double(wrap);
}

int RotatorDrive::position() const {
    return int(withinTurn(std::round(angle_)));
}

int RotatorDrive::target() const {
    return int(withinTurn(std::round(angle_ + remaining_)));
}

qint64 RotatorDrive::wrap() const {
    return qint64(std::llround(wrap_));
}

void RotatorDrive::advance(double seconds) {
    if (remaining_ == 0)
        return;
    const double reach = speed_ * seconds;
    const double step =
        std::abs(remaining_) <= reach ? remaining_ : std::copysign(reach, remaining_);
    angle_ = withinTurn(angle_ + step);
    wrap_ += step;
    remaining_ -= step;
    if (std::abs(remaining_) < 1e-9) {
        const bool homeFound = homing_;
        stop();
        homed_ = homed_ || homeFound;
    }
}

} // namespace mivel::sim
