#include "LogActions.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace mivel::datalog {

namespace {

Error invalid(const QString& text) {
    return programError(ErrorKind::InvalidValue, text);
}

QString allCaptions() {
    QStringList names;
    for (const LogColumnInfo& c : LogColumns)
        names << QStringLiteral("\"%1\"").arg(QLatin1String(c.caption));
    return names.join(QStringLiteral(", "));
}

// The interval as text, so that it is checked as the setup window checks what the user typed.
QString intervalText(const QJsonValue& v) {
    if (v.isDouble())
        return QString::number(v.toDouble(), 'g', 17);
    return v.isString() ? v.toString() : QString();
}

Result<ColumnSet> columnsOf(const QJsonValue& v) {
    ColumnSet columns{};
    if (!v.isArray() && !v.isUndefined())
        return invalid(
            QStringLiteral("Columns must be a list of column names: %1").arg(allCaptions()));
    for (const QJsonValue& item : v.toArray()) {
        const std::optional<LogColumn> c = columnByCaption(item.toString());
        if (!c)
            return invalid(QStringLiteral("Unknown column \"%1\": the columns are %2")
                               .arg(item.toVariant().toString(), allCaptions()));
        columns[std::size_t(*c)] = true;
    }
    return columns;
}

Result<QString> startLog(DataLog& log, const QString& parameters) {
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(parameters.toUtf8(), &error);
    if (!doc.isObject())
        return invalid(QStringLiteral("StartLog takes a JSON object with File, Interval and "
                                      "Columns"));
    const QJsonObject o = doc.object();
    const Result<ColumnSet> columns = columnsOf(o.value(QStringLiteral("Columns")));
    if (!columns)
        return columns.error();
    const Result<LogPlan> plan = makeLogPlan(intervalText(o.value(QStringLiteral("Interval"))),
                                             *columns, o.value(QStringLiteral("File")).toString());
    if (!plan)
        return plan.error();
    if (const Status started = log.start(*plan))
        return *started;
    return logStatusText(log);
}

} // namespace

QString logStatusText(const DataLog& log) {
    const LogPlan& plan = log.plan();
    const QJsonObject status{
        {QStringLiteral("Active"), log.active()},
        {QStringLiteral("File"), plan.file},
        {QStringLiteral("Interval"), plan.intervalS},
        {QStringLiteral("Columns"), QJsonArray::fromStringList(captions(plan.columns))},
        {QStringLiteral("Rows"), log.rowsWritten()},
        {QStringLiteral("Failure"), log.failure()},
    };
    return QString::fromUtf8(QJsonDocument(status).toJson(QJsonDocument::Compact));
}

std::vector<LogAction> logActions(DataLog& log) {
    return {
        {QStringLiteral("StartLog"),
         [&log](const QString& parameters) { return startLog(log, parameters); }},
        {QStringLiteral("StopLog"),
         [&log](const QString&) -> Result<QString> {
             log.stop();
             return logStatusText(log);
         }},
        {QStringLiteral("LogStatus"),
         [&log](const QString&) -> Result<QString> { return logStatusText(log); }},
    };
}

} // namespace mivel::datalog
