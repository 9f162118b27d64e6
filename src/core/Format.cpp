#include "Format.h"

#include <cmath>

namespace mivel {

QString formatNumber(double value, std::string_view pattern) {
    // Split the pattern into its numeric part and the literal text after it.
    std::size_t end = 0;
    while (end < pattern.size() &&
           std::string_view("#0,.").find(pattern[end]) != std::string_view::npos)
        ++end;
    const std::string_view numeric = pattern.substr(0, end);
    const std::string_view suffix = pattern.substr(end);
    const std::size_t dot = numeric.find('.');
    const std::string_view intPart = numeric.substr(0, dot);
    const std::string_view fracPart =
        dot == std::string_view::npos ? std::string_view{} : numeric.substr(dot + 1);

    int minIntDigits = 0;
    for (char c : intPart)
        minIntDigits += c == '0';
    const bool grouping = intPart.find(',') != std::string_view::npos;
    const int decimals = int(fracPart.size());

    const double scale = std::pow(10.0, decimals);
    // Away from zero at the half, with a little slack for halves that binary cannot hold.
    const double scaled = std::floor(std::abs(value) * scale + 0.5 + 1e-9);
    const bool negative = value < 0 && scaled != 0;

    QString digits = QString::number(scaled, 'f', 0);
    while (digits.size() < decimals + 1)
        digits.prepend(QLatin1Char('0'));
    QString whole = digits.left(digits.size() - decimals);
    const QString frac = digits.right(decimals);
    if (whole == QLatin1String("0") && minIntDigits == 0)
        whole.clear();
    while (whole.size() < minIntDigits)
        whole.prepend(QLatin1Char('0'));
    if (grouping)
        for (qsizetype at = whole.size() - 3; at > 0; at -= 3)
            whole.insert(at, QLatin1Char(','));

    QString out;
    if (negative)
        out += QLatin1Char('-');
    out += whole;
    if (decimals > 0)
        out += QLatin1Char('.') + frac;
    out += QString::fromLatin1(suffix.data(), qsizetype(suffix.size()));
    return out;
}

} // namespace mivel
