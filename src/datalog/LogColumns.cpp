#include "LogColumns.h"

#include <algorithm>

namespace mivel::datalog {

std::optional<LogColumn> columnByCaption(const QString& caption) {
    const QString wanted = caption.trimmed();
    for (const LogColumnInfo& c : LogColumns)
        if (wanted.compare(QLatin1String(c.caption), Qt::CaseInsensitive) == 0)
            return c.column;
    return std::nullopt;
}

QStringList captions(const ColumnSet& columns) {
    QStringList out;
    for (const LogColumnInfo& c : LogColumns)
        if (columns[std::size_t(c.column)])
            out << QLatin1String(c.caption);
    return out;
}

bool anySelected(const ColumnSet& columns) {
    return std::any_of(columns.begin(), columns.end(), [](bool on) { return on; });
}

} // namespace mivel::datalog
