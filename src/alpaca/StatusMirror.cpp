#include "StatusMirror.h"

#include <algorithm>

namespace mivel::alpaca {

StatusMirror::StatusMirror(Clock& clock, QStringList members, Read read, qint64 queryIntervalMs,
                           QObject* parent)
    : QObject(parent)
    , clock_(clock)
    , members_(std::move(members))
    , read_(std::move(read))
    , queryIntervalMs_(queryIntervalMs)
    , next_(clock) {
    next_.setSingleShot(true);
    connect(&next_, &Timer::timeout, this, [this] {
        if (!running_ && wanted())
            startRound();
    });
}

StatusMirror::~StatusMirror() {
    *alive_ = false;
    // Readers still waiting are let go with nothing; they see that their device is gone.
    for (const auto& round : {running_, queued_}) {
        if (round) {
            round->cancelled = true;
            finish(round);
        }
    }
}

Task<StatusMirror::Values> StatusMirror::awaitRound(std::shared_ptr<Round> round) {
    RoundAwaiter awaiter{std::move(round)};
    Values values = co_await awaiter;
    co_return values;
}

Task<StatusMirror::Values> StatusMirror::fetch(std::shared_ptr<const bool> alive, Read read,
                                               QStringList members) {
    Values out;
    for (const QString& member : members) {
        const Reply r = co_await read(member);
        if (!*alive)
            break;
        out.insert(member, r);
    }
    co_return out;
}

void StatusMirror::finish(const std::shared_ptr<Round>& round) {
    round->done = true;
    const auto waiting = std::exchange(round->waiting, {});
    for (std::coroutine_handle<> h : waiting)
        h.resume();
}

bool StatusMirror::usable(qint64 now) const {
    return haveValues_ && valuesGeneration_ == generation_ &&
           now - valuesAt_ <= ServeAtOnceLimitFactor * queryIntervalMs_;
}

Task<StatusMirror::Values> StatusMirror::current() {
    const qint64 now = clock_.nowMs();
    lastClientRead_ = now;
    clientHasRead_ = true;
    if (usable(now)) {
        // The object asks the unit again only once its query interval has passed.
        if (!running_ && now - valuesAt_ > queryIntervalMs_)
            startRound();
        return Task<Values>::ready(values_);
    }
    if (running_ && running_->generation == generation_)
        return awaitRound(running_);
    if (running_) {
        // The reading under way began before the values changed: wait for the next one.
        if (!queued_)
            queued_ = std::make_shared<Round>();
        return awaitRound(queued_);
    }
    const std::shared_ptr<Round> round = std::make_shared<Round>();
    queued_ = round;
    startRound();
    return awaitRound(round);
}

void StatusMirror::invalidate() {
    ++generation_;
}

void StatusMirror::wake() {
    if (!running_ && !next_.isActive())
        scheduleNext();
}

void StatusMirror::startRound() {
    std::shared_ptr<Round> round =
        queued_ ? std::exchange(queued_, nullptr) : std::make_shared<Round>();
    round->startedAt = clock_.nowMs();
    round->generation = generation_;
    running_ = round;
    ++readingsStarted_;
    next_.stop();
    fetch(alive_, read_, members_).then([this, alive = alive_, round](const Values& values) {
        if (*alive)
            onRoundDone(round, values);
    });
}

void StatusMirror::onRoundDone(const std::shared_ptr<Round>& round, const Values& values) {
    running_.reset();
    values_ = values;
    haveValues_ = true;
    valuesAt_ = round->startedAt;
    valuesGeneration_ = round->generation;
    round->values = values;
    if (onReading_)
        onReading_(values, round->startedAt);
    finish(round);
    if (queued_)
        startRound();
    else
        scheduleNext();
}

bool StatusMirror::wanted() const {
    if (active_ && !active_())
        return false;
    const bool clientsReading = clientHasRead_ && clock_.nowMs() - lastClientRead_ < KeepFreshMs;
    return clientsReading || (wanted_ && wanted_());
}

void StatusMirror::scheduleNext() {
    if (!wanted())
        return;
    // One more than the interval: the object asks again only when more than that has passed.
    const qint64 due = valuesAt_ + queryIntervalMs_ + 1 - clock_.nowMs();
    next_.start(std::max<qint64>(0, due));
}

} // namespace mivel::alpaca
