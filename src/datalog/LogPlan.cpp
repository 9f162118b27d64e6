#include "LogPlan.h"

#include "core/Numbers.h"

#include <QLocale>

namespace mivel::datalog {

namespace {

Error invalid(const QString& text) {
    return programError(ErrorKind::InvalidValue, text);
}

} // namespace

Result<qint32> parseInterval(const QString& text) {
    const QString trimmed = text.trimmed();
    bool numeric = false;
    double value = QLocale::system().toDouble(trimmed, &numeric);
    if (!numeric)
        value = QLocale::c().toDouble(trimmed, &numeric);
    if (!numeric)
        return invalid(texts::NotNumeric);
    // A fraction below half a second would make a timer that never waits.
    const std::optional<qint32> seconds = wire::roundToInt<qint32>(value);
    if (value <= 0 || !seconds || *seconds <= 0)
        return invalid(texts::NotPositive);
    return *seconds;
}

Result<LogPlan> makeLogPlan(const QString& intervalText, const ColumnSet& columns,
                            const QString& file) {
    const Result<qint32> interval = parseInterval(intervalText);
    if (!interval)
        return interval.error();
    if (!anySelected(columns))
        return invalid(texts::NoColumns);
    return LogPlan{file, *interval, columns};
}

} // namespace mivel::datalog
