#pragma once

#include <QString>

#include <string_view>

namespace mivel {

// Formats a number with a display pattern of the console: "0", "0.0", "0.00", "#0.00",
// "#,##0.0", "##0.00", "#.000000", "0.0000000", optionally followed by literal text such as
// " F". '0' is a digit always shown, '#' one shown only when significant, ',' asks for
// thousands separators; halves round away from zero; the decimal separator is always '.'.
QString formatNumber(double value, std::string_view pattern);

} // namespace mivel
