#pragma once

#include <QObject>
#include <QPointer>

#include <map>
#include <memory>

class QTimer;

namespace mivel {

class Timer;

// The one source of time for timing-heavy logic. Production code uses Clock::system(); tests use
// a ManualClock and advance it, so that 15-second timers and 500 ms waits run instantly.
class Clock {
public:
    virtual ~Clock() = default;

    // Monotonic milliseconds; only differences are meaningful.
    virtual qint64 nowMs() const = 0;

    static Clock& system();

protected:
    friend class Timer;
    virtual void arm(Timer* timer, qint64 intervalMs) = 0;
    virtual void disarm(Timer* timer) = 0;
};

// A QTimer-like timer whose ticks come from a Clock.
class Timer : public QObject {
    Q_OBJECT
public:
    explicit Timer(Clock& clock, QObject* parent = nullptr);
    ~Timer() override;

    void setInterval(qint64 ms) { intervalMs_ = ms; }
    qint64 interval() const { return intervalMs_; }
    void setSingleShot(bool singleShot) { singleShot_ = singleShot; }
    bool isSingleShot() const { return singleShot_; }
    bool isActive() const { return active_; }
    Clock& clock() const { return clock_; }

    void start();
    void start(qint64 ms);
    void stop();

    // Calls fn once after ms, unless context is destroyed first.
    static void singleShot(Clock& clock, qint64 ms, QObject* context, std::function<void()> fn);

signals:
    void timeout();

private:
    friend class SystemClock;
    friend class ManualClock;
    void fire();

    Clock& clock_;
    qint64 intervalMs_ = 0;
    bool singleShot_ = false;
    bool active_ = false;
    std::unique_ptr<QTimer> qtTimer_; // used by the system clock only
};

// Time that moves only when a test says so.
class ManualClock final : public Clock {
public:
    qint64 nowMs() const override { return now_; }

    // Moves time forward, firing every timer that falls due on the way, in order.
    void advance(qint64 ms);

protected:
    void arm(Timer* timer, qint64 intervalMs) override;
    void disarm(Timer* timer) override;

private:
    qint64 now_ = 1'000'000;
    quint64 sequence_ = 0;
    // due time, then arming order, so that timers due at the same moment fire in start order
    std::map<std::pair<qint64, quint64>, QPointer<Timer>> due_;
};

} // namespace mivel
