#include "InputLine.h"

#include <algorithm>
#include <cmath>

namespace mivel::sim {
namespace {

// Bytes reach the unit in bursts of about this length; the last burst of a write is timed to
// the millisecond, so that the unit answers a record as soon as its last byte is in.
constexpr qint64 BurstMs = 10;

} // namespace

InputLine::InputLine(Clock& clock, QObject* parent)
    : QObject(parent)
    , pace_(clock, this) {
    pace_.setSingleShot(true);
    connect(&pace_, &Timer::timeout, this, &InputLine::drain);
}

void InputLine::setPacing(double msPerChar) {
    msPerChar_ = std::max(0.0, msPerChar);
    if (msPerChar_ == 0 && !queue_.isEmpty()) {
        pace_.stop();
        emit arrived(std::exchange(queue_, {}));
    }
}

void InputLine::clear() {
    queue_.clear();
    pace_.stop();
}

void InputLine::push(const QByteArray& bytes) {
    if (bytes.isEmpty())
        return;
    if (msPerChar_ == 0) {
        emit arrived(bytes);
        return;
    }
    if (queue_.isEmpty())
        lineStart_ = double(pace_.clock().nowMs());
    queue_ += bytes;
    rearm();
}

void InputLine::drain() {
    const double elapsed = double(pace_.clock().nowMs()) - lineStart_;
    const auto due = std::min(queue_.size(), qsizetype(elapsed / msPerChar_ + 1e-9));
    if (due > 0) {
        lineStart_ += double(due) * msPerChar_;
        const QByteArray burst = queue_.left(due);
        queue_.remove(0, due);
        emit arrived(burst);
    }
    rearm();
}

void InputLine::rearm() {
    if (queue_.isEmpty()) {
        pace_.stop();
        return;
    }
    const double now = double(pace_.clock().nowMs());
    const double allIn = lineStart_ + double(queue_.size()) * msPerChar_;
    const auto wait = qint64(std::ceil(std::max(1.0, std::min(double(BurstMs), allIn - now))));
    pace_.start(wait);
}

} // namespace mivel::sim
