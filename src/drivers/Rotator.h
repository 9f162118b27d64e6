#pragma once

#include "DriverObject.h"
#include "MemberTable.h"

#include "core/Clock.h"

#include <optional>

namespace mivel {

namespace rotator {

constexpr qint64 StepsPerDegree = 200;
constexpr qint64 StepsPerTurn = 72000;

// One-turn reduction of a step count, keeping its sign: the result lies strictly between
// -72000 and 72000 (a whole number of turns reduces to 0).
qint64 reduceOneTurn(qint64 steps);
// The shorter way round, on the positive side only: 36000 and more become negative, while
// -36000 and less stay as they are.
qint64 foldPositiveHalfTurn(qint64 steps);
// Both, as a move's steps are checked against the wrap limit.
inline qint64 moveSteps(qint64 steps) {
    return foldPositiveHalfTurn(reduceOneTurn(steps));
}
// Whether the wrap after a move of `steps` stays within the limit (degrees).
bool withinWrapLimit(qint64 wrapCounter, qint64 steps, qint64 wrapLimitDegrees);
// The relative move the other way round: a whole turn against the requested direction.
qint64 otherWayRound(qint64 steps);

} // namespace rotator

// The instrument rotator as automation clients drive it, with cable-wrap protection: every move
// is checked against the shared wrap counter and wrap limit, and a move that would take the
// wrap past the limit is turned into a move the other way round. Angles are degrees here and
// 1/200 degree on the wire.
class Rotator final : public DriverObject {
public:
    static constexpr int LinkAttempts = TickedLink::Attempts;
    static constexpr qint64 LinkTickMs = TickedLink::TickMs;
    static constexpr qint64 QueryIntervalMs = 500; // queries at most this often
    static constexpr qint64 QueryWaitMs = 501;     // "more than 500 ms"
    static constexpr double PositionLimitRange = 720;
    static constexpr qint32 WrapLimitMax = 2000;

    explicit Rotator(AppContext& ctx);
    ~Rotator() override;

    Task<double> position();
    // SetPosition: the target angle.
    double setPosition();
    bool link() const { return link_.linked; }
    Task<Status> setLink(bool on);
    // The homed flag: only a homed rotator knows its absolute angle.
    bool absolute() const { return homed_; }
    double stepSize() const { return 1.0 / rotator::StepsPerDegree; }
    Status goHome();
    double posPositionLimit() const { return posLimit_; }
    Status setPosPositionLimit(const QVariant& value);
    double negPositionLimit() const { return negLimit_; }
    Status setNegPositionLimit(const QVariant& value);
    bool activatePositionLimit() const { return limitActive_; }
    void setActivatePositionLimit(const QVariant& value);
    Task<bool> isMoving();
    qint16 maxIncrement() const { return 360; }
    Status move(double angle);
    Status moveAbsolute(double angle);
    Status setupDialog() { return showSetup(&ConsoleWindows::showRotatorSetup); }
    Task<void> halt();
    Status showForm(int which) { return DriverObject::showForm(which); }
    QString appVersion() const { return appVersionText(); }
    bool recallRotatorPosition() const { return ctx_.shared().rotatorRecordState >= 1; }
    void setRecallRotatorPosition(bool on);
    bool rotatorPositionRecorded() const { return ctx_.shared().rotatorRecordState >= 8; }
    void recordRotatorPosition();
    Task<double> wrap();
    void zeroWrap();
    Status unwrap(const QVariant& angle);
    qint32 wrapLimit() const { return ctx_.settings().dornaLimit; }
    Status setWrapLimit(const QVariant& value);
    Status resetPosition(float angle);

    // AutomationDevice
    std::span<const MemberInfo> members() const override;
    Task<CallResult> get(const QString& member) override;
    Task<CallResult> set(const QString& member, const QVariant& value) override;
    Task<CallResult> call(const QString& method, const QVariantList& args) override;
    bool linked() const override { return link_.linked; }

    // What the object holds, without asking the unit.
    bool homed() const { return homed_; }
    bool moving() const { return moving_; }
    double storedPosition() const { return actual_; }
    double storedTarget() const { return target_; }

private:
    void onNumber(wire::Tag tag, double value) override;
    void onProbeAnswer() override;
    Task<bool> probeForLink(quint64 attempt) override { return probeTicked(link_, attempt); }
    void onLinked() override;
    void unlink() override { unlinkTicked(link_); }
    Task<void> rotatorQuery();
    // Sends the move, or the move the other way round when it would pass the wrap limit.
    Status guardedMove(double fromDegrees, QByteArray withinLimit);

    void onTarget(double v);
    void onActual(double v);
    void onWrap(double v);
    void onHomed(double v);
    void onRecord(double v);
    struct TagHandler {
        wire::Tag tag;
        void (Rotator::*apply)(double);
    };
    static const TagHandler kTagHandlers[];

    TickedLink link_;
    double actual_ = 0;
    double target_ = 0;
    bool moving_ = false;
    bool homed_ = false;
    double posLimit_ = 0;
    double negLimit_ = 0;
    bool limitActive_ = false;
    qint16 actualReplies_ = 0;
    bool wrapReceived_ = false;
    qint64 lastQuery_ = 0;
};

} // namespace mivel
