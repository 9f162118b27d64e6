#include "FocusDrive.h"

#include <algorithm>
#include <cmath>

namespace mivel::sim {

int FocusDrive::clampToTravel(qint64 counts) const {
    return int(std::clamp<qint64>(counts, 0, travel_));
}

void FocusDrive::moveTo(qint64 target) {
    homing_ = false;
    target_ = clampToTravel(target);
}

void FocusDrive::moveBy(qint64 counts) {
    moveTo(qint64(position()) + counts);
}

void FocusDrive::stop() {
    homing_ = false;
    target_ = position();
    position_ = target_;
}

void FocusDrive::home() {
    homing_ = true;
    target_ = 0;
}

void FocusDrive::fault() {
    stop();
}

void FocusDrive::place(int position, bool homed) {
    position_ = target_ = clampToTravel(position);
    homed_ = homed;
    homing_ = false;
}

int FocusDrive::position() const {
    return int(std::lround(position_));
}

bool FocusDrive::moving() const {
    return !forcedOff_ && position_ != double(target_);
}

void FocusDrive::advance(double seconds) {
    if (forcedOff_)
        return;
    const double gap = target_ - position_;
    const double reach = speed_ * seconds;
    position_ = std::abs(gap) <= reach ? double(target_) : position_ + std::copysign(reach, gap);
    if (homing_ && position_ == double(target_)) {
        homing_ = false;
        homed_ = true;
    }
}

} // namespace mivel::sim
