#include "Clock.h"

#include <QElapsedTimer>
#include <QTimer>

namespace mivel {

class SystemClock final : public Clock {
public:
    SystemClock() { elapsed_.start(); }
    qint64 nowMs() const override { return elapsed_.elapsed(); }

protected:
    void arm(Timer* timer, qint64 intervalMs) override {
        if (!timer->qtTimer_) {
            timer->qtTimer_ = std::make_unique<QTimer>();
            timer->qtTimer_->setTimerType(Qt::PreciseTimer);
            QObject::connect(timer->qtTimer_.get(), &QTimer::timeout, timer, &Timer::fire);
        }
        timer->qtTimer_->setSingleShot(true);
        timer->qtTimer_->start(int(std::clamp<qint64>(intervalMs, 0, INT_MAX)));
    }
    void disarm(Timer* timer) override {
        if (timer->qtTimer_)
            timer->qtTimer_->stop();
    }

private:
    QElapsedTimer elapsed_;
};

Clock& Clock::system() {
    static SystemClock clock;
    return clock;
}

Timer::Timer(Clock& clock, QObject* parent)
    : QObject(parent)
    , clock_(clock) {}

Timer::~Timer() {
    if (active_)
        clock_.disarm(this);
}

void Timer::start() {
    if (active_)
        clock_.disarm(this);
    active_ = true;
    clock_.arm(this, intervalMs_);
}

void Timer::start(qint64 ms) {
    intervalMs_ = ms;
    start();
}

void Timer::stop() {
    if (!active_)
        return;
    active_ = false;
    clock_.disarm(this);
}

void Timer::fire() {
    if (!active_)
        return;
    if (singleShot_)
        active_ = false;
    else
        clock_.arm(this, intervalMs_);
    emit timeout();
}

void Timer::singleShot(Clock& clock, qint64 ms, QObject* context, std::function<void()> fn) {
    auto* timer = new Timer(clock, context);
    timer->setSingleShot(true);
    QObject::connect(timer, &Timer::timeout, timer, [timer, fn = std::move(fn)] {
        timer->deleteLater();
        fn();
    });
    timer->start(ms);
}

void ManualClock::arm(Timer* timer, qint64 intervalMs) {
    disarm(timer);
    due_.emplace(std::make_pair(now_ + std::max<qint64>(intervalMs, 0), sequence_++), timer);
}

void ManualClock::disarm(Timer* timer) {
    for (auto it = due_.begin(); it != due_.end();) {
        if (it->second == timer)
            it = due_.erase(it);
        else
            ++it;
    }
}

void ManualClock::advance(qint64 ms) {
    const qint64 end = now_ + ms;
    while (!due_.empty() && due_.begin()->first.first <= end) {
        auto node = due_.extract(due_.begin());
        now_ = std::max(now_, node.key().first);
        if (node.mapped())
            node.mapped()->fire();
    }
    now_ = end;
}

} // namespace mivel
