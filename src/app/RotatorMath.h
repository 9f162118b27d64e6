#pragma once

#include <QString>
#include <QtGlobal>

namespace mivel {

// Rotator counts in one turn (1/200 degree each).
constexpr qint32 RotatorCountsPerTurn = 72000;

// Folds a rotator position to at most one turn in magnitude, keeping its sign. Magnitudes 1 to
// 72000 are unchanged, so exactly one turn stays one turn: 72000 gives 72000, 72001 gives 1,
// -144001 gives -1, and 0 stays 0.
void foldRotatorCount(qint32& counts);

// Decimal degrees as degrees, minutes and seconds: "12:30:00.0", "-05:07:30.5". Degrees and
// minutes have at least two digits, seconds one decimal.
QString angleToText(double degrees);

} // namespace mivel
