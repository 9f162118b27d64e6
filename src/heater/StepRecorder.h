#pragma once

// The recording of a step response. The recorder learns what the heater is doing, puts it on
// manual power at the start power, lets the secondary settle there, steps to the end power and
// reads the secondary's temperature every second until the planned end. Then, and whenever the
// recording stops early, it puts the heater back as it was (off when that is unknown).
//
// A recording stops early when the observer ends or aborts it, when the unit stops answering,
// when the port closes, or when the recorder goes (its window closed). What was read up to then
// is kept, marked as shortened; the heater is put back at once, or, with the port closed, when
// the port opens again.

#include "HeaterSetting.h"
#include "StepResponse.h"

#include "app/AppContext.h"
#include "core/Clock.h"
#include "wire/Tokeniser.h"

#include <QObject>

#include <optional>

namespace mivel::heater {

class StepRecorder : public QObject {
    Q_OBJECT
public:
    static constexpr qint64 PollMs = 1000;
    // No reading for this long while recording: the unit has stopped answering.
    static constexpr qint64 SilenceMs = 5000;
    // The unit has this long to say what its heater is doing before anything is changed.
    static constexpr qint64 AnswerWaitMs = 3000;

    struct Plan {
        int startPower = 0;          // percent
        int endPower = 50;           // percent
        int settleSeconds = 120;     // at the start power, before the step
        int recordSeconds = 60 * 60; // after the step
        qint64 totalMs() const { return qint64(settleSeconds + recordSeconds) * 1000; }
    };
    // Why a plan cannot run; empty when it can.
    static QString planProblem(const Plan& plan);

    enum class Phase {
        Idle,     // nothing recorded yet
        Asking,   // waiting to hear what the heater is doing
        Settling, // at the start power
        Stepped,  // at the end power
        Done,     // the recording ran to its planned end
        Stopped,  // it stopped early; see stopReason()
    };

    explicit StepRecorder(AppContext& ctx, QObject* parent = nullptr);
    // A recording still running stops here: the heater is put back.
    ~StepRecorder() override;

    // Starts a recording, replacing any earlier one. Refused with the port closed or with a
    // plan that cannot run; nothing is sent then.
    Status start(const Plan& plan);
    // The observer ends the recording now and keeps what it holds.
    void finish();
    // The observer abandons the recording: it is thrown away.
    void abort();

    Phase phase() const { return phase_; }
    bool running() const;
    const Plan& plan() const { return plan_; }
    const StepResponse& response() const { return response_; }
    // The recording stopped before its planned end (and was not abandoned).
    bool shortened() const { return phase_ == Phase::Stopped && !response_.readings.empty(); }
    QString stopReason() const { return stopReason_; }
    // The observer ended or abandoned the recording (rather than the unit, the port or a close).
    bool endedByObserver() const { return endedByObserver_; }
    qint64 elapsedMs() const;
    // The heater as it was before the recording, once the unit has said.
    std::optional<HeaterSetting> before() const { return before_; }
    // What was done about the heater at the end of the recording, for the observer.
    QString restoreNote() const { return restoreNote_; }

signals:
    void readingAdded();
    void phaseChanged();

private:
    void onChunk(std::string_view chunk);
    void onReply(std::string_view tag, std::string_view value);
    void onPoll();
    void onPortChanged(bool open);
    void beginSettling();
    void step();
    // Ends a running recording: `why` empty for one that ran its course.
    void stop(Phase phase, const QString& why);
    void putHeaterBack();
    void setPhase(Phase phase);
    void send(const QByteArray& command);
    bool portOpen() const;

    AppContext& ctx_;
    Connector connector_;
    wire::Tokeniser tokeniser_;
    LinkHub::Subscription subscription_;
    Timer poll_;
    Plan plan_;
    Phase phase_ = Phase::Idle;
    StepResponse response_;
    qint64 startMs_ = 0;
    qint64 askedMs_ = 0;
    qint64 lastReadingMs_ = 0;
    bool heard_ = false;
    bool endedByObserver_ = false;
    bool heaterTaken_ = false; // the recorder has changed the heater's power
    std::optional<int> reportedMode_;
    std::optional<int> reportedPower_;
    std::optional<HeaterSetting> before_;
    QString stopReason_;
    QString restoreNote_;
};

} // namespace mivel::heater
