#pragma once

#include <QString>

namespace mivel {

// Decimal degrees as degrees, minutes and seconds: "12:30:00.0", "-05:07:30.5". Degrees and
// minutes have at least two digits, seconds one decimal.
QString angleToText(double degrees);

} // namespace mivel
