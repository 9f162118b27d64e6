#include "OutputLine.h"

#include <algorithm>
#include <cmath>

namespace mivel::sim {
namespace {

// Paced output is handed over in the bursts a serial driver delivers, not byte by byte.
constexpr qint64 BurstMs = 10;

} // namespace

OutputLine::OutputLine(Clock& clock, QObject* parent)
    : QObject(parent)
    , pace_(clock, this) {
    connect(&pace_, &Timer::timeout, this, &OutputLine::drain);
}

void OutputLine::setPacing(double msPerChar) {
    msPerChar_ = std::max(0.0, msPerChar);
    if (msPerChar_ == 0 && !queue_.isEmpty()) {
        pace_.stop();
        hand(std::exchange(queue_, {}));
    }
}

void OutputLine::clear() {
    queue_.clear();
    pace_.stop();
}

void OutputLine::send(const QByteArray& reply) {
    if (silent_ || reply.isEmpty())
        return;
    const QByteArray bytes = garbage_ ? withNoise(reply) : reply;
    if (msPerChar_ == 0) {
        hand(bytes);
        return;
    }
    if (queue_.isEmpty()) {
        lineStart_ = double(pace_.clock().nowMs());
        pace_.start(std::max<qint64>(BurstMs, qint64(std::ceil(msPerChar_))));
    }
    queue_ += bytes;
}

QByteArray OutputLine::withNoise(QByteArray reply) {
    // A few bytes of any value, at any place: what a noisy line or a loose plug adds.
    const int count = 1 + int(random_.bounded(3));
    for (int i = 0; i < count; ++i) {
        const auto at = qsizetype(random_.bounded(int(reply.size()) + 1));
        reply.insert(at, char(random_.bounded(256)));
    }
    return reply;
}

void OutputLine::hand(const QByteArray& bytes) {
    if (!split_ || bytes.size() < 2) {
        emit delivered(bytes);
        return;
    }
    qsizetype from = 0;
    while (from < bytes.size()) {
        const qsizetype left = bytes.size() - from;
        const qsizetype piece = 1 + qsizetype(random_.bounded(int(std::min<qsizetype>(left, 8))));
        emit delivered(bytes.mid(from, piece));
        from += piece;
    }
}

void OutputLine::drain() {
    const double elapsed = double(pace_.clock().nowMs()) - lineStart_;
    const auto due = std::min(queue_.size(), qsizetype(elapsed / msPerChar_));
    if (due > 0) {
        lineStart_ += double(due) * msPerChar_;
        const QByteArray burst = queue_.left(due);
        queue_.remove(0, due);
        hand(burst);
    }
    if (queue_.isEmpty())
        pace_.stop();
}

} // namespace mivel::sim
