#pragma once

#include "sim/CommandReader.h"
#include "sim/ControllerParams.h"
#include "sim/FocusDrive.h"
#include "sim/InputLine.h"
#include "sim/OutputLine.h"
#include "sim/RotatorDrive.h"
#include "sim/TempComp.h"
#include "sim/ThermalModel.h"

#include "core/Clock.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QObject>

#include <initializer_list>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace mivel::sim {

// A Mivel unit in software. It reads the PC's command stream as the unit does and answers with
// the unit's reply tags; its focuser and rotator move over time, its temperatures drift, its fan
// and heater loops and its temperature compensation run, and its firmware loader takes S-records.
// Time comes from a Clock, so tests drive it with a ManualClock. Fault switches make it misbehave
// the ways a real unit and line do.
class SimulatedUnit : public QObject {
    Q_OBJECT
public:
    // Loader status characters, by their code: 3 and up is ready, 1 is no programming voltage,
    // anything else below 3 is a failed erase.
    static constexpr char LoaderReady = 3;
    static constexpr char NoProgrammingVoltage = 1;
    static constexpr char EraseFailed = 2;
    static constexpr qint64 TickMs = 100;
    // The PC sends a parameter upload in one go; a pause this long means it gave up.
    static constexpr qint64 UploadQuietMs = 1000;

    enum class LoaderState { Off, Ready, Erasing, Erased, Refused, Programming };

    explicit SimulatedUnit(Clock& clock = Clock::system(), QObject* parent = nullptr);
    ~SimulatedUnit() override;

    // Bytes from the PC, split anywhere.
    void receive(const QByteArray& fromPc);
    // Switches the unit off and on: the loader and any half-read command are gone, the motors
    // stop, and a recorded position set to be recalled at power-up is driven to.
    void restart();

    // Fault switches.
    void setSilent(bool on) { line_.setSilent(on); }
    void setGarbage(bool on) { line_.setGarbage(on); }
    void setSplitReplies(bool on) { line_.setSplit(on); }
    // 0 reports no focus error; 1, 2 or 3 are reported with every focuser status, and 2 and 3
    // (over-current, driver over-temperature) turn the focus motor off as the unit does.
    void setFocusError(int code);
    // The loader answers "x " only after this long.
    void setLoaderReplyDelayMs(qint64 ms) { loaderReplyDelayMs_ = ms; }
    void setAckDelayMs(qint64 ms) { ackDelayMs_ = ms; }
    void setAckMissing(bool on) { ackMissing_ = on; }
    // Without programming voltage, or with a flash that will not erase, the loader answers "E"
    // at once with its failure status and then takes no record.
    void setNoProgrammingVoltage(bool on) { noProgrammingVoltage_ = on; }
    void setEraseFailure(bool on) { eraseFailure_ = on; }
    // The unit drops off the line once it has acknowledged this many records; with 0 it drops
    // as soon as it is told to program. Negative: never.
    void setHangUpAfterRecords(int count) { hangUpAfterRecords_ = count; }
    // The unit drops off the line: whatever carries its bytes closes, and it hears nothing.
    void setHungUp(bool on);
    bool hungUp() const { return hungUp_; }
    // Milliseconds per character on the way to the PC; 0 (the default) for no pacing.
    void setPacing(double msPerChar) { line_.setPacing(msPerChar); }
    // Milliseconds per character on the way from the PC; 0 (the default) for no pacing.
    void setInputPacing(double msPerChar) { input_.setPacing(msPerChar); }
    void setRandomSeed(quint32 seed) { line_.setSeed(seed); }

    // Tuning and set-up.
    void setVersionText(const QByteArray& text) { version_ = text; }
    void setFocusSpeed(double countsPerSecond) { focus_.setSpeed(countsPerSecond); }
    void setRotatorSpeed(double stepsPerSecond) { rotator_.setSpeed(stepsPerSecond); }
    void setEraseDurationMs(qint64 ms) { eraseMs_ = ms; }
    void placeFocuser(int position, bool homed);
    void placeRotator(int angle, bool homed, qint64 wrap = 0);
    void setAmbient(double degreesF);
    void setNightSwing(double degreesF);
    // Runs the night (temperatures, fan and heater) this many times faster than the clock; the
    // mechanics keep their real speed.
    void setThermalSpeed(double factor);
    // The secondary mirror's answer to its heater: gain, time constant, dead time and noise.
    HeaterPlant heaterPlant() const;
    void setHeaterPlant(const HeaterPlant& plant);

    // State, as of now.
    int focusPosition() const;
    int focusTarget() const;
    bool focusHomed() const;
    bool focusMoving() const;
    bool forceMotorOff() const;
    int focusError() const { return focusError_; }
    int rotatorPosition() const;
    int rotatorTarget() const;
    qint64 wrap() const;
    bool rotatorHomed() const;
    bool rotatorMoving() const;
    double temperature(Sensor s) const;
    int rawReading(Sensor s) const;
    int reportedTemperature(Sensor s) const; // hundredths of a degree F
    Calibration calibration(Sensor s) const;
    int fanMode() const;
    int fanPower() const;
    int fanGain() const;
    int fanDeadBand() const;
    int heaterMode() const;
    int heaterPower() const;
    int heaterSetPoint() const; // tenths of a degree F
    int dewPower(int heater) const;
    int tempCompMode() const { return tempComp_.mode(); }
    int tempCompCoefficient() const { return tempComp_.coefficient(); }
    int tempCompThreshold() const { return tempComp_.threshold(); }
    int mirrorSpacing() const { return mirrorSpacing_; }
    int limits() const { return limits_; }
    int focusRecordFlags() const;
    int rotatorRecordFlags() const;
    int recordedFocusPosition() const { return recordedFocus_; }
    int recordedRotatorPosition() const { return recordedRotator_; }
    // A controller parameter by its reply tag (":p", ":sil" ...), as the unit would report it.
    QByteArray parameter(std::string_view tag) const { return params_.value(tag); }
    // Inside a controller parameter upload, which "u" ends, as do any command that is not part
    // of an upload and a pause of UploadQuietMs in the middle of one.
    bool uploading() const { return uploading_ && !uploadStalled(); }
    LoaderState loaderState() const { return loader_; }
    QByteArrayList programmedRecords() const { return records_; }
    // Records the loader refused (a bad type, length or checksum), as they came.
    QByteArrayList refusedRecords() const { return refused_; }

    // Everything the PC sent, for tests that check the exact bytes.
    QByteArray receivedBytes() const { return received_; }
    void clearReceived() { received_.clear(); }

signals:
    void transmit(const QByteArray& toPc);
    void hungUpChanged(bool hungUp);

private:
    enum class When : quint8;
    enum class Needs : quint8;
    struct Argument;
    struct Rule;
    static const std::vector<Rule>& rules();

    // Brings the mechanics and the thermal model up to the clock's present.
    void catchUp() const;
    void step(double seconds) const;
    void readHeld();
    void dispatch(const ReadCommand& command);
    const Rule* resolve(const ReadCommand& command) const;
    void send(const QByteArray& reply);
    void hear(const QByteArray& fromPc);

    bool uploadStalled() const;
    void reply(std::initializer_list<std::pair<std::string_view, QByteArray>> items);
    void focusStatus();
    void temperatures();
    void rotatorStatus();
    void diagnostic();
    void tempCompParams();
    void parameterGroup(std::span<const std::string_view> tags);
    void setTempCompMode(int mode);
    // The heater loop works with the gains the unit holds.
    void applyHeaterGains();
    void moveFocusBy(int counts);

    void enterLoader();
    void erase();
    void eraseDone();
    void program();
    void takeRecord(const QByteArray& record);
    void loaderStatus(char status);

    Clock& clock_;
    Timer tick_;
    OutputLine line_;
    InputLine input_;
    CommandReader reader_;
    QByteArray held_;
    QByteArray received_;
    bool reading_ = false;

    // Everything below moves with time; catchUp() may run from a getter.
    mutable FocusDrive focus_;
    mutable RotatorDrive rotator_;
    mutable ThermalModel thermal_;
    mutable TempComp tempComp_;
    mutable qint64 lastStepMs_ = 0;

    ControllerParams params_;
    QByteArray version_ = QByteArrayLiteral("3.02");
    bool uploading_ = false;
    qint64 lastHeardMs_ = 0;
    int focusError_ = 0;
    int mirrorSpacing_ = 0;
    int limits_ = 0;
    bool recallFocus_ = false;
    bool focusRecorded_ = false;
    int recordedFocus_ = 0;
    bool recallRotator_ = false;
    bool rotatorRecorded_ = false;
    int recordedRotator_ = 0;

    LoaderState loader_ = LoaderState::Off;
    QByteArrayList records_;
    QByteArrayList refused_;
    qint64 loaderReplyDelayMs_ = 0;
    int hangUpAfterRecords_ = -1;
    qint64 eraseMs_ = 1000;
    qint64 ackDelayMs_ = 0;
    bool ackMissing_ = false;
    bool noProgrammingVoltage_ = false;
    bool eraseFailure_ = false;
    bool hungUp_ = false;
};

} // namespace mivel::sim
