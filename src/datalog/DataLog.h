#pragma once

#include "LiveReadings.h"
#include "LogPlan.h"

#include "app/AppContext.h"
#include "core/Clock.h"
#include "link/LinkHub.h"

#include <QFile>
#include <QObject>

#include <functional>
#include <optional>

namespace mivel::datalog {

// The data log of the process. It belongs to no window: it goes on while the console is closed
// and in a server without windows, and holds the link while it runs so that the process does
// not end under it.
//
// Its timer ticks every half interval. On one tick it asks the unit for temperatures (" T "), on
// the next it writes a row of the latest readings, so each row is half an interval fresh and
// rows come every interval, the first one a full interval after the start.
//
// Every row goes to the file as it is written. A row that cannot be written (a full disk, a file
// removed or renamed) stops the log and says so; the rows before it stay in the file whole.
class DataLog : public QObject {
    Q_OBJECT
public:
    DataLog(AppContext& ctx, LiveReadings& readings, QObject* parent = nullptr);
    ~DataLog() override;

    // Opens the file (replacing its content), writes the header and starts the timer. On
    // failure says why with the message the user is shown; the log is then stopped.
    Status start(const LogPlan& plan);
    // Stops writing and closes the file; the timer goes on its next tick.
    void stop();

    bool active() const { return active_; }
    const LogPlan& plan() const { return plan_; }
    qint64 rowsWritten() const { return rows_; }
    // Why the last log stopped by itself; empty when it did not.
    const QString& failure() const { return failure_; }
    bool timerRunning() const { return timer_.isActive(); }
    static qint64 tickMs(qint32 intervalS) { return qint64(intervalS) * 500; }

    // The time of day as the first item of a row: the user's long time format unless a test
    // gives its own.
    void setTimeOfDay(std::function<QString()> timeOfDay) { timeOfDay_ = std::move(timeOfDay); }

    // The main console is closing: a running log may go on without windows, or stop.
    void onConsoleClosing(Prompt& prompt);

signals:
    // Started or stopped: the console offers only what can be done now.
    void activeChanged(bool active);

private:
    void onTick();
    void requestTemperatures();
    void writeRow();
    void closeFile();
    void failWriting(const QString& reason);

    AppContext& ctx_;
    LiveReadings& readings_;
    Timer timer_;
    QFile file_;
    LogPlan plan_;
    std::optional<Connector> hold_; // the link, while the log runs
    std::function<QString()> timeOfDay_;
    bool active_ = false;
    bool phase_ = false;
    qint64 rows_ = 0;
    qint64 bytesWritten_ = 0;
    QString failure_;
    qint64 requestSentMs_ = -1; // the log's own " T " that no temperatures have answered yet
};

} // namespace mivel::datalog
