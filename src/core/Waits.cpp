#include "Waits.h"

namespace mivel {

struct Waits::Entry {
    std::function<bool()> condition;
    std::coroutine_handle<> handle;
    bool* satisfied = nullptr;
    Timer* deadline = nullptr;
    quint64 id = 0;
};

Waits::Waits(Clock& clock, QObject* parent)
    : QObject(parent)
    , clock_(clock) {}

Waits::~Waits() {
    // Coroutines still waiting when the process winds down are destroyed with their frames.
    auto pending = std::move(pending_);
    for (auto& e : pending) {
        delete e.deadline;
        e.handle.destroy();
    }
}

Waits::Awaiter Waits::until(qint64 timeoutMs, std::function<bool()> condition) {
    return Awaiter(*this, timeoutMs, std::move(condition));
}

bool Waits::Awaiter::await_ready() {
    satisfied_ = condition_ && condition_();
    return satisfied_;
}

void Waits::Awaiter::await_suspend(std::coroutine_handle<> h) {
    auto& list = waits_.pending_;
    const quint64 id = ++waits_.nextId_;
    auto it = list.insert(list.end(), Entry{std::move(condition_), h, &satisfied_, nullptr, id});
    Waits* w = &waits_;
    if (timeoutMs_ <= 0 && !it->condition) {
        // A plain yield: resume once the event loop has run what is already queued, whatever
        // clock drives the deadlines.
        QMetaObject::invokeMethod(
            w, [w, id] { w->resumeById(id, false); }, Qt::QueuedConnection);
        return;
    }
    auto* timer = new Timer(waits_.clock_);
    timer->setSingleShot(true);
    it->deadline = timer;
    QObject::connect(
        timer, &Timer::timeout, w, [w, id] { w->resumeById(id, false); }, Qt::DirectConnection);
    timer->start(timeoutMs_);
}

void Waits::resumeById(quint64 id, bool satisfied) {
    for (auto it = pending_.begin(); it != pending_.end(); ++it) {
        if (it->id != id)
            continue;
        Entry e = std::move(*it);
        pending_.erase(it);
        if (e.deadline) {
            e.deadline->stop();
            e.deadline->deleteLater();
        }
        *e.satisfied = satisfied;
        e.handle.resume();
        return;
    }
}

void Waits::recheck() {
    std::vector<quint64> ready;
    for (const auto& e : pending_)
        if (e.condition && e.condition())
            ready.push_back(e.id);
    // Resuming one wait may end or start others; resumeById skips the ones already gone.
    for (quint64 id : ready)
        resumeById(id, true);
}

} // namespace mivel
