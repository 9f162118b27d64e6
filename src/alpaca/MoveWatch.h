#pragma once

#include <QtGlobal>

#include <optional>

namespace mivel::alpaca {

// A move a client commanded through a standard member, followed from the moment the command was
// sent until the unit's replies show that it ended. Until then the device reads as moving,
// towards the target the client gave, whatever the object's last replies (which may predate the
// command) say.
class MoveWatch {
public:
    // A reading whose query started sooner than this after the command may have been answered
    // before the command reached the unit (the object answers from its last query within its
    // query interval): it cannot tell that the move ended.
    explicit MoveWatch(qint64 queryIntervalMs)
        : settleMs_(queryIntervalMs + 1) {}

    void start(double target, qint64 sentAtMs);
    void stop() { active_ = false; }
    bool active() const { return active_; }
    double target() const { return target_; }

    // A reading of the object whose query started at startedAtMs: whether the move has ended,
    // because the unit stands at the target, or because it stands still elsewhere in two
    // readings in a row (halted, or the unit refused the move). Stops following when it has.
    bool ended(qint64 startedAtMs, bool moving, double position, bool atTarget);

private:
    qint64 settleMs_;
    bool active_ = false;
    double target_ = 0;
    qint64 sentAtMs_ = 0;
    std::optional<double> stillAt_;
};

} // namespace mivel::alpaca
