#pragma once

#include <QtGlobal>

namespace mivel::sim {

// The focus motor: it runs towards its target at a steady speed, stays inside its travel, homes
// by running to 0, and does not move while forced off or stopped by a motor fault.
class FocusDrive {
public:
    static constexpr double DefaultSpeed = 2000; // counts per second
    static constexpr int DefaultTravel = 60000;  // counts; 0 is the home end

    // Absolute move; the unit keeps the target inside its travel.
    void moveTo(qint64 target);
    // Relative move from where the focuser is now.
    void moveBy(qint64 counts);
    void stop();
    void home();
    void setForcedOff(bool off) { forcedOff_ = off; }
    // A motor fault (over-current, driver over-temperature) turns the motor off.
    void fault();
    // Lets time run: the focuser covers speed x seconds towards its target.
    void advance(double seconds);

    void setSpeed(double countsPerSecond) { speed_ = countsPerSecond; }
    double speed() const { return speed_; }
    void setTravel(int counts) { travel_ = counts; }
    int travel() const { return travel_; }
    // Puts the focuser somewhere at once, as if it had been left there.
    void place(int position, bool homed);

    int position() const;
    int target() const { return target_; }
    bool homed() const { return homed_; }
    bool homing() const { return homing_; }
    bool forcedOff() const { return forcedOff_; }
    bool moving() const;
    // The motor current as the converter reads it: a running motor draws about an ampere, an
    // idle one less than the converter can see.
    int motorCurrentRaw() const { return moving() ? 1800 : 0; }

private:
    int clampToTravel(qint64 counts) const;

    double position_ = 10000;
    int target_ = 10000;
    bool homed_ = false;
    bool homing_ = false;
    bool forcedOff_ = false;
    double speed_ = DefaultSpeed;
    int travel_ = DefaultTravel;
};

} // namespace mivel::sim
