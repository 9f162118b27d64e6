#pragma once

// The rotator moves the console plans before it sends them, in steps of the unit (see
// core/RotatorGeometry.h).

#include "core/RotatorGeometry.h"

#include <cstdint>
#include <optional>

namespace mivel::console {

using rotator::StepsPerDegree;
using rotator::StepsPerTurn;

struct RotatorGotoInput {
    double targetDeg = 0;          // the angle typed by the user
    double offsetDeg = 0;          // the rotator's position offset
    std::int32_t position = 0;     // last :rt
    std::int32_t wrap = 0;         // last :wr
    std::int32_t wrapLimitDeg = 0; // DornaLimit
    bool limitActive = true;       // AutoReverse: the long way may be taken at the limit
};

// The relative move of a rotator Goto, or nothing when neither way round stays inside the wrap
// limit. Only moves of more than half a turn in the positive sense are folded onto the shorter
// way; a long negative move is kept as it is.
std::optional<std::int32_t> planRotatorGoto(const RotatorGotoInput& in);

// Whether a jog step may go: it keeps the wrap within the limit, or it brings a wrap that is
// beyond the limit back towards zero.
bool jogKeepsWrapInLimit(std::int32_t wrap, std::int64_t move, std::int32_t wrapLimitDeg);

} // namespace mivel::console
