#pragma once

// Numbers on the wire and the conversions the unit's values go through. No Qt here.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

namespace mivel::wire {

// A decimal number as the unit writes it: optional sign, digits, optional fraction, optional
// exponent. Anything else (empty text, a tag, garbage) is not numeric.
std::optional<double> decimalNumber(std::string_view text);

// The same, read at once when it is a plain integer of up to 15 digits (exact in a double), as
// nearly every value from the unit is; every reply value goes through here.
inline std::optional<double> toNumber(std::string_view text) {
    const std::size_t signs = !text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0;
    const std::size_t digits = text.size() - signs;
    if (digits == 0 || digits > 15)
        return decimalNumber(text);
    std::int64_t whole = 0;
    for (std::size_t i = signs; i < text.size(); ++i) {
        const unsigned digit = unsigned(text[i]) - unsigned('0');
        if (digit > 9)
            return decimalNumber(text);
        whole = whole * 10 + digit;
    }
    return text[0] == '-' ? -double(whole) : double(whole);
}

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

// The value of one hexadecimal digit, either case, or -1.
inline int hexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

} // namespace mivel::wire
