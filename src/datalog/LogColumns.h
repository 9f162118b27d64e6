#pragma once

// The six readings the data log can write, in the fixed order of its columns: the check box of
// the setup window, its caption (also the name a script gives the column) and the column's
// heading in the file.

#include <QString>
#include <QStringList>

#include <array>
#include <optional>

namespace mivel::datalog {

enum class LogColumn { Ambient, Primary, Secondary, FanPower, SecondaryPower, FocusPosition };

struct LogColumnInfo {
    LogColumn column;
    const char* checkBox; // the setup window's control
    const char* caption;  // the check box's caption
    // The heading written in the header line. The first four end with one blank and the last
    // two do not: files read by other programs have always had these headings.
    const char* heading;
};

inline constexpr std::array<LogColumnInfo, 6> LogColumns{{
    {LogColumn::Ambient, "chkAmbient", "Ambient Temperature", "Ambient "},
    {LogColumn::Primary, "chkPrimary", "Primary Temperature", "Primary "},
    {LogColumn::Secondary, "chkSecondary", "Secondary Temperature", "Secondary "},
    {LogColumn::FanPower, "chkFanPower", "Fan Power", "Fan Power "},
    {LogColumn::SecondaryPower, "chkSecPower", "Secondary Power", "Secondary Power"},
    {LogColumn::FocusPosition, "chkFocusPosition", "Focus Position", "Focus Position"},
}};

// Which columns are written, indexed by LogColumn.
using ColumnSet = std::array<bool, LogColumns.size()>;

inline const LogColumnInfo& columnInfo(LogColumn c) {
    return LogColumns[std::size_t(c)];
}
// The column a caption names, compared without regard to case and surrounding blanks.
std::optional<LogColumn> columnByCaption(const QString& caption);
QStringList captions(const ColumnSet& columns);
bool anySelected(const ColumnSet& columns);

} // namespace mivel::datalog
