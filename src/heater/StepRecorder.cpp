#include "StepRecorder.h"

#include "core/Numbers.h"
#include "wire/Commands.h"
#include "wire/Replies.h"

namespace mivel::heater {

namespace {

const QString PortClosed = QStringLiteral("Error:  The communications port is not open.");

} // namespace

QString StepRecorder::planProblem(const Plan& plan) {
    const auto power = [](int p) { return p >= 0 && p <= 100; };
    if (!power(plan.startPower) || !power(plan.endPower))
        return QStringLiteral("The heater's power runs from 0 to 100 %.");
    if (plan.startPower == plan.endPower)
        return QStringLiteral("The end power must differ from the start power.");
    if (plan.settleSeconds < 0 || plan.recordSeconds < 60)
        return QStringLiteral("The recording after the step must last at least a minute.");
    return {};
}

StepRecorder::StepRecorder(AppContext& ctx, QObject* parent)
    : QObject(parent)
    , ctx_(ctx)
    , connector_(ctx.hub())
    , subscription_(ctx.hub().subscribe(LinkHub::Audience::Console,
                                        [this](std::string_view chunk) { onChunk(chunk); }))
    , poll_(ctx.clock()) {
    poll_.setInterval(PollMs);
    connect(&poll_, &Timer::timeout, this, &StepRecorder::onPoll);
    connect(&connector_.serial(), &Serial::connectedChanged, this, &StepRecorder::onPortChanged);
}

StepRecorder::~StepRecorder() {
    if (running())
        stop(Phase::Stopped, QStringLiteral("The recording stopped: its window closed."));
}

bool StepRecorder::running() const {
    return phase_ == Phase::Asking || phase_ == Phase::Settling || phase_ == Phase::Stepped;
}

bool StepRecorder::portOpen() const {
    return connector_.serial().connected();
}

void StepRecorder::send(const QByteArray& command) {
    connector_.serial().transmit(command);
}

Status StepRecorder::start(const Plan& plan) {
    if (running())
        return programError(ErrorKind::WrongMode, QStringLiteral("A recording is running."));
    if (const QString problem = planProblem(plan); !problem.isEmpty())
        return programError(ErrorKind::OutOfRange, problem);
    if (!portOpen())
        return programError(ErrorKind::NotLinked, PortClosed);
    plan_ = plan;
    response_ = StepResponse{};
    response_.startPower = plan.startPower;
    response_.endPower = plan.endPower;
    before_.reset();
    reportedMode_.reset();
    reportedPower_.reset();
    heard_ = false;
    endedByObserver_ = false;
    stopReason_.clear();
    restoreNote_.clear();
    askedMs_ = ctx_.clock().nowMs();
    setPhase(Phase::Asking);
    send(wire::command(wire::Cmd::Temperatures, wire::Lead::Space));
    poll_.start();
    return {};
}

void StepRecorder::finish() {
    endedByObserver_ = true;
    if (phase_ == Phase::Asking)
        abort();
    else if (running())
        stop(Phase::Stopped, QStringLiteral("The recording was ended early."));
}

void StepRecorder::abort() {
    endedByObserver_ = true;
    if (running())
        stop(Phase::Stopped, QStringLiteral("The recording was abandoned."));
    response_.readings.clear();
    response_.stepped = false;
    setPhase(Phase::Idle);
}

qint64 StepRecorder::elapsedMs() const {
    if (phase_ == Phase::Settling || phase_ == Phase::Stepped)
        return ctx_.clock().nowMs() - startMs_;
    return qint64(response_.lastSeconds() * 1000);
}

// --- Replies ---

void StepRecorder::onChunk(std::string_view chunk) {
    tokeniser_.feed(chunk,
                    [this](std::string_view tag, std::string_view value) { onReply(tag, value); });
    // The heater's mode and power come after the temperature in the same reply.
    if (phase_ == Phase::Asking && reportedMode_ && reportedPower_)
        beginSettling();
}

void StepRecorder::onReply(std::string_view tagText, std::string_view valueText) {
    const wire::TagInfo* info = wire::findTag(tagText);
    const auto value = wire::toNumber(valueText);
    if (!info || !value)
        return;
    switch (info->tag) {
    case wire::Tag::Secondary:
        heard_ = true;
        lastReadingMs_ = ctx_.clock().nowMs();
        if (phase_ == Phase::Settling || phase_ == Phase::Stepped) {
            response_.readings.push_back(
                {double(lastReadingMs_ - startMs_) / 1000, wire::displayValue(info->tag, *value)});
            emit readingAdded();
        }
        break;
    // What the heater does before the recording; later the recorder itself sets it.
    case wire::Tag::HeaterMode:
        if (phase_ == Phase::Asking)
            reportedMode_ = int(*value);
        break;
    case wire::Tag::HeaterPower:
        if (phase_ == Phase::Asking)
            reportedPower_ = int(*value);
        break;
    default:
        break;
    }
}

// --- The course of a recording ---

void StepRecorder::onPoll() {
    const qint64 now = ctx_.clock().nowMs();
    if (phase_ == Phase::Asking) {
        if (now - askedMs_ < AnswerWaitMs) {
            send(wire::command(wire::Cmd::Temperatures, wire::Lead::Space));
        } else if (heard_) {
            beginSettling(); // the unit answers but not about its heater: put back as off
        } else {
            stop(Phase::Stopped,
                 QStringLiteral("The unit did not answer, so the heater was left as it was."));
            response_.readings.clear();
        }
        return;
    }
    if (now - lastReadingMs_ >= SilenceMs) {
        stop(Phase::Stopped, QStringLiteral("The recording stopped: the unit stopped answering."));
        return;
    }
    if (phase_ == Phase::Settling && now - startMs_ >= qint64(plan_.settleSeconds) * 1000)
        step();
    if (phase_ == Phase::Stepped && now - startMs_ >= plan_.totalMs()) {
        stop(Phase::Done, {});
        return;
    }
    send(wire::command(wire::Cmd::Temperatures, wire::Lead::Space));
}

void StepRecorder::beginSettling() {
    if (reportedMode_ && reportedPower_)
        before_ = HeaterSetting{*reportedMode_, *reportedPower_};
    startMs_ = ctx_.clock().nowMs();
    lastReadingMs_ = startMs_;
    heaterTaken_ = true;
    send(wire::command(wire::Cmd::HeaterPower, plan_.startPower, wire::Lead::Space));
    setPhase(Phase::Settling);
    if (plan_.settleSeconds == 0)
        step();
}

void StepRecorder::step() {
    send(wire::command(wire::Cmd::HeaterPower, plan_.endPower, wire::Lead::Space));
    response_.stepSeconds = double(ctx_.clock().nowMs() - startMs_) / 1000;
    response_.stepped = true;
    setPhase(Phase::Stepped);
}

void StepRecorder::onPortChanged(bool open) {
    if (!open && running())
        stop(Phase::Stopped,
             QStringLiteral("The recording stopped: the communications port closed."));
}

void StepRecorder::stop(Phase phase, const QString& why) {
    poll_.stop();
    stopReason_ = why;
    if (std::exchange(heaterTaken_, false))
        putHeaterBack();
    setPhase(phase);
}

void StepRecorder::putHeaterBack() {
    const QByteArray command = restoreCommand(before_);
    if (portOpen()) {
        send(command);
        restoreNote_ = restoredText(before_);
        return;
    }
    restoreWhenOpen(connector_.serial(), command);
    restoreNote_ = QStringLiteral("The heater could not be put back with the port closed; it "
                                  "will be when the port opens again.");
}

void StepRecorder::setPhase(Phase phase) {
    if (phase_ == phase)
        return;
    phase_ = phase;
    emit phaseChanged();
}

} // namespace mivel::heater
