#pragma once

#include "core/RotatorGeometry.h"

#include <QtGlobal>

namespace mivel::sim {

// The instrument rotator. Its angle is kept within one turn (0 to 72000 steps of 1/200 degree),
// while the wrap counter adds up every step it turns, signed and without bound, so that the cable
// twist can be watched. A move is held as the travel still to go, because a move of a whole turn
// ends where it started.
class RotatorDrive {
public:
    static constexpr double DefaultSpeed = 1200; // steps per second: 6 degrees a second

    // Turns by steps from where the rotator is now (the two relative moves of the protocol).
    void moveBy(qint64 steps);
    // Turns to an angle. Forward travel of half a turn or more goes backwards instead, the way
    // the wrap guard on the PC counts it; backward travel is taken as it stands.
    void moveTo(qint64 angle);
    void stop();
    // Finds home: turns to angle 0 and is then homed.
    void home();
    // Declares the current angle to be angle without moving.
    void declare(qint64 angle);
    void zeroWrap() { wrap_ = 0; }
    void advance(double seconds);

    void setSpeed(double stepsPerSecond) { speed_ = stepsPerSecond; }
    double speed() const { return speed_; }
    void place(int angle, bool homed, qint64 wrap);

    int position() const;
    int target() const;
    qint64 wrap() const;
    bool homed() const { return homed_; }
    bool moving() const { return remaining_ != 0; }

private:
    static double withinTurn(double steps);

    double angle_ = 0;
    double wrap_ = 0;
    double remaining_ = 0;
    bool homed_ = false;
    bool homing_ = false;
    double speed_ = DefaultSpeed;
};

} // namespace mivel::sim
