#pragma once

// The rotator's geometry as the unit counts it: steps of 1/200 degree, 72000 to a turn, and a
// cable wrap that adds up every step turned, signed and without bound. The unit, the console,
// the rotator object and the simulated unit all work in these steps.
//
// Folding a step count is done by two pairs of rules that differ only at an edge: the one-turn
// folds at an exact whole number of turns, the half-turn folds at exactly half a turn. Each
// user keeps the rule it has always applied, because the edge decides what is sent at the
// wrap limit: a console go-to of exactly -360 degrees turns a whole turn back (and counts it
// against the wrap), while the rotator object counts a move of whole turns as no wrap at all.

#include <QtGlobal>

namespace mivel::rotator {

constexpr qint32 StepsPerDegree = 200;
constexpr qint32 StepsPerTurn = 360 * StepsPerDegree;
constexpr qint32 StepsPerHalfTurn = StepsPerTurn / 2;

namespace detail {
constexpr qint64 magnitude(qint64 steps) {
    return steps < 0 ? -steps : steps;
}
constexpr qint64 withSignOf(qint64 steps, qint64 magnitude) {
    return steps < 0 ? -magnitude : magnitude;
}
} // namespace detail

// Whether the wrap after a move of `steps` stays within the wrap limit, which is in whole
// degrees as the "DornaLimit" setting holds it; a wrap exactly at the limit is within it.
constexpr bool withinWrapLimit(qint64 wrap, qint64 steps, qint64 wrapLimitDegrees) {
    return detail::magnitude(wrap + steps) <= wrapLimitDegrees * StepsPerDegree;
}

// One-turn fold of the console (its go-to and sky tracking): magnitudes 1 to 72000 are kept, so
// a whole turn stays a whole turn; 72001 gives 1, -144001 gives -1, 0 stays 0. The console sends
// what this gives, and the unit's positions run from 0 to 72000 inclusive.
constexpr qint64 foldCount(qint64 steps) {
    const qint64 turns = (detail::magnitude(steps) - 1) / StepsPerTurn;
    if (turns < 1)
        return steps;
    return detail::withSignOf(steps, detail::magnitude(steps) - turns * StepsPerTurn);
}

// One-turn reduction of the rotator object, which only checks the wrap with it: the result lies
// strictly between -72000 and 72000, keeping the sign, so a move of whole turns reduces to 0.
constexpr qint64 reduceWithinTurn(qint64 steps) {
    const qint64 turns = detail::magnitude(steps) / StepsPerTurn;
    if (turns < 1)
        return steps;
    return detail::withSignOf(steps, detail::magnitude(steps) - turns * StepsPerTurn);
}

// The shorter way round, for forward moves only (a long backward move is kept as it is). The
// rotator object, and the unit's absolute move, take a half turn backwards.
constexpr qint64 shorterWayFromHalfTurn(qint64 steps) {
    return steps >= StepsPerHalfTurn ? steps - StepsPerTurn : steps;
}
// The console's go-to takes a half turn forwards.
constexpr qint64 shorterWayPastHalfTurn(qint64 steps) {
    return steps > StepsPerHalfTurn ? steps - StepsPerTurn : steps;
}

// The same target the other way round: a whole turn against the move's direction. A move of 0
// counts as backwards, so its other way is a whole turn forwards.
constexpr qint64 otherWayRound(qint64 steps) {
    return steps < 1 ? steps + StepsPerTurn : steps - StepsPerTurn;
}

} // namespace mivel::rotator
