#pragma once

#include "core/RotatorGeometry.h"

#include <algorithm>
#include <cmath>

namespace mivel::indi {

// An angle brought into 0 <= a < 360 degrees.
inline double normalised(double degrees) {
    double a = std::fmod(degrees, 360.0);
    if (a < 0)
        a += 360.0;
    return a >= 360.0 ? 0.0 : a;
}

// The smaller way between two angles, in degrees.
inline double angularDistance(double a, double b) {
    const double d = normalised(a - b);
    return std::min(d, 360.0 - d);
}

// The rotator's angle as INDI clients see it: the unit's (mechanical) angle, mirrored when the
// client reverses the rotator. Mirroring is its own inverse.
struct RotatorFrame {
    // Two of the unit's steps: a rotator this close to its target is there.
    static constexpr double ArrivalDegrees = 2.0 / rotator::StepsPerDegree;

    bool reversed = false;

    double sky(double mechanical) const {
        return normalised(reversed ? 360.0 - mechanical : mechanical);
    }
    double mechanical(double sky) const { return this->sky(sky); }
    static bool arrived(double mechanical, double target) {
        return angularDistance(mechanical, target) < ArrivalDegrees;
    }
};

} // namespace mivel::indi
