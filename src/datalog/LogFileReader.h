#pragma once

#include "History.h"

#include "core/Error.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <array>
#include <vector>

namespace mivel::datalog {

// A data log file read back for the graph.
struct LoadedLog {
    std::vector<HistoryPoint> points;
    std::array<bool, SeriesCount> present{}; // the series the file has a column for
    int skippedRows = 0;                     // rows without a readable time
};

// Reads a data log's text. Its rows carry only a time of day, in whatever long time format the
// user had: the first H:MM:SS in the item, with an AM or PM after it, is taken. A time earlier
// than the row before means the log went past midnight. The last row is placed on the day of
// `lastRowAt` (the file's last change) or the day before, whichever is not later than it; the
// rows before follow from there.
Result<LoadedLog> readDataLog(const QByteArray& data, const QDateTime& lastRowAt);

// Reads the file at path, its last change giving the date.
Result<LoadedLog> readDataLogFile(const QString& path);

} // namespace mivel::datalog
