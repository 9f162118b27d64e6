#pragma once

#include "History.h"
#include "LogFileReader.h"

#include <QDateTime>
#include <QString>

#include <array>
#include <optional>
#include <vector>

namespace mivel::datalog {

// The periods the graph shows, back from now.
enum class GraphPeriod { Last15Minutes, LastHour, Last6Hours, Night };
inline constexpr std::array<GraphPeriod, 4> GraphPeriods{
    GraphPeriod::Last15Minutes, GraphPeriod::LastHour, GraphPeriod::Last6Hours, GraphPeriod::Night};
QString periodCaption(GraphPeriod period);
// Where a period begins. The night is the observing night: from the last noon on.
QDateTime periodStart(GraphPeriod period, const QDateTime& now);

// What the graph knows about each series: its name, its unit as the console shows it, and
// whether it is shown before the user chooses.
struct SeriesInfo {
    Series series;
    const char* checkBox;
    const char* name;
    const char* unit;
    bool shownAtFirst;
};
const SeriesInfo& seriesInfo(Series series);
const std::array<SeriesInfo, SeriesCount>& allSeries();

// At most maxPoints points: consecutive points averaged into equal shares, so a long stretch is
// drawn in no more points than the chart has room for.
std::vector<HistoryPoint> thinned(const std::vector<HistoryPoint>& points, std::size_t maxPoints);

// The graph's logic, over the process's history or a data log opened from a file: the points of
// the chosen period, and the read-out of the readings nearest a time under the cursor.
class GraphModel {
public:
    static constexpr std::size_t MaxPointsDrawn = 1500;

    explicit GraphModel(const History& history);
    GraphModel(const GraphModel&) = delete;
    GraphModel& operator=(const GraphModel&) = delete;

    GraphPeriod period() const { return period_; }
    void setPeriod(GraphPeriod period) { period_ = period; }
    bool shown(Series s) const { return shown_[std::size_t(s)]; }
    void setShown(Series s, bool on) { shown_[std::size_t(s)] = on; }

    // A data log read from a file replaces the live history until showLive().
    void showFile(LoadedLog log, const QString& name);
    void showLive();
    bool showingFile() const { return file_.has_value(); }
    const QString& fileName() const { return fileName_; }
    // Whether the source has a column for the series (a data log may lack some).
    bool available(Series s) const;

    // Recomputes the points to draw: the period back from now, or the whole file.
    void refresh(const QDateTime& now);
    const std::vector<HistoryPoint>& points() const { return points_; }
    qint64 fromMs() const { return fromMs_; }
    qint64 toMs() const { return toMs_; }

    // The time and the shown readings of the point nearest atMs; empty without points.
    QString readout(qint64 atMs) const;

private:
    const History& history_;
    GraphPeriod period_ = GraphPeriod::LastHour;
    std::array<bool, SeriesCount> shown_{};
    std::optional<LoadedLog> file_;
    QString fileName_;
    std::vector<HistoryPoint> points_;
    qint64 fromMs_ = 0;
    qint64 toMs_ = 0;
};

} // namespace mivel::datalog
