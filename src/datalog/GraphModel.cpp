#include "GraphModel.h"

#include <QStringList>

#include <algorithm>
#include <cmath>

namespace mivel::datalog {

namespace {

const std::array<SeriesInfo, SeriesCount> Infos{{
    {Series::Ambient, "chkAmbient", "Ambient", "F", true},
    {Series::Primary, "chkPrimary", "Primary", "F", true},
    {Series::Secondary, "chkSecondary", "Secondary", "F", true},
    {Series::Electronics, "chkElectronics", "Electronics", "F", true},
    {Series::FanPower, "chkFanPower", "Fan power", "%", false},
    {Series::HeaterPower, "chkHeaterPower", "Secondary heater power", "%", false},
    {Series::Focus, "chkFocusPosition", "Focus position", "counts", false},
}};

QString valueText(Series s, float v) {
    const SeriesInfo& info = seriesInfo(s);
    const QString number = s == Series::Ambient || s == Series::Primary || s == Series::Secondary ||
                                   s == Series::Electronics
                               ? QString::number(double(v), 'f', 1)
                               : QString::number(qint64(std::llround(v)));
    const QString unit = QLatin1String(info.unit);
    return QStringLiteral("%1 %2 %3").arg(QLatin1String(info.name), number, unit);
}

} // namespace

QString periodCaption(GraphPeriod period) {
    switch (period) {
    case GraphPeriod::Last15Minutes:
        return QStringLiteral("Last 15 minutes");
    case GraphPeriod::LastHour:
        return QStringLiteral("Last hour");
    case GraphPeriod::Last6Hours:
        return QStringLiteral("Last 6 hours");
    case GraphPeriod::Night:
        return QStringLiteral("Night (since noon)");
    }
    return {};
}

QDateTime periodStart(GraphPeriod period, const QDateTime& now) {
    switch (period) {
    case GraphPeriod::Last15Minutes:
        return now.addSecs(-15 * 60);
    case GraphPeriod::LastHour:
        return now.addSecs(-3600);
    case GraphPeriod::Last6Hours:
        return now.addSecs(-6 * 3600);
    case GraphPeriod::Night:
        break;
    }
    QDateTime noon(now.date(), QTime(12, 0));
    return noon <= now ? noon : noon.addDays(-1);
}

const std::array<SeriesInfo, SeriesCount>& allSeries() {
    return Infos;
}

const SeriesInfo& seriesInfo(Series series) {
    return Infos[std::size_t(series)];
}

std::vector<HistoryPoint> thinned(const std::vector<HistoryPoint>& points, std::size_t maxPoints) {
    if (points.size() <= maxPoints || maxPoints == 0)
        return points;
    std::vector<HistoryPoint> out;
    out.reserve(maxPoints);
    for (std::size_t share = 0; share < maxPoints; ++share) {
        const std::size_t begin = share * points.size() / maxPoints;
        const std::size_t end = (share + 1) * points.size() / maxPoints;
        HistoryPoint mean;
        mean.atMs = points[(begin + end - 1) / 2].atMs;
        for (int s = 0; s < SeriesCount; ++s) {
            double sum = 0;
            int n = 0;
            for (std::size_t i = begin; i < end; ++i) {
                if (!std::isnan(points[i].values[s])) {
                    sum += points[i].values[s];
                    ++n;
                }
            }
            mean.values[s] = n > 0 ? float(sum / n) : NAN;
        }
        out.push_back(mean);
    }
    return out;
}

GraphModel::GraphModel(const History& history)
    : history_(history) {
    for (const SeriesInfo& info : Infos)
        shown_[std::size_t(info.series)] = info.shownAtFirst;
}

void GraphModel::showFile(LoadedLog log, const QString& name) {
    file_ = std::move(log);
    fileName_ = name;
}

void GraphModel::showLive() {
    file_.reset();
    fileName_.clear();
}

bool GraphModel::available(Series s) const {
    return !file_ || file_->present[std::size_t(s)];
}

void GraphModel::refresh(const QDateTime& now) {
    if (file_) {
        points_ = thinned(file_->points, MaxPointsDrawn);
        fromMs_ = points_.empty() ? 0 : file_->points.front().atMs;
        toMs_ = points_.empty() ? 0 : file_->points.back().atMs;
        return;
    }
    fromMs_ = periodStart(period_, now).toMSecsSinceEpoch();
    toMs_ = now.toMSecsSinceEpoch();
    points_ = thinned(history_.since(fromMs_), MaxPointsDrawn);
}

QString GraphModel::readout(qint64 atMs) const {
    if (points_.empty())
        return {};
    auto it = std::lower_bound(points_.begin(), points_.end(), atMs,
                               [](const HistoryPoint& p, qint64 t) { return p.atMs < t; });
    if (it == points_.end() || (it != points_.begin() && atMs - (it - 1)->atMs < it->atMs - atMs))
        --it;
    QStringList items{
        QDateTime::fromMSecsSinceEpoch(it->atMs).toString(QStringLiteral("HH:mm:ss"))};
    for (const SeriesInfo& info : Infos) {
        const float v = it->values[std::size_t(info.series)];
        if (shown(info.series) && available(info.series) && !std::isnan(v))
            items << valueText(info.series, v);
    }
    return items.join(QStringLiteral("   "));
}

} // namespace mivel::datalog
