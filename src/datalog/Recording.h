#pragma once

#include "DataLog.h"
#include "History.h"
#include "LiveReadings.h"

#include "app/AppContext.h"
#include "core/Clock.h"

#include <QObject>

#include <functional>

namespace mivel::datalog {

// Whether the data log and the graph ask the unit for temperatures themselves, and how often:
// the console's temperature poll gives way to them when they ask less often than it would.
struct ThermalDemand {
    bool logRunning = false;
    double logIntervalS = 0;
    bool graphRunning = false;
    double graphPeriodS = 0;
};

// The readings, their history and the data log, once for the process and independent of any
// window. The history records every temperature reading from the first one on, whoever asked
// for it; while the port is open and nobody else has asked for a while, it asks itself, so that
// a graph opened late in the night still finds the night.
class Recording : public QObject {
    Q_OBJECT
public:
    // While a graph window is open it wants temperatures this often.
    static constexpr qint64 GraphPeriodMs = 2000;
    // Without a graph the history asks this often when nothing else has.
    static constexpr qint64 QuietPeriodMs = 10000;

    explicit Recording(AppContext& ctx, QObject* parent = nullptr);

    LiveReadings& readings() { return readings_; }
    const History& history() const { return history_; }
    DataLog& log() { return log_; }

    // The graph windows open and close through these.
    void graphOpened();
    void graphClosed();
    bool graphRunning() const { return graphs_ > 0; }
    ThermalDemand thermalDemand() const;

    // Milliseconds since the epoch: the system's time unless a test gives its own.
    qint64 wallMs() const { return wallMs_(); }
    void setWallClock(std::function<qint64()> wallMs) { wallMs_ = std::move(wallMs); }

signals:
    // A point was added to the history.
    void historyGrew();

private:
    void onSamplerTick();
    void restartSampler();

    AppContext& ctx_;
    LiveReadings readings_;
    History history_;
    DataLog log_;
    Timer sampler_;
    int graphs_ = 0;
    std::function<qint64()> wallMs_;
};

} // namespace mivel::datalog
