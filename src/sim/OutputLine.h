#pragma once

#include "core/Clock.h"

#include <QByteArray>
#include <QObject>
#include <QRandomGenerator>

namespace mivel::sim {

// The unit's side of the line towards the PC: it can pace the replies at the line's speed and
// can be made to misbehave (say nothing, mix in noise, deliver replies in pieces) so that the
// program's receivers are tried against a bad line.
class OutputLine : public QObject {
    Q_OBJECT
public:
    // At 9600 baud with 10 bits a character.
    static constexpr double LineMsPerChar = 1.04;

    explicit OutputLine(Clock& clock, QObject* parent = nullptr);

    void setSilent(bool on) { silent_ = on; }
    bool silent() const { return silent_; }
    void setGarbage(bool on) { garbage_ = on; }
    bool garbage() const { return garbage_; }
    void setSplit(bool on) { split_ = on; }
    bool split() const { return split_; }
    // Milliseconds a character takes on the line; 0 hands replies over at once.
    void setPacing(double msPerChar);
    double pacing() const { return msPerChar_; }
    void setSeed(quint32 seed) { random_.seed(seed); }

    void send(const QByteArray& reply);
    // Forgets what is still waiting to go out.
    void clear();
    qsizetype waiting() const { return queue_.size(); }

signals:
    void delivered(const QByteArray& chunk);

private:
    QByteArray withNoise(QByteArray reply);
    void hand(const QByteArray& bytes);
    void drain();

    Timer pace_;
    QRandomGenerator random_{1};
    QByteArray queue_;
    double lineStart_ = 0; // when the first queued character started on the line
    double msPerChar_ = 0;
    bool silent_ = false;
    bool garbage_ = false;
    bool split_ = false;
};

} // namespace mivel::sim
