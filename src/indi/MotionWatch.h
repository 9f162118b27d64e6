#pragma once

#include <optional>

namespace mivel::indi {

// When a move the driver sent has ended, for INDI's Busy state. The unit's moving flag follows
// its status replies, which lag the command, so a move counts as under way from the moment it
// is sent until a poll finds the unit still at its target; a move without a target (homing),
// or one the unit stopped short of its target (a halt from elsewhere), ends after StillPolls
// polls in a row without motion.
class MotionWatch {
public:
    static constexpr int StillPolls = 3;
    enum class Outcome { None, Running, Arrived, Stopped };

    void start(std::optional<double> target) {
        active_ = true;
        target_ = target;
        still_ = 0;
    }
    void stop() { active_ = false; }
    bool active() const { return active_; }
    std::optional<double> target() const { return active_ ? target_ : std::nullopt; }

    // One poll's reading: whether the unit moves, and whether it stands at the target.
    Outcome update(bool moving, bool atTarget) {
        if (!active_)
            return Outcome::None;
        if (moving) {
            still_ = 0;
            return Outcome::Running;
        }
        if (target_ && atTarget) {
            active_ = false;
            return Outcome::Arrived;
        }
        if (++still_ < StillPolls)
            return Outcome::Running;
        active_ = false;
        return target_ ? Outcome::Stopped : Outcome::Arrived;
    }

private:
    bool active_ = false;
    std::optional<double> target_;
    int still_ = 0;
};

} // namespace mivel::indi
