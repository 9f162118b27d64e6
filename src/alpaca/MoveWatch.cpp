#include "MoveWatch.h"

namespace mivel::alpaca {

void MoveWatch::start(double target, qint64 sentAtMs) {
    active_ = true;
    target_ = target;
    sentAtMs_ = sentAtMs;
    stillAt_.reset();
}

bool MoveWatch::ended(qint64 startedAtMs, bool moving, double position, bool atTarget) {
    if (!active_ || startedAtMs - sentAtMs_ < settleMs_)
        return false;
    if (moving) {
        stillAt_.reset();
        return false;
    }
    if (atTarget || (stillAt_ && *stillAt_ == position)) {
        active_ = false;
        return true;
    }
    stillAt_ = position;
    return false;
}

} // namespace mivel::alpaca
