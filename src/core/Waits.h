#pragma once

#include "Clock.h"

#include <QObject>

#include <coroutine>
#include <functional>
#include <list>

namespace mivel {

// A wait is a deadline and a condition, written once here. A coroutine writes
//
//     bool answered = co_await waits.until(500, [&] { return replies > 2; });
//
// and resumes with true as soon as the condition holds after a recheck(), or with false when the
// deadline passes. Whoever changes state that a condition may read calls recheck(): the link
// does so after every received chunk has reached every receiver.
class Waits : public QObject {
    Q_OBJECT
public:
    explicit Waits(Clock& clock, QObject* parent = nullptr);
    ~Waits() override;

    Clock& clock() const { return clock_; }

    struct Entry;
    class Awaiter {
    public:
        bool await_ready();
        void await_suspend(std::coroutine_handle<> h);
        bool await_resume() const { return satisfied_; }

    private:
        friend class Waits;
        Awaiter(Waits& w, qint64 timeoutMs, std::function<bool()> condition)
            : waits_(w)
            , timeoutMs_(timeoutMs)
            , condition_(std::move(condition)) {}
        Waits& waits_;
        qint64 timeoutMs_;
        std::function<bool()> condition_;
        bool satisfied_ = false;
    };

    // Resumes when condition() holds or timeoutMs have passed; yields true in the first case.
    Awaiter until(qint64 timeoutMs, std::function<bool()> condition);
    // Resumes after ms, whatever happens meanwhile.
    Awaiter delay(qint64 ms) { return until(ms, nullptr); }
    // Lets everything that is queued run once, then resumes ("yield to the event loop once").
    Awaiter yield() { return until(0, nullptr); }

    // Re-evaluates every pending condition and resumes the waits whose condition holds.
    void recheck();

    int pendingCount() const { return int(pending_.size()); }

private:
    void resumeById(quint64 id, bool satisfied);

    Clock& clock_;
    std::list<Entry> pending_;
    quint64 nextId_ = 0;
};

} // namespace mivel
