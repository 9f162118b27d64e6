#include "RotatorMoves.h"

#include "app/RotatorMath.h"

#include <cmath>
#include <cstdlib>

namespace mivel::console {

bool withinWrapLimit(std::int32_t wrap, std::int64_t move, std::int32_t wrapLimitDeg) {
    return std::llabs(std::int64_t(wrap) + move) <= std::int64_t(wrapLimitDeg) * StepsPerDegree;
}

bool jogKeepsWrapInLimit(std::int32_t wrap, std::int64_t move, std::int32_t wrapLimitDeg) {
    return withinWrapLimit(wrap, move, wrapLimitDeg) ||
           std::llabs(std::int64_t(wrap) + move) < std::llabs(std::int64_t(wrap));
}

std::optional<std::int32_t> planRotatorGoto(const RotatorGotoInput& in) {
    double raw = std::floor((in.targetDeg - in.offsetDeg) * StepsPerDegree) - in.position;
    if (std::fabs(raw) > 1e9)
        raw = std::fmod(raw, StepsPerTurn); // whole turns make no difference to the fold
    qint32 move = qint32(raw);
    foldRotatorCount(move);
    if (move > StepsPerTurn / 2)
        move -= StepsPerTurn; // the shorter way, for positive moves only
    if (withinWrapLimit(in.wrap, move, in.wrapLimitDeg))
        return move;
    if (in.limitActive && move != 0) {
        const std::int32_t otherWay = move > 0 ? move - StepsPerTurn : move + StepsPerTurn;
        if (withinWrapLimit(in.wrap, otherWay, in.wrapLimitDeg))
            return otherWay;
    }
    return std::nullopt;
}

} // namespace mivel::console
