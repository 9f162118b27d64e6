#include "RotatorMoves.h"

#include <cmath>
#include <cstdlib>

namespace mivel::console {

using rotator::withinWrapLimit;

bool jogKeepsWrapInLimit(std::int32_t wrap, std::int64_t move, std::int32_t wrapLimitDeg) {
    return withinWrapLimit(wrap, move, wrapLimitDeg) ||
           std::llabs(std::int64_t(wrap) + move) < std::llabs(std::int64_t(wrap));
}

std::optional<std::int32_t> planRotatorGoto(const RotatorGotoInput& in) {
    double raw = std::floor((in.targetDeg - in.offsetDeg) * StepsPerDegree) - in.position;
    if (std::fabs(raw) > 1e9)
        raw = std::fmod(raw, StepsPerTurn); // whole turns make no difference to the fold
    const qint64 move = rotator::shorterWayPastHalfTurn(rotator::foldCount(qint64(raw)));
    if (withinWrapLimit(in.wrap, move, in.wrapLimitDeg))
        return std::int32_t(move);
    if (in.limitActive && move != 0) {
        const qint64 otherWay = rotator::otherWayRound(move);
        if (withinWrapLimit(in.wrap, otherWay, in.wrapLimitDeg))
            return std::int32_t(otherWay);
    }
    return std::nullopt;
}

} // namespace mivel::console
