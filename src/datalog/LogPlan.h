#pragma once

#include "LogColumns.h"

#include "core/Error.h"

#include <QString>

namespace mivel::datalog {

// The messages of the data log, shown exactly so. The first two differ in one letter only:
// "interval" for text that is no number, "Interval" for a number that is no interval.
namespace texts {
inline const QString NotNumeric = QStringLiteral("Invalid interval");
inline const QString NotPositive = QStringLiteral("Invalid Interval");
inline const QString NoColumns = QStringLiteral("No parameters have selected for logging.");
inline const QString OpenFailed = QStringLiteral("Error opening log file.");
inline const QString TimerFailed = QStringLiteral("Unable to set log timer.");
inline const QString Overwrite = QStringLiteral("This file already exists.  Overwrite old file?");
inline const QString KeepLogging =
    QStringLiteral("A data log is being written.  Keep logging after the console closes?");
} // namespace texts

// What a log writes: the file, the sampling interval in seconds, the columns.
struct LogPlan {
    QString file;
    qint32 intervalS = 0;
    ColumnSet columns{};
};

// The interval as the user typed it: a number in the user's notation or with a full stop,
// rounded to whole seconds. Text that is no number is "Invalid interval"; a number that does not
// round to at least one second (or does not fit) is "Invalid Interval".
Result<qint32> parseInterval(const QString& text);

// Checks a request in the setup window's order: the interval first, then the columns.
Result<LogPlan> makeLogPlan(const QString& intervalText, const ColumnSet& columns,
                            const QString& file);

} // namespace mivel::datalog
