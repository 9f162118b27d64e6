#pragma once

#include "core/Clock.h"

#include <QByteArray>
#include <QObject>

namespace mivel::sim {

// The PC's side of the line towards the unit. The PC hands its bytes to the serial driver at
// once, but the unit receives them at the line's speed: with pacing, each byte arrives one
// character time after the one before it (or after it was written, if the line was idle), so
// that a firmware upload takes as long as it would on the wire.
class InputLine : public QObject {
    Q_OBJECT
public:
    explicit InputLine(Clock& clock, QObject* parent = nullptr);

    // Milliseconds a character takes on the line; 0 passes bytes on at once.
    void setPacing(double msPerChar);
    double pacing() const { return msPerChar_; }

    void push(const QByteArray& bytes);
    // Forgets what is still on its way.
    void clear();
    qsizetype waiting() const { return queue_.size(); }

signals:
    void arrived(const QByteArray& bytes);

private:
    void drain();
    void rearm();

    Timer pace_;
    QByteArray queue_;
    double lineStart_ = 0; // when the first queued character started on the line
    double msPerChar_ = 0;
};

} // namespace mivel::sim
