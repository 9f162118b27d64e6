#include "LogLine.h"

#include "tempcomp/CsvLines.h"

#include <QLocale>

#include <cmath>

namespace mivel::datalog {

using tempcomp::CsvItem;

namespace {

double known(double v) {
    return std::isnan(v) ? 0.0 : v;
}

// Powers are 16-bit and the focus position 32-bit whole numbers in the console's readings.
QString wholeText(double v) {
    return QString::number(qint64(std::llround(known(v))));
}

QString columnText(LogColumn column, const Reading& r) {
    switch (column) {
    case LogColumn::Ambient:
        return numberText(known(r.ambient));
    case LogColumn::Primary:
        return numberText(known(r.primary));
    case LogColumn::Secondary:
        return numberText(known(r.secondary));
    case LogColumn::FanPower:
        return wholeText(r.fanPower);
    case LogColumn::SecondaryPower:
        return wholeText(r.heaterPower);
    case LogColumn::FocusPosition:
        return wholeText(r.focusPosition);
    }
    return {};
}

} // namespace

QString numberText(double value) {
    // QString::number never follows the locale; the C locale's shortest form is exact and
    // round-trips.
    return QString::number(value, 'g', QLocale::FloatingPointShortest);
}

QByteArray headerLine(const ColumnSet& columns) {
    std::vector<CsvItem> items{CsvItem::quote(QStringLiteral("Time"))};
    for (const LogColumnInfo& c : LogColumns)
        if (columns[std::size_t(c.column)])
            items.push_back(CsvItem::quote(QLatin1String(c.heading)));
    return tempcomp::csvLine(items);
}

QByteArray rowLine(const QString& timeOfDay, const ColumnSet& columns, const Reading& reading) {
    std::vector<CsvItem> items{CsvItem::quote(timeOfDay)};
    for (const LogColumnInfo& c : LogColumns)
        if (columns[std::size_t(c.column)])
            items.push_back(CsvItem::bare(columnText(c.column, reading)));
    return tempcomp::csvLine(items);
}

} // namespace mivel::datalog
