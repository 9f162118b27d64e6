#pragma once

// The secondary heater loop's five commands, built the way the heater tuning wizard has always
// built them: gains go out times 100 as 16-bit integers, the derivative time and the integral
// limit as the text shown. A value that is not a number, or a gain too large for 16 bits, drops
// that one command and the rest still go; the unit keeps its old value for the one dropped.

#include <QByteArray>
#include <QString>

#include <array>
#include <optional>

namespace mivel::tempcomp {

struct HeaterLoopValues {
    QString proportionalGain; // txtSKp
    QString derivativeGain;   // txtSKd
    QString derivativeTime;   // txtSDI
    QString integralGain;     // txtSKi
    QString integralLimit;    // txtSecKi
};

// In the order the unit expects them: "L", "^", "?", "#", "~"; empty where a value is dropped.
std::array<std::optional<QByteArray>, 5> heaterLoopCommands(const HeaterLoopValues& values);

} // namespace mivel::tempcomp
