#include "SimulatedUnit.h"
#include "SimulatedUnitRules.h"

#include "UnitWords.h"

#include "wire/SRecord.h"

#include <algorithm>
#include <cmath>

namespace mivel::sim {
namespace {

std::string_view view(const QByteArray& text) {
    return {text.constData(), std::size_t(text.size())};
}

bool hasDecimalPoint(const QByteArray& argument) {
    return argument.contains('.');
}

QByteArray number(qint64 value) {
    return QByteArray::number(value);
}

// The words of the controller parameter upload. Any other command ends an upload that was cut
// short, so that a PC which gave up half way does not leave "j", "i", "v" and "p" meaning
// parameters for ever.
constexpr std::string_view kUploadWords[] = {
    word::InternalFanOn, word::InternalFanAuto, word::InternalFanSet, word::InternalFanHyst,
    word::FanThreshold,  word::FanPulse,        word::MotorPGain,     word::MotorDGain,
    word::MotorDeriv,    word::MotorIGain,      word::MotorILimit,    word::Velocity,
    word::Acceleration,  word::AutoCurrent,     word::ErrorHandheld,  word::DeadbandOn,
    word::Deadband,      word::DeadbandSettle,  word::HeaterPGain,    word::HeaterDGain,
    word::HeaterDTime,   word::HeaterIGain,     word::HeaterILimit,   word::EndUpload,
};

bool isUploadWord(std::string_view w) {
    return std::find(std::begin(kUploadWords), std::end(kUploadWords), w) != std::end(kUploadWords);
}

} // namespace

SimulatedUnit::SimulatedUnit(Clock& clock, QObject* parent)
    : QObject(parent)
    , clock_(clock)
    , tick_(clock, this)
    , line_(clock, this)
    , input_(clock, this)
    , lastStepMs_(clock.nowMs()) {
    connect(&input_, &InputLine::arrived, this, &SimulatedUnit::hear);
    connect(&line_, &OutputLine::delivered, this, [this](const QByteArray& chunk) {
        if (!hungUp_)
            emit transmit(chunk);
    });
    // The unit runs whether or not anybody asks: the air cools, compensation follows it.
    connect(&tick_, &Timer::timeout, this, [this] { catchUp(); });
    tick_.start(TickMs);
    applyHeaterGains();
}

SimulatedUnit::~SimulatedUnit() = default;

void SimulatedUnit::receive(const QByteArray& fromPc) {
    received_ += fromPc;
    if (!hungUp_)
        input_.push(fromPc);
}

void SimulatedUnit::hear(const QByteArray& fromPc) {
    if (hungUp_)
        return;
    catchUp();
    if (uploading_ && uploadStalled()) {
        // The PC stopped half way through an upload: the unit drops it, and any command half
        // read with it, and reads what comes now as ordinary commands.
        uploading_ = false;
        reader_.setMode(CommandReader::Mode::Commands);
    }
    lastHeardMs_ = clock_.nowMs();
    held_ += fromPc;
    readHeld();
}

bool SimulatedUnit::uploadStalled() const {
    return clock_.nowMs() - lastHeardMs_ >= UploadQuietMs;
}

void SimulatedUnit::readHeld() {
    // A reply handler may feed the unit again from inside dispatch(); those bytes are appended
    // to held_ and read by the loop that is already running.
    if (reading_)
        return;
    reading_ = true;
    qsizetype used = 0;
    while (used < held_.size() && loader_ != LoaderState::Erasing && !hungUp_) {
        const char byte = held_.at(used++);
        if (const auto command = reader_.push(byte))
            dispatch(*command);
    }
    held_.remove(0, used);
    reading_ = false;
}

const SimulatedUnit::Rule* SimulatedUnit::resolve(const ReadCommand& command) const {
    const bool inLoader = reader_.mode() != CommandReader::Mode::Commands;
    const auto applies = [&](When when) {
        switch (when) {
        case When::Anywhere:
            return true;
        case When::Loader:
            return inLoader;
        case When::Uploading:
            return !inLoader && uploading_;
        case When::NotUploading:
            return !inLoader && !uploading_;
        case When::Decimal:
            return !inLoader && hasDecimalPoint(command.argument);
        case When::Whole:
            return !inLoader && !hasDecimalPoint(command.argument);
        case When::Always:
            return !inLoader;
        }
        return false;
    };
    for (const Rule& rule : rules())
        if (view(command.word) == rule.word && applies(rule.when))
            return &rule;
    return nullptr;
}

void SimulatedUnit::dispatch(const ReadCommand& command) {
    if (reader_.mode() == CommandReader::Mode::Records) {
        takeRecord(command.argument);
        return;
    }
    if (uploading_ && !isUploadWord(view(command.word)))
        uploading_ = false;
    const Rule* rule = resolve(command);
    if (!rule)
        return;
    Argument argument{command.argument};
    if (rule->needs == Needs::Number) {
        const auto value = plainDecimal(view(command.argument));
        if (!value)
            return;
        argument.value = *value;
    }
    rule->act(*this, *rule, argument);
}

void SimulatedUnit::restart() {
    catchUp();
    reader_.setMode(CommandReader::Mode::Commands);
    loader_ = LoaderState::Off;
    held_.clear();
    uploading_ = false;
    focus_.stop();
    rotator_.stop();
    if (recallFocus_ && focusRecorded_)
        focus_.moveTo(recordedFocus_);
    if (recallRotator_ && rotatorRecorded_)
        rotator_.moveTo(recordedRotator_);
}

// --- time ---------------------------------------------------------------------------------

void SimulatedUnit::catchUp() const {
    const qint64 now = clock_.nowMs();
    while (lastStepMs_ < now) {
        const qint64 ms = std::min(TickMs, now - lastStepMs_);
        step(double(ms) / 1000.0);
        lastStepMs_ += ms;
    }
}

void SimulatedUnit::step(double seconds) const {
    focus_.advance(seconds);
    rotator_.advance(seconds);
    thermal_.advance(seconds);
    if (const auto correction = tempComp_.follow(thermal_.raw(Sensor::Ambient)))
        focus_.moveTo(qint64(focus_.target()) + *correction);
}

void SimulatedUnit::applyHeaterGains() {
    // The gains are held times 100; the derivative time (seconds) and the integral limit
    // (percent of power) as sent.
    const auto p = [this](std::string_view t) { return params_.number(t); };
    thermal_.heater().setGains({p(tag::HeaterPGain) / 100, p(tag::HeaterIGain) / 100,
                                p(tag::HeaterDGain) / 100, int(std::lround(p(tag::HeaterDTime))),
                                p(tag::HeaterILimit)});
}

void SimulatedUnit::setHeaterPlant(const HeaterPlant& plant) {
    catchUp();
    thermal_.heater().setPlant(plant);
}

HeaterPlant SimulatedUnit::heaterPlant() const {
    return thermal_.heater().plant();
}

void SimulatedUnit::setTempCompMode(int mode) {
    if (const auto correction = tempComp_.command(mode, thermal_.raw(Sensor::Ambient)))
        focus_.moveTo(qint64(focus_.target()) + *correction);
}

// --- replies ------------------------------------------------------------------------------

void SimulatedUnit::send(const QByteArray& reply) {
    if (!hungUp_)
        line_.send(reply);
}

void SimulatedUnit::reply(std::initializer_list<std::pair<std::string_view, QByteArray>> items) {
    QByteArray out;
    for (const auto& [word, value] : items) {
        out.append(word.data(), qsizetype(word.size()));
        out += ' ';
        out += value;
        out += ' ';
    }
    send(out);
}

void SimulatedUnit::focusStatus() {
    // The unit repeats the two positions between the other fields, three times in all, so that
    // a reader that catches only part of the reply still has them.
    const QByteArray target = number(focus_.target());
    const QByteArray actual = number(focus_.position());
    reply({{tag::FocusTarget, target},
           {tag::FocusActual, actual},
           {tag::FocusHomed, number(focus_.homed())},
           {tag::MotorCurrent, number(focus_.motorCurrentRaw())},
           {tag::FocusTarget, target},
           {tag::FocusActual, actual},
           {tag::MotorOn, number(focus_.moving())},
           {tag::ForceMotorOff, number(focus_.forcedOff())},
           {tag::TempCompMode, number(tempComp_.mode())},
           {tag::FocusRecord, number(focusRecordFlags())},
           {tag::FocusTarget, target},
           {tag::FocusActual, actual}});
    if (focusError_ != 0)
        reply({{tag::FocusError, number(focusError_)}});
}

void SimulatedUnit::temperatures() {
    const ThermalModel& t = thermal_;
    reply({{tag::Ambient, number(t.reported(Sensor::Ambient))},
           {tag::Primary, number(t.reported(Sensor::Primary))},
           {tag::Secondary, number(t.reported(Sensor::Secondary))},
           {tag::RawAmbient, number(t.raw(Sensor::Ambient))},
           {tag::RawPrimary, number(t.raw(Sensor::Primary))},
           {tag::RawSecondary, number(t.raw(Sensor::Secondary))},
           {tag::Electronics, number(t.reported(Sensor::Electronics))},
           {tag::CompSensorRaw, number(t.raw(Sensor::Ambient))},
           {tag::FanMode, number(t.fanMode())},
           {tag::FanPower, number(t.fanPower())},
           {tag::FanGain, number(t.fanGain())},
           {tag::FanDeadBand, number(t.fanDeadBand())},
           {tag::HeaterMode, number(t.heaterMode())},
           {tag::HeaterPower, number(t.heaterPower())},
           {tag::HeaterSetPoint, number(t.heaterSetPoint())},
           {tag::Dew1Power, number(t.dewPower(1))},
           {tag::Dew2Power, number(t.dewPower(2))}});
}

void SimulatedUnit::rotatorStatus() {
    reply({{tag::RotatorTarget, number(rotator_.target())},
           {tag::RotatorActual, number(rotator_.position())},
           {tag::Wrap, number(rotator_.wrap())},
           {tag::RotatorHomed, number(rotator_.homed())},
           {tag::RotatorRecord, number(rotatorRecordFlags())}});
}

void SimulatedUnit::tempCompParams() {
    // The slopes go first: a receiver can only read the coefficient once it knows the slope.
    const auto c = [this](Sensor s) { return thermal_.calibration(s); };
    reply({{tag::TempCompCoefficient, number(tempComp_.coefficient())},
           {tag::TempCompThreshold, number(tempComp_.threshold())},
           {tag::TempCompMode, number(tempComp_.mode())},
           {tag::Slope[0], number(c(Sensor::Ambient).slope)},
           {tag::Offset[0], number(c(Sensor::Ambient).offset)},
           {tag::Slope[1], number(c(Sensor::Primary).slope)},
           {tag::Offset[1], number(c(Sensor::Primary).offset)},
           {tag::Slope[2], number(c(Sensor::Secondary).slope)},
           {tag::Offset[2], number(c(Sensor::Secondary).offset)},
           {tag::Slope[3], number(c(Sensor::Electronics).slope)},
           {tag::Offset[3], number(c(Sensor::Electronics).offset)}});
}

void SimulatedUnit::diagnostic() {
    // The heater loop's working values, in the order of the diagnostic file's columns:
    // cse sKi sKp sKd sdi t6 sd1 ss t4 ce si sil dt sp.
    const ThermalModel& t = thermal_;
    const auto p = [this](std::string_view t) { return std::llround(params_.number(t)); };
    const qint64 items[] = {
        std::llround(t.heaterError() * 100),
        p(tag::HeaterIGain),
        p(tag::HeaterPGain),
        p(tag::HeaterDGain),
        p(tag::HeaterDTime),
        t.raw(Sensor::Secondary),
        t.dewPower(1),
        t.heaterPower(),
        t.raw(Sensor::Ambient),
        std::llround(t.fanError() * 100),
        std::llround(t.heaterIntegral()),
        p(tag::HeaterILimit),
        TickMs * 10,
        t.heaterSetPoint(),
    };
    QByteArray out;
    for (const qint64 item : items)
        out += QByteArray(tag::Diagnostic.data(), qsizetype(tag::Diagnostic.size())) + ' ' +
               number(item) + ' ';
    out += QByteArray(tag::Diagnostic.data(), qsizetype(tag::Diagnostic.size())) + " * ";
    send(out);
}

void SimulatedUnit::parameterGroup(std::span<const std::string_view> tags) {
    QByteArray out;
    for (const std::string_view t : tags) {
        out.append(t.data(), qsizetype(t.size()));
        out += ' ' + params_.value(t) + ' ';
    }
    send(out);
}

// --- firmware loader ----------------------------------------------------------------------

void SimulatedUnit::enterLoader() {
    uploading_ = false;
    if (reader_.mode() == CommandReader::Mode::Commands) {
        reader_.setMode(CommandReader::Mode::Loader);
        loader_ = LoaderState::Ready;
    }
    if (loaderReplyDelayMs_ > 0)
        Timer::singleShot(clock_, loaderReplyDelayMs_, this, [this] { loaderStatus(LoaderReady); });
    else
        loaderStatus(LoaderReady);
}

void SimulatedUnit::loaderStatus(char status) {
    reply({{tag::LoaderStatus, QByteArray(1, status)}});
}

void SimulatedUnit::erase() {
    // A missing programming voltage and a flash that refuses its first block are known at once;
    // a good erase takes its time, and the unit reads nothing more until it is over (what the
    // PC sends meanwhile waits).
    if (noProgrammingVoltage_ || eraseFailure_) {
        loader_ = LoaderState::Refused;
        loaderStatus(noProgrammingVoltage_ ? NoProgrammingVoltage : EraseFailed);
        return;
    }
    loader_ = LoaderState::Erasing;
    Timer::singleShot(clock_, eraseMs_, this, [this] { eraseDone(); });
}

void SimulatedUnit::eraseDone() {
    if (loader_ != LoaderState::Erasing)
        return; // switched off and on meanwhile
    loader_ = LoaderState::Erased;
    loaderStatus(LoaderReady);
    readHeld();
}

void SimulatedUnit::program() {
    // After a failed erase the records are still read, so that the line stays in step, but none
    // is taken or acknowledged.
    if (loader_ == LoaderState::Erased)
        loader_ = LoaderState::Programming;
    else
        loader_ = LoaderState::Refused;
    reader_.setMode(CommandReader::Mode::Records);
    if (hangUpAfterRecords_ == 0)
        setHungUp(true);
}

void SimulatedUnit::takeRecord(const QByteArray& record) {
    if (loader_ != LoaderState::Programming)
        return;
    // A record the loader cannot trust stops the programming: it is not acknowledged, and
    // neither is anything after it, so the PC gives up on the handshake.
    const wire::SRecord read = wire::readRecord(view(record));
    if (!read.ok()) {
        refused_ << record;
        loader_ = LoaderState::Refused;
        return;
    }
    records_ << record;
    if (!ackMissing_) {
        if (ackDelayMs_ > 0)
            Timer::singleShot(clock_, ackDelayMs_, this, [this] { send("* "); });
        else
            send("* ");
    }
    if (hangUpAfterRecords_ > 0 && records_.size() >= hangUpAfterRecords_) {
        setHungUp(true);
        return;
    }
    // The termination record ends the upload; the unit then starts its new program.
    if (read.terminates())
        restart();
}

// --- state for tests and set-up -----------------------------------------------------------

void SimulatedUnit::setFocusError(int code) {
    catchUp();
    focusError_ = code;
    if (code == 2 || code == 3)
        focus_.fault();
}

void SimulatedUnit::setHungUp(bool on) {
    if (on == hungUp_)
        return;
    hungUp_ = on;
    if (on) {
        held_.clear();
        input_.clear();
        line_.clear();
    }
    emit hungUpChanged(on);
}

void SimulatedUnit::placeFocuser(int position, bool homed) {
    catchUp();
    focus_.place(position, homed);
}

void SimulatedUnit::placeRotator(int angle, bool homed, qint64 wrap) {
    catchUp();
    rotator_.place(angle, homed, wrap);
}

void SimulatedUnit::setAmbient(double degreesF) {
    catchUp();
    thermal_.setAmbient(degreesF);
}

void SimulatedUnit::setNightSwing(double degreesF) {
    catchUp();
    thermal_.setNightSwing(degreesF);
}

void SimulatedUnit::setThermalSpeed(double factor) {
    catchUp();
    thermal_.setSpeed(factor);
}

int SimulatedUnit::focusPosition() const {
    catchUp();
    return focus_.position();
}
int SimulatedUnit::focusTarget() const {
    catchUp();
    return focus_.target();
}
bool SimulatedUnit::focusHomed() const {
    catchUp();
    return focus_.homed();
}
bool SimulatedUnit::focusMoving() const {
    catchUp();
    return focus_.moving();
}
bool SimulatedUnit::forceMotorOff() const {
    return focus_.forcedOff();
}
int SimulatedUnit::rotatorPosition() const {
    catchUp();
    return rotator_.position();
}
int SimulatedUnit::rotatorTarget() const {
    catchUp();
    return rotator_.target();
}
qint64 SimulatedUnit::wrap() const {
    catchUp();
    return rotator_.wrap();
}
bool SimulatedUnit::rotatorHomed() const {
    catchUp();
    return rotator_.homed();
}
bool SimulatedUnit::rotatorMoving() const {
    catchUp();
    return rotator_.moving();
}
double SimulatedUnit::temperature(Sensor s) const {
    catchUp();
    return thermal_.temperature(s);
}
int SimulatedUnit::rawReading(Sensor s) const {
    catchUp();
    return thermal_.raw(s);
}
int SimulatedUnit::reportedTemperature(Sensor s) const {
    catchUp();
    return thermal_.reported(s);
}
Calibration SimulatedUnit::calibration(Sensor s) const {
    return thermal_.calibration(s);
}
int SimulatedUnit::fanMode() const {
    return thermal_.fanMode();
}
int SimulatedUnit::fanPower() const {
    catchUp();
    return thermal_.fanPower();
}
int SimulatedUnit::fanGain() const {
    return thermal_.fanGain();
}
int SimulatedUnit::fanDeadBand() const {
    return thermal_.fanDeadBand();
}
int SimulatedUnit::heaterMode() const {
    return thermal_.heaterMode();
}
int SimulatedUnit::heaterPower() const {
    catchUp();
    return thermal_.heaterPower();
}
int SimulatedUnit::heaterSetPoint() const {
    return thermal_.heaterSetPoint();
}
int SimulatedUnit::dewPower(int heater) const {
    return thermal_.dewPower(heater);
}
int SimulatedUnit::focusRecordFlags() const {
    return (recallFocus_ ? 1 : 0) + (focusRecorded_ ? 8 : 0);
}
int SimulatedUnit::rotatorRecordFlags() const {
    return (recallRotator_ ? 1 : 0) + (rotatorRecorded_ ? 8 : 0);
}

} // namespace mivel::sim
