#include "Numbers.h"

#include <charconv>

namespace mivel::wire {

std::optional<double> decimalNumber(std::string_view text) {
    std::size_t i = 0;
    const std::size_t n = text.size();
    if (i < n && (text[i] == '+' || text[i] == '-'))
        ++i;
    const std::size_t digitsStart = i;
    std::size_t digits = 0;
    while (i < n && text[i] >= '0' && text[i] <= '9')
        ++i, ++digits;
    if (i < n && text[i] == '.') {
        ++i;
        while (i < n && text[i] >= '0' && text[i] <= '9')
            ++i, ++digits;
    }
    if (digits == 0)
        return std::nullopt;
    if (i < n && (text[i] == 'e' || text[i] == 'E')) {
        std::size_t j = i + 1;
        if (j < n && (text[j] == '+' || text[j] == '-'))
            ++j;
        const std::size_t expStart = j;
        while (j < n && text[j] >= '0' && text[j] <= '9')
            ++j;
        if (j == expStart)
            return std::nullopt;
        i = j;
    }
    if (i != n)
        return std::nullopt;
    double value = 0;
    const char* begin = text.data() + digitsStart;
    const auto res = std::from_chars(begin, text.data() + n, value);
    if (res.ec != std::errc() && res.ec != std::errc::result_out_of_range)
        return std::nullopt;
    if (res.ec == std::errc::result_out_of_range)
        return std::nullopt;
    return text.front() == '-' ? -value : value;
}

} // namespace mivel::wire
