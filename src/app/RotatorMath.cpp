#include "RotatorMath.h"

#include "core/Format.h"

#include <cmath>

namespace mivel {

QString angleToText(double degrees) {
    const double magnitude = std::abs(degrees);
    const double whole = std::floor(magnitude);
    const double minutesWithFraction = (magnitude - whole) * 60.0;
    const double minutes = std::floor(minutesWithFraction);
    const double seconds = (minutesWithFraction - minutes) * 60.0;
    const QString sign = degrees < 0 ? QStringLiteral("-") : QString();
    return sign + formatNumber(whole, "00") + QLatin1Char(':') + formatNumber(minutes, "00") +
           QLatin1Char(':') + formatNumber(seconds, "00.0");
}

} // namespace mivel
