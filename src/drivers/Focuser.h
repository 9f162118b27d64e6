#pragma once

#include "DriverErrors.h"
#include "DriverObject.h"
#include "MemberTable.h"

#include "core/Clock.h"
#include "records/StoredPositions.h"

#include <optional>

namespace mivel {

// The focuser as automation clients drive it: an absolute focuser of 40000 motor steps that
// shares the one link to the unit. It keeps the latest values the unit reports (every chunk
// reaches every holder of the link, so the console's polling refreshes them too) and queries
// the unit on demand, at most one status query every 500 ms.
class Focuser final : public DriverObject {
public:
    static constexpr int LinkAttempts = 4;
    static constexpr qint64 LinkAttemptMs = 500;
    static constexpr qint64 StatusIntervalMs = 500; // queries at most this often
    static constexpr qint64 StatusWaitMs = 501;     // "more than 500 ms"
    static constexpr qint64 TemperatureWaitMs = 1001;
    static constexpr qint64 TempCompWaitMs = 501;
    static constexpr qint32 MaxSteps = 40000;
    static constexpr qint32 MovingThreshold = 6; // counts between target and position
    static constexpr float CoefficientLimit = 10;
    static constexpr qint16 ThresholdLimit = 100;

    explicit Focuser(AppContext& ctx);
    ~Focuser() override;

    // Link / Connected.
    bool link() const { return linked(); }
    // Unlinking closes the port for every holder of the link, as clients of this object expect.
    Task<Status> setLink(bool on) { return setLinked(on); }
    bool absolute() const { return true; }
    double stepSize() const { return 0.5625; }
    qint32 maxStep() const { return MaxSteps; }
    Task<bool> isMoving();
    // SetPosition: the target position.
    Task<qint32> setPosition();
    Task<qint32> position();
    bool tempComp() const { return tempComp_; }
    void setTempComp(bool on);
    Task<bool> tempCompManualMode();
    void setTempCompManualMode(bool manual) { manualMode_ = manual; }
    bool tempCompAvailable() const { return true; }
    // Empty until the unit has reported a temperature.
    Task<std::optional<double>> temperature();
    qint16 ccdSoftSmallStepSize() const { return ctx_.settings().smallStepSize; }
    qint16 ccdSoftLargeStepSize() const { return ctx_.settings().largeStepSize; }
    qint32 maxIncrement() const { return MaxSteps; }
    Status move(qint32 position);
    Status setupDialog() { return showSetup(&ConsoleWindows::showFocuserSetup); }
    void halt();
    Status showForm(int which) { return DriverObject::showForm(which); }
    QString appVersion() const { return appVersionText(); }
    Task<Outcome<float>> tempCompCoefficient();
    Status setTempCompCoefficient(float value);
    Task<Outcome<qint32>> tempCompMovementThreshold();
    Status setTempCompMovementThreshold(qint16 value);
    Task<bool> recallFocusPosition();
    void setRecallFocusPosition(bool on);
    bool focusPositionRecorded() const { return ctx_.shared().focusRecordState >= 8; }
    void recordFocusPosition();

    // The stored focus positions, as scripts read them: the whole list as a JSON array, or
    // one record by its number (from 1). Empty lists while the run keeps none.
    void setStoredPositions(const records::StoredPositions* positions) { positions_ = positions; }
    QString focusRecords() const;
    Outcome<QString> focusRecord(qint16 number) const;

    // What the object holds, without asking the unit.
    bool homed() const { return homed_; }
    bool moving() const { return moving_; }
    qint32 storedTarget() const { return target_; }
    qint32 storedPosition() const { return actual_; }

private:
    void onNumber(wire::Tag tag, double value) override;
    void onLinked() override;
    Task<void> statusQuery();
    bool temperatureQueryOutstanding() const {
        return temperatureQueryAt_ && !temperatureReceived_ &&
               now() - *temperatureQueryAt_ < TemperatureWaitMs;
    }
    Task<void> tempCompQuery();
    template <class V>
    Task<Outcome<V>> tempCompParameter(V TempCompState::*field, const Error& unavailable);

    // One handler per tag the focuser reads.
    void onTarget(double v);
    void onActual(double v);
    void onHomed(double v);
    void onTempCompCoefficient(double v);
    void onTempCompThreshold(double v);
    void onTempCompMode(double v);
    void onAmbient(double v);
    void onSensorOffset(double v);
    void onSensorSlope(double v);
    void onFocusRecord(double v);
    static const TagHandler<Focuser> kTagHandlers[];

    qint32 target_ = 0;
    qint32 actual_ = 0;
    bool moving_ = false;
    bool homed_ = false;
    bool tempComp_ = false;
    bool manualMode_ = false;
    std::optional<double> temperature_;
    bool temperatureReceived_ = false;
    std::optional<qint64> temperatureQueryAt_; // when the last " T " went out
    qint16 targetReplies_ = 0;
    qint16 actualReplies_ = 0;
    qint64 lastStatusQuery_ = 0;
    const records::StoredPositions* positions_ = nullptr;
    qint16 tempCompReplies_ = 0;
};

} // namespace mivel
