#pragma once

#include "AlpacaProtocol.h"

#include "core/Clock.h"
#include "core/Task.h"

#include <QHash>
#include <QObject>
#include <QStringList>

#include <coroutine>
#include <functional>
#include <memory>
#include <vector>

namespace mivel::alpaca {

// The status values of one device (position, moving flag, switch readings), read through the
// driver object and kept here for every client. The object queries the unit at most once per
// query interval and a read that falls due waits for the reply; served from here instead, a
// read answers at once from the last reading while the next one is fetched in the background,
// and waits only when there is no usable reading, for one query at most. Readings go on every
// query interval while clients keep reading (or while the device asks for them, as during a
// move), so many clients polling cost the unit no more queries than the object allows itself.
class StatusMirror : public QObject {
    Q_OBJECT
public:
    using Values = QHash<QString, Reply>;
    using Read = std::function<Task<Reply>(const QString& member)>;

    // A reading older than this is not served at once but fetched anew.
    static constexpr qint64 ServeAtOnceLimitFactor = 3;
    // Readings go on this long after the last client read.
    static constexpr qint64 KeepFreshMs = 3000;

    // members are read in their order; the first one is the object's query, the others then
    // come from what that query brought. queryIntervalMs is the object's own bound: a reading
    // starts no sooner than that after the previous one, so that the object really asks.
    StatusMirror(Clock& clock, QStringList members, Read read, qint64 queryIntervalMs,
                 QObject* parent = nullptr);
    ~StatusMirror() override;

    // The values for a client's read.
    Task<Values> current();
    // Values from a reading that starts after now: what a client sees after a command that
    // changes them.
    void invalidate();
    // Starts readings again when setWanted's condition has just come to hold.
    void wake();
    // While this holds (and the device is active), readings go on without clients reading.
    void setWanted(std::function<bool()> wanted) { wanted_ = std::move(wanted); }
    // Readings happen only while this holds (the device is connected).
    void setActive(std::function<bool()> active) { active_ = std::move(active); }
    // Called with every reading and the time its query started.
    void setOnReading(std::function<void(const Values&, qint64 startedAt)> f) {
        onReading_ = std::move(f);
    }

    qint64 queryIntervalMs() const { return queryIntervalMs_; }
    int readingsStarted() const { return readingsStarted_; }

private:
    struct Round {
        qint64 startedAt = 0;
        quint64 generation = 0;
        bool done = false;
        bool cancelled = false;
        Values values;
        std::vector<std::coroutine_handle<>> waiting;
    };
    struct RoundAwaiter {
        std::shared_ptr<Round> round;
        bool await_ready() const noexcept { return round->done; }
        void await_suspend(std::coroutine_handle<> h) { round->waiting.push_back(h); }
        Values await_resume() const { return round->values; }
    };
    static Task<Values> awaitRound(std::shared_ptr<Round> round);
    static Task<Values> fetch(std::shared_ptr<const bool> alive, Read read, QStringList members);
    static void finish(const std::shared_ptr<Round>& round);

    bool usable(qint64 now) const;
    void startRound();
    void onRoundDone(const std::shared_ptr<Round>& round, const Values& values);
    void scheduleNext();
    bool wanted() const;

    Clock& clock_;
    QStringList members_;
    Read read_;
    qint64 queryIntervalMs_;
    Timer next_;
    std::function<bool()> wanted_;
    std::function<bool()> active_;
    std::function<void(const Values&, qint64)> onReading_;

    Values values_;
    bool haveValues_ = false;
    qint64 valuesAt_ = 0;
    quint64 valuesGeneration_ = 0;
    quint64 generation_ = 0; // counts invalidations
    qint64 lastClientRead_ = 0;
    bool clientHasRead_ = false;
    int readingsStarted_ = 0;
    std::shared_ptr<Round> running_;
    std::shared_ptr<Round> queued_; // waits for the running one, which is out of date
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace mivel::alpaca
