#include "UnitWords.h"

#include <charconv>

namespace mivel::sim {

std::optional<double> plainDecimal(std::string_view text) {
    std::size_t i = 0;
    if (i < text.size() && text[i] == '-')
        ++i;
    int digits = 0;
    bool point = false;
    for (; i < text.size(); ++i) {
        const char c = text[i];
        if (c >= '0' && c <= '9')
            ++digits;
        else if (c == '.' && !point)
            point = true;
        else
            return std::nullopt;
    }
    if (digits == 0)
        return std::nullopt;
    // Only a sign, digits and one point are left; from_chars reads them whatever the locale.
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

} // namespace mivel::sim
