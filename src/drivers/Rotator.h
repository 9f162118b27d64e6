#pragma once

#include "DriverObject.h"
#include "MemberTable.h"

#include "core/Clock.h"
#include "core/RotatorGeometry.h"
#include "records/StoredPositions.h"

#include <optional>

namespace mivel {

// The instrument rotator as automation clients drive it, with cable-wrap protection: every move
// is checked against the shared wrap counter and wrap limit, and a move that would take the
// wrap past the limit is turned into a move the other way round. Angles are degrees here and
// 1/200 degree on the wire.
class Rotator final : public DriverObject {
public:
    static constexpr int LinkAttempts = 7;
    static constexpr qint64 LinkTickMs = 250;
    static constexpr qint64 QueryIntervalMs = 500; // queries at most this often
    static constexpr qint64 QueryWaitMs = 501;     // "more than 500 ms"
    static constexpr double PositionLimitRange = 720;
    static constexpr qint32 WrapLimitMax = 2000;

    explicit Rotator(AppContext& ctx);
    ~Rotator() override;

    Task<double> position();
    // SetPosition: the target angle.
    double setPosition();
    bool link() const { return linked(); }
    // As for the focuser, unlinking closes the shared port for every holder of the link.
    Task<Status> setLink(bool on) { return setLinked(on); }
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

    // The stored rotator positions, as scripts read them: the whole list as a JSON array, or
    // one record by its number (from 1). Empty lists while the run keeps none.
    void setStoredPositions(const records::StoredPositions* positions) { positions_ = positions; }
    QString rotatorRecords() const;
    Outcome<QString> rotatorRecord(qint16 number) const;
    Task<double> wrap();
    void zeroWrap();
    Status unwrap(const QVariant& angle);
    qint32 wrapLimit() const { return ctx_.settings().dornaLimit; }
    Status setWrapLimit(const QVariant& value);
    Status resetPosition(float angle);

    // What the object holds, without asking the unit.
    bool homed() const { return homed_; }
    bool moving() const { return moving_; }
    double storedPosition() const { return actual_; }
    double storedTarget() const { return target_; }

private:
    void onNumber(wire::Tag tag, double value) override;
    void onLinked() override;
    Task<void> rotatorQuery();
    // Sends the move, or the move the other way round when it would pass the wrap limit.
    Status guardedMove(double fromDegrees, QByteArray withinLimit);

    void onTarget(double v);
    void onActual(double v);
    void onWrap(double v);
    void onHomed(double v);
    void onRecord(double v);
    static const TagHandler<Rotator> kTagHandlers[];

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
    const records::StoredPositions* positions_ = nullptr;
};

} // namespace mivel
