#include "LearnCoefficient.h"

#include "CsvLines.h"
#include "TempCompDialog.h"

#include "core/Format.h"
#include "core/Numbers.h"
#include "records/RecordList.h"

#include <algorithm>
#include <cmath>

namespace mivel::tempcomp {

namespace {

// The temperature columns a data log can have, as its header names them (trimmed).
const QStringList kTemperatureHeadings = {QStringLiteral("Ambient"), QStringLiteral("Primary"),
                                          QStringLiteral("Secondary")};
const QString kFocusHeading = QStringLiteral("Focus Position");

std::optional<double> numberIn(const QString& item) {
    return wire::toNumber(item.trimmed().toStdString());
}

int columnOf(const QStringList& header, const QString& heading) {
    for (int i = 0; i < header.size(); ++i)
        if (header[i].trimmed().compare(heading.trimmed(), Qt::CaseInsensitive) == 0)
            return i;
    return -1;
}

} // namespace

std::optional<int> LearnedCoefficient::coefficientTenths() const {
    if (!fit)
        return std::nullopt;
    const double tenths = std::round(fit->slope * 10);
    if (tenths < TempCompDialog::CoefficientMin || tenths > TempCompDialog::CoefficientMax)
        return std::nullopt;
    return int(tenths);
}

LearnedCoefficient learnCoefficient(std::vector<LearnPoint> points, const QString& source) {
    LearnedCoefficient out;
    out.points = std::move(points);
    const size_t n = out.points.size();
    if (n < 2) {
        out.why = QStringLiteral("No coefficient can be learned from %1: a line needs at least "
                                 "two points, and there %2.")
                      .arg(source, n == 0 ? QStringLiteral("are none") : QStringLiteral("is one"));
        return out;
    }
    std::vector<double> x, y;
    for (const LearnPoint& p : out.points) {
        x.push_back(p.temperature);
        y.push_back(p.position);
    }
    if (std::all_of(x.begin(), x.end(), [&](double t) { return t == x.front(); })) {
        out.why = QStringLiteral("No coefficient can be learned from %1: all %2 points were "
                                 "taken at the same temperature, %3 F, so they cannot show how "
                                 "the focus follows the temperature.")
                      .arg(source)
                      .arg(n)
                      .arg(formatNumber(x.front(), "0.0"));
        return out;
    }
    out.fit = fitLine(x, y);
    if (!out.fit)
        out.why = QStringLiteral("No coefficient can be learned from %1: its numbers are too "
                                 "large to fit a line through them.")
                      .arg(source);
    return out;
}

std::vector<LearnPoint> pointsFromRecords(const records::RecordList& focus) {
    std::vector<LearnPoint> points;
    for (const records::StoredPosition& r : focus.records())
        points.push_back({double(r.temperature), double(r.position)});
    return points;
}

DataLogPoints pointsFromDataLog(const QByteArray& data, const QString& temperatureColumn) {
    DataLogPoints out;
    const auto lines = csvLines(data);
    if (!lines || lines->empty()) {
        out.problem = QStringLiteral("The file is not a data log: it holds no lines of text.");
        return out;
    }
    const QStringList& header = lines->front();
    for (const QString& heading : header)
        if (kTemperatureHeadings.contains(heading.trimmed(), Qt::CaseInsensitive))
            out.temperatureColumns << heading.trimmed();
    const int focus = columnOf(header, kFocusHeading);
    if (focus < 0 || out.temperatureColumns.isEmpty()) {
        out.problem =
            QStringLiteral("The data log needs a \"Focus Position\" column and a "
                           "temperature column (Ambient, Primary or Secondary); its "
                           "first line names %1.")
                .arg(header.isEmpty() ? QStringLiteral("none")
                                      : QLatin1Char('"') + header.join(QStringLiteral("\", \"")) +
                                            QLatin1Char('"'));
        return out;
    }
    out.temperatureColumn = temperatureColumn.isEmpty() || columnOf(header, temperatureColumn) < 0
                                ? out.temperatureColumns.front()
                                : header[columnOf(header, temperatureColumn)].trimmed();
    const int temperature = columnOf(header, out.temperatureColumn);
    for (size_t i = 1; i < lines->size(); ++i) {
        const QStringList& row = (*lines)[i];
        const auto t = temperature < row.size() ? numberIn(row[temperature]) : std::nullopt;
        const auto p = focus < row.size() ? numberIn(row[focus]) : std::nullopt;
        if (t && p)
            out.points.push_back({*t, *p});
        else if (!row.join(QString()).trimmed().isEmpty())
            ++out.skippedRows;
    }
    return out;
}

} // namespace mivel::tempcomp
