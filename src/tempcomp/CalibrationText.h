#pragma once

// How the calibration window words the values it shows, reads and refuses; shared by the
// window's parameter and file code.

#include "core/Format.h"
#include "core/Numbers.h"

#include <QString>

#include <optional>

namespace mivel::tempcomp::calibration {

inline QString coefficientText(double value) {
    return formatNumber(value, "#.000000");
}

inline std::optional<double> number(const QString& text) {
    return wire::toNumber(text.trimmed().toStdString());
}

inline QString quoted(const QString& text) {
    return QLatin1Char('"') + text.trimmed() + QLatin1Char('"');
}

// Why a value the unit takes as a number was not sent.
inline QString notANumber(const QString& text) {
    return text.trimmed().isEmpty() ? QStringLiteral("no value")
                                    : quoted(text) + QStringLiteral(" is not a number");
}

inline QString beyondTheUnit(const QString& text) {
    return quoted(text) + QStringLiteral(" is more than the unit can hold");
}

} // namespace mivel::tempcomp::calibration
