#pragma once

// Numbers on the wire and the conversions the unit's values go through. No Qt here.

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

namespace mivel::wire {

// A decimal number as the unit writes it: optional sign, digits, optional fraction, optional
// exponent. Anything else (empty text, a tag, garbage) is not numeric.
std::optional<double> toNumber(std::string_view text);

// Rounding to an integer the way the unit's host conversions do: halves go to the even
// neighbour. Empty when the result does not fit.
template <class Int> std::optional<Int> roundToInt(double value) {
    if (!std::isfinite(value))
        return std::nullopt;
    const double r = std::nearbyint(value); // default rounding mode: ties to even
    if (r < double(std::numeric_limits<Int>::min()) || r > double(std::numeric_limits<Int>::max()))
        return std::nullopt;
    return Int(r);
}

inline std::optional<std::int32_t> toLong(std::string_view text) {
    const auto v = toNumber(text);
    return v ? roundToInt<std::int32_t>(*v) : std::nullopt;
}

inline std::optional<std::int16_t> toInt16(std::string_view text) {
    const auto v = toNumber(text);
    return v ? roundToInt<std::int16_t>(*v) : std::nullopt;
}

// Oddness as the record flags test it: halve, round (ties to even), double, compare.
inline bool isOddFlag(double value) {
    return std::nearbyint(value / 2.0) * 2.0 != value;
}

} // namespace mivel::wire
