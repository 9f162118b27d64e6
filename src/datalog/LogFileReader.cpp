#include "LogFileReader.h"

#include "tempcomp/CsvLines.h"

#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QTime>

#include <optional>

namespace mivel::datalog {

namespace {

constexpr qint64 DayMs = 24 * 3600 * 1000;

Error notALog(const QString& why) {
    return programError(ErrorKind::InvalidValue,
                        QStringLiteral("This is not a data log file: %1.").arg(why));
}

std::optional<Series> seriesOfHeading(const QString& heading) {
    static const std::array<std::pair<const char*, Series>, 6> headings{{
        {"Ambient", Series::Ambient},
        {"Primary", Series::Primary},
        {"Secondary", Series::Secondary},
        {"Fan Power", Series::FanPower},
        {"Secondary Power", Series::HeaterPower},
        {"Focus Position", Series::Focus},
    }};
    const QString h = heading.trimmed();
    for (const auto& [name, series] : headings)
        if (h.compare(QLatin1String(name), Qt::CaseInsensitive) == 0)
            return series;
    return std::nullopt;
}

// Two digits of a clock at i (one for the hour), or -1.
int clockField(const QString& t, qsizetype i, bool hour) {
    if (i >= t.size() || !t[i].isDigit())
        return -1;
    int v = t[i].digitValue();
    if (i + 1 < t.size() && t[i + 1].isDigit())
        return v * 10 + t[i + 1].digitValue();
    return hour ? v : -1;
}

// Milliseconds since midnight of the first H:MM:SS (or H.MM.SS) in a row's first item, with an
// AM or PM after it, or the locale's own word for the afternoon anywhere. Scanned by hand: a
// night's log has tens of thousands of rows.
std::optional<qint64> timeOfDayMs(const QString& text) {
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (!text[i].isDigit() || (i > 0 && text[i - 1].isDigit()))
            continue;
        const int hour = clockField(text, i, true);
        if (hour < 0)
            continue;
        const qsizetype h = i + ((i + 1 < text.size() && text[i + 1].isDigit()) ? 2 : 1);
        if (h + 3 >= text.size())
            return std::nullopt;
        const QChar sep = text[h];
        if ((sep != QLatin1Char(':') && sep != QLatin1Char('.')) || text[h + 3] != sep)
            continue;
        const int minute = clockField(text, h + 1, false);
        const int second = clockField(text, h + 4, false);
        if (minute < 0 || second < 0)
            continue;
        const QString rest = text.mid(h + 6).trimmed().toUpper();
        static const QString pmText = QLocale::system().pmText();
        const bool am = rest.startsWith(QLatin1Char('A'));
        const bool pm = rest.startsWith(QLatin1Char('P')) ||
                        (!am && !pmText.isEmpty() && text.contains(pmText, Qt::CaseInsensitive));
        const int hour24 = am || pm ? hour % 12 + (pm ? 12 : 0) : hour;
        const QTime t(hour24, minute, second);
        if (!t.isValid())
            return std::nullopt;
        return qint64(t.msecsSinceStartOfDay());
    }
    return std::nullopt;
}

} // namespace

Result<LoadedLog> readDataLog(const QByteArray& data, const QDateTime& lastRowAt) {
    const std::optional<std::vector<QStringList>> lines = tempcomp::csvLines(data);
    if (!lines || lines->empty())
        return notALog(QStringLiteral("it holds no lines of text"));
    const QStringList& header = lines->front();
    if (header.isEmpty() || header.front().trimmed() != QLatin1String("Time"))
        return notALog(QStringLiteral("its first line does not start with \"Time\""));

    LoadedLog log;
    std::vector<std::optional<Series>> columns;
    for (qsizetype i = 1; i < header.size(); ++i) {
        columns.push_back(seriesOfHeading(header[i]));
        if (columns.back())
            log.present[std::size_t(*columns.back())] = true;
    }

    // Times of day, counted on from the first row's day: a step back is the next day.
    qint64 dayOffset = 0;
    qint64 previous = -1;
    for (std::size_t row = 1; row < lines->size(); ++row) {
        const QStringList& items = (*lines)[row];
        const std::optional<qint64> t = items.isEmpty() ? std::nullopt : timeOfDayMs(items[0]);
        if (!t) {
            ++log.skippedRows;
            continue;
        }
        if (previous >= 0 && *t < previous)
            dayOffset += DayMs;
        previous = *t;
        HistoryPoint p;
        p.atMs = dayOffset + *t;
        p.values.fill(NAN);
        for (std::size_t c = 0; c < columns.size() && c + 1 < std::size_t(items.size()); ++c) {
            bool ok = false;
            const double v = items[qsizetype(c + 1)].toDouble(&ok); // C locale, blanks allowed
            if (columns[c] && ok)
                p.values[std::size_t(*columns[c])] = float(v);
        }
        log.points.push_back(p);
    }
    if (log.points.empty())
        return log;

    // Place the last row on the last change's day, or the day before when it would be later.
    const qint64 lastChange = lastRowAt.toMSecsSinceEpoch();
    const QDateTime midnight = lastRowAt.date().startOfDay();
    qint64 base =
        midnight.toMSecsSinceEpoch() - (log.points.back().atMs - log.points.back().atMs % DayMs);
    if (base + log.points.back().atMs > lastChange + 60'000)
        base -= DayMs;
    for (HistoryPoint& p : log.points)
        p.atMs += base;
    return log;
}

Result<LoadedLog> readDataLogFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return programError(
            ErrorKind::Unavailable,
            QStringLiteral("%1 cannot be read (%2).").arg(path, file.errorString()));
    return readDataLog(file.readAll(), QFileInfo(path).lastModified());
}

} // namespace mivel::datalog
