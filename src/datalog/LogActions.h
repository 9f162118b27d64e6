#pragma once

#include "DataLog.h"

#include "core/Error.h"

#include <QString>

#include <functional>
#include <vector>

namespace mivel::datalog {

// The data log for scripts and servers without windows, as actions of the temperature device:
//   StartLog  {"File": path, "Interval": seconds, "Columns": [captions of the setup window]}
//   StopLog
//   LogStatus a JSON object: Active, File, Interval, Columns, Rows, Failure
// StartLog refuses with the setup window's own messages; it answers the status as LogStatus
// does.
struct LogAction {
    QString name;
    std::function<Result<QString>(const QString& parameters)> run;
};

std::vector<LogAction> logActions(DataLog& log);

// The status of the log as LogStatus answers it.
QString logStatusText(const DataLog& log);

} // namespace mivel::datalog
