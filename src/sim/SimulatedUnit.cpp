#include "SimulatedUnit.h"

#include "link/Numbers.h"

#include <algorithm>
#include <cmath>

namespace mivel::sim {
namespace {

using wire::Cmd;
using wire::Tag;

std::string_view view(const QByteArray& text) {
    return {text.constData(), std::size_t(text.size())};
}

// A whole-number argument; a missing or unreadable one counts as 0, as the unit's own number
// reading does.
qint64 whole(const QByteArray& argument) {
    return wire::toLong(view(argument)).value_or(0);
}

double decimal(const QByteArray& argument) {
    return wire::toNumber(view(argument)).value_or(0);
}

bool hasDecimalPoint(const QByteArray& argument) {
    return argument.contains('.');
}

QByteArray number(qint64 value) {
    return QByteArray::number(value);
}

} // namespace

// When a command word means what: the parameter upload and the sensor calibration reuse words
// that mean something else the rest of the time, and the loader knows only its own words.
enum class SimulatedUnit::When : quint8 {
    Always,       // in normal running
    Uploading,    // only inside the controller parameter upload ("{" or "}" up to "u")
    NotUploading, // only outside it
    Decimal,      // only with a decimal point in the argument (sensor coefficients)
    Whole,        // only without one
    Loader,       // only in the firmware loader
    Anywhere,     // in normal running and in the loader
};

struct SimulatedUnit::Rule {
    Cmd cmd;
    When when;
    void (*act)(SimulatedUnit& unit, Cmd cmd, const QByteArray& argument);
};

const std::vector<SimulatedUnit::Rule>& SimulatedUnit::rules() {
    using U = SimulatedUnit;
    static const auto nothing = [](U&, Cmd, const QByteArray&) {};
    static const auto parameter = [](U& u, Cmd cmd, const QByteArray& a) {
        u.params_.set(*ControllerParams::tagFor(cmd), a);
    };
    static const auto calibrate = [](U& u, Cmd cmd, const QByteArray& a) {
        // A, B, C are the slopes and D, E, F the intercepts of the three air and mirror sensors.
        const int n = int(cmd) - int(Cmd::Sensor1Slope);
        const auto sensor = Sensor(n % 3);
        if (n < 3)
            u.thermal_.setSlope(sensor, decimal(a));
        else
            u.thermal_.setOffset(sensor, decimal(a));
    };
    static const std::vector<Rule> table{
        // Queries.
        {Cmd::Probe, When::Always,
         [](U& u, Cmd, const QByteArray&) {
             u.reply({{Tag::Probe, "1"}});
         }},
        {Cmd::Version, When::Always,
         [](U& u, Cmd, const QByteArray&) {
             u.reply({{Tag::Version, u.version_}});
         }},
        {Cmd::FocusStatus, When::Always, [](U& u, Cmd, const QByteArray&) { u.focusStatus(); }},
        {Cmd::Temperatures, When::Always, [](U& u, Cmd, const QByteArray&) { u.temperatures(); }},
        {Cmd::RotatorStatus, When::Always, [](U& u, Cmd, const QByteArray&) { u.rotatorStatus(); }},
        {Cmd::DiagnosticPoll, When::NotUploading,
         [](U& u, Cmd, const QByteArray&) { u.diagnostic(); }},
        {Cmd::TempCompParams, When::Always,
         [](U& u, Cmd, const QByteArray&) { u.tempCompParams(); }},
        {Cmd::FocusHomedQuery, When::Always,
         [](U& u, Cmd, const QByteArray&) {
             u.reply({{Tag::FocusHomed, number(u.focus_.homed())}});
         }},
        {Cmd::RotatorHomedQuery, When::Always,
         [](U& u, Cmd, const QByteArray&) {
             u.reply({{Tag::RotatorHomed, number(u.rotator_.homed())}});
         }},
        {Cmd::ReadParams, When::Always,
         [](U& u, Cmd, const QByteArray&) { u.parameterGroup(ControllerParams::firstGroup()); }},
        {Cmd::ReadMoreParams, When::Always,
         [](U& u, Cmd, const QByteArray&) { u.parameterGroup(ControllerParams::secondGroup()); }},
        {Cmd::ConsoleStart, When::Always, nothing},
        {Cmd::TempCompPrepare, When::Always, nothing},

        // Focuser.
        {Cmd::FocusMove, When::Always,
         [](U& u, Cmd, const QByteArray& a) { u.focus_.moveTo(whole(a)); }},
        {Cmd::FocusStep, When::Always,
         [](U& u, Cmd, const QByteArray& a) { u.focus_.moveBy(whole(a)); }},
        {Cmd::FocusHome, When::Always, [](U& u, Cmd, const QByteArray&) { u.focus_.home(); }},
        {Cmd::FocusStop, When::Always, [](U& u, Cmd, const QByteArray&) { u.focus_.stop(); }},
        {Cmd::ForceMotorOff, When::Always,
         [](U& u, Cmd, const QByteArray& a) { u.focus_.setForcedOff(whole(a) != 0); }},
        {Cmd::RecordFocus, When::Always,
         [](U& u, Cmd, const QByteArray&) {
             u.focusRecorded_ = true;
             u.recordedFocus_ = u.focus_.position();
         }},
        {Cmd::RecallFocus, When::Always,
         [](U& u, Cmd, const QByteArray& a) { u.recallFocus_ = whole(a) != 0; }},
        {Cmd::MirrorSpacing, When::Whole,
         [](U& u, Cmd, const QByteArray& a) { u.mirrorSpacing_ = int(whole(a)); }},

        // Temperature compensation.
        {Cmd::TempCompMode, When::Always,
         [](U& u, Cmd, const QByteArray& a) { u.setTempCompMode(int(whole(a))); }},
        {Cmd::TempCompCoefficient, When::Always,
         [](U& u, Cmd, const QByteArray& a) { u.tempComp_.setCoefficient(int(whole(a))); }},
        {Cmd::TempCompThreshold, When::Whole,
         [](U& u, Cmd, const QByteArray& a) { u.tempComp_.setThreshold(int(whole(a))); }},

        // Rotator.
        {Cmd::RotatorHome, When::Always, [](U& u, Cmd, const QByteArray&) { u.rotator_.home(); }},
        {Cmd::RotatorMove, When::NotUploading,
         [](U& u, Cmd, const QByteArray& a) { u.rotator_.moveBy(whole(a)); }},
        {Cmd::RotatorStep, When::Always,
         [](U& u, Cmd, const QByteArray& a) {
             if (const qint64 steps = whole(a); steps == 0)
                 u.rotator_.stop();
             else
                 u.rotator_.moveBy(steps);
         }},
        {Cmd::RotatorAbsolute, When::Always,
         [](U& u, Cmd, const QByteArray& a) { u.rotator_.moveTo(whole(a)); }},
        {Cmd::WrapZero, When::NotUploading,
         [](U& u, Cmd, const QByteArray&) { u.rotator_.zeroWrap(); }},
        {Cmd::ResetRotatorAngle, When::NotUploading,
         [](U& u, Cmd, const QByteArray& a) { u.rotator_.declare(whole(a)); }},
        {Cmd::RecordRotator, When::NotUploading,
         [](U& u, Cmd, const QByteArray&) {
             u.rotatorRecorded_ = true;
             u.recordedRotator_ = u.rotator_.position();
         }},
        {Cmd::RecallRotator, When::Always,
         [](U& u, Cmd, const QByteArray& a) { u.recallRotator_ = whole(a) != 0; }},

        // Fan, heaters and the console's limits spinner.
        {Cmd::FanMode, When::Always,
         [](U& u, Cmd, const QByteArray& a) { u.thermal_.setFanMode(int(whole(a))); }},
        {Cmd::FanPower, When::Always,
         [](U& u, Cmd, const QByteArray& a) { u.thermal_.setFanPower(int(whole(a))); }},
        {Cmd::FanGain, When::Always,
         [](U& u, Cmd, const QByteArray& a) { u.thermal_.setFanGain(int(whole(a))); }},
        {Cmd::FanDeadBand, When::Always,
         [](U& u, Cmd, const QByteArray& a) { u.thermal_.setFanDeadBand(int(whole(a))); }},
        {Cmd::HeaterMode, When::Always,
         [](U& u, Cmd, const QByteArray& a) { u.thermal_.setHeaterMode(int(whole(a))); }},
        {Cmd::HeaterPower, When::Always,
         [](U& u, Cmd, const QByteArray& a) { u.thermal_.setHeaterPower(int(whole(a))); }},
        // The set point comes in degrees as written and is kept, and reported, in tenths.
        {Cmd::HeaterSetPoint, When::Always,
         [](U& u, Cmd, const QByteArray& a) {
             u.thermal_.setHeaterSetPoint(int(std::lround(decimal(a) * 10)));
         }},
        {Cmd::Dew1Power, When::Always,
         [](U& u, Cmd, const QByteArray& a) { u.thermal_.setDewPower(1, int(whole(a))); }},
        {Cmd::Dew2Power, When::Always,
         [](U& u, Cmd, const QByteArray& a) { u.thermal_.setDewPower(2, int(whole(a))); }},
        {Cmd::Limits, When::Always,
         [](U& u, Cmd, const QByteArray& a) { u.limits_ = int(whole(a)); }},

        // Sensor calibration.
        {Cmd::Sensor1Slope, When::Always, calibrate},
        {Cmd::Sensor2Slope, When::Always, calibrate},
        {Cmd::Sensor3Slope, When::Always, calibrate},
        {Cmd::Sensor1Intercept, When::Always, calibrate},
        {Cmd::Sensor2Intercept, When::Decimal, calibrate},
        {Cmd::Sensor3Intercept, When::Decimal, calibrate},

        // Controller parameters. The upload opens with the internal fan word and ends with "u".
        {Cmd::InternalFanOn, When::Always,
         [](U& u, Cmd cmd, const QByteArray& a) {
             u.uploading_ = true;
             u.params_.setInternalFan(cmd, a);
         }},
        {Cmd::InternalFanOther, When::Always,
         [](U& u, Cmd cmd, const QByteArray& a) {
             u.uploading_ = true;
             u.params_.setInternalFan(cmd, a);
         }},
        {Cmd::EndUpload, When::Always, [](U& u, Cmd, const QByteArray&) { u.uploading_ = false; }},
        {Cmd::InternalFanSet, When::Always, parameter},
        {Cmd::InternalFanHyst, When::Always, parameter},
        {Cmd::ParamAt, When::Always, parameter},
        {Cmd::ParamZ, When::Always, parameter},
        {Cmd::MotorPGain, When::Uploading, parameter},
        {Cmd::MotorDGain, When::Uploading, parameter},
        {Cmd::MotorDeriv, When::Uploading, parameter},
        {Cmd::MotorIGain, When::Uploading, parameter},
        {Cmd::MotorILimit, When::Uploading, parameter},
        {Cmd::Velocity, When::Uploading, parameter},
        {Cmd::Acceleration, When::Uploading, parameter},
        {Cmd::AutoCurrent, When::Always, parameter},
        {Cmd::ErrorHandheld, When::Always, parameter},
        {Cmd::DeadbandOn, When::Always, parameter},
        {Cmd::Deadband, When::Always, parameter},
        {Cmd::DeadbandSettle, When::Always, parameter},
        {Cmd::HeaterPGain, When::Always, parameter},
        {Cmd::HeaterDGain, When::Always, parameter},
        {Cmd::HeaterDTime, When::Always, parameter},
        {Cmd::HeaterIGain, When::Always, parameter},
        {Cmd::HeaterILimit, When::Always, parameter},

        // Firmware loader.
        {Cmd::LoaderEnter, When::Anywhere, [](U& u, Cmd, const QByteArray&) { u.enterLoader(); }},
        {Cmd::LoaderErase, When::Loader, [](U& u, Cmd, const QByteArray&) { u.erase(); }},
        {Cmd::LoaderProgram, When::Loader, [](U& u, Cmd, const QByteArray&) { u.program(); }},
    };
    return table;
}

SimulatedUnit::SimulatedUnit(Clock& clock, QObject* parent)
    : QObject(parent)
    , clock_(clock)
    , tick_(clock, this)
    , line_(clock, this)
    , lastStepMs_(clock.nowMs()) {
    connect(&line_, &OutputLine::delivered, this, [this](const QByteArray& chunk) {
        if (!hungUp_)
            emit transmit(chunk);
    });
    // The unit runs whether or not anybody asks: the air cools, compensation follows it.
    connect(&tick_, &Timer::timeout, this, [this] { catchUp(); });
    tick_.start(TickMs);
}

SimulatedUnit::~SimulatedUnit() = default;

void SimulatedUnit::receive(const QByteArray& fromPc) {
    received_ += fromPc;
    if (hungUp_)
        return;
    catchUp();
    held_ += fromPc;
    readHeld();
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
        if (view(command.word) == wire::commandInfo(rule.cmd).word && applies(rule.when))
            return &rule;
    return nullptr;
}

void SimulatedUnit::dispatch(const ReadCommand& command) {
    if (reader_.mode() == CommandReader::Mode::Records) {
        takeRecord(command.argument);
        return;
    }
    if (const Rule* rule = resolve(command))
        rule->act(*this, rule->cmd, command.argument);
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

void SimulatedUnit::setTempCompMode(int mode) {
    if (const auto correction = tempComp_.command(mode, thermal_.raw(Sensor::Ambient)))
        focus_.moveTo(qint64(focus_.target()) + *correction);
}

// --- replies ------------------------------------------------------------------------------

void SimulatedUnit::send(const QByteArray& reply) {
    if (!hungUp_)
        line_.send(reply);
}

void SimulatedUnit::reply(std::initializer_list<std::pair<Tag, QByteArray>> items) {
    QByteArray out;
    for (const auto& [tag, value] : items) {
        const std::string_view word = wire::tagInfo(tag).wire;
        out.append(word.data(), qsizetype(word.size()));
        out += ' ';
        out += value;
        out += ' ';
    }
    send(out);
}

void SimulatedUnit::focusStatus() {
    reply({{Tag::FocusTarget, number(focus_.target())},
           {Tag::FocusActual, number(focus_.position())},
           {Tag::FocusHomed, number(focus_.homed())},
           {Tag::MotorCurrent, number(focus_.motorCurrentRaw())},
           {Tag::MotorOn, number(focus_.moving())},
           {Tag::ForceMotorOff, number(focus_.forcedOff())},
           {Tag::TempCompMode, number(tempComp_.mode())},
           {Tag::FocusRecord, number(focusRecordFlags())}});
    if (focusError_ != 0)
        reply({{Tag::FocusError, number(focusError_)}});
}

void SimulatedUnit::temperatures() {
    const ThermalModel& t = thermal_;
    reply({{Tag::Ambient, number(t.reported(Sensor::Ambient))},
           {Tag::Primary, number(t.reported(Sensor::Primary))},
           {Tag::Secondary, number(t.reported(Sensor::Secondary))},
           {Tag::RawAmbient, number(t.raw(Sensor::Ambient))},
           {Tag::RawPrimary, number(t.raw(Sensor::Primary))},
           {Tag::RawSecondary, number(t.raw(Sensor::Secondary))},
           {Tag::Electronics, number(t.reported(Sensor::Electronics))},
           {Tag::CompSensorRaw, number(t.raw(Sensor::Ambient))},
           {Tag::FanMode, number(t.fanMode())},
           {Tag::FanPower, number(t.fanPower())},
           {Tag::FanGain, number(t.fanGain())},
           {Tag::FanDeadBand, number(t.fanDeadBand())},
           {Tag::HeaterMode, number(t.heaterMode())},
           {Tag::HeaterPower, number(t.heaterPower())},
           {Tag::HeaterSetPoint, number(t.heaterSetPoint())},
           {Tag::Dew1Power, number(t.dewPower(1))},
           {Tag::Dew2Power, number(t.dewPower(2))}});
}

void SimulatedUnit::rotatorStatus() {
    reply({{Tag::RotatorTarget, number(rotator_.target())},
           {Tag::RotatorActual, number(rotator_.position())},
           {Tag::Wrap, number(rotator_.wrap())},
           {Tag::RotatorHomed, number(rotator_.homed())},
           {Tag::RotatorRecord, number(rotatorRecordFlags())}});
}

void SimulatedUnit::tempCompParams() {
    // The slopes go first: a receiver can only read the coefficient once it knows the slope.
    const auto c = [this](Sensor s) { return thermal_.calibration(s); };
    reply({{Tag::Slope1, number(c(Sensor::Ambient).slope)},
           {Tag::Offset1, number(c(Sensor::Ambient).offset)},
           {Tag::Slope2, number(c(Sensor::Primary).slope)},
           {Tag::Offset2, number(c(Sensor::Primary).offset)},
           {Tag::Slope3, number(c(Sensor::Secondary).slope)},
           {Tag::Offset3, number(c(Sensor::Secondary).offset)},
           {Tag::Slope4, number(c(Sensor::Electronics).slope)},
           {Tag::Offset4, number(c(Sensor::Electronics).offset)},
           {Tag::TempCompCoefficient, number(tempComp_.coefficient())},
           {Tag::TempCompThreshold, number(tempComp_.threshold())},
           {Tag::TempCompMode, number(tempComp_.mode())}});
}

void SimulatedUnit::diagnostic() {
    // The heater loop's working values, in the order of the diagnostic file's columns:
    // cse sKi sKp sKd sdi t6 sd1 ss t4 ce si sil dt sp.
    const ThermalModel& t = thermal_;
    const auto p = [this](Tag tag) { return std::llround(params_.number(tag)); };
    const qint64 items[] = {
        std::llround(t.heaterError() * 100),
        p(Tag::HeaterKi),
        p(Tag::HeaterKp),
        p(Tag::HeaterKd),
        p(Tag::HeaterDerivTime),
        t.raw(Sensor::Secondary),
        t.dewPower(1),
        t.heaterPower(),
        t.raw(Sensor::Ambient),
        std::llround(t.fanError() * 100),
        std::llround(t.heaterIntegral()),
        p(Tag::HeaterILimit),
        TickMs * 10,
        t.heaterSetPoint(),
    };
    QByteArray out;
    for (const qint64 item : items)
        out += ":d " + number(item) + ' ';
    out += ":d * ";
    send(out);
}

void SimulatedUnit::parameterGroup(std::span<const Tag> tags) {
    QByteArray out;
    for (const Tag tag : tags) {
        const std::string_view word = wire::tagInfo(tag).wire;
        out.append(word.data(), qsizetype(word.size()));
        out += ' ' + params_.value(tag) + ' ';
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
    reply({{Tag::LoaderStatus, QByteArray(1, LoaderReady)}});
}

void SimulatedUnit::erase() {
    // The unit reads nothing more until the erase is over; what the PC sends meanwhile waits.
    loader_ = LoaderState::Erasing;
    Timer::singleShot(clock_, eraseMs_, this, [this] { eraseDone(); });
}

void SimulatedUnit::eraseDone() {
    if (loader_ != LoaderState::Erasing)
        return; // switched off and on meanwhile
    const char status = noProgrammingVoltage_ ? NoProgrammingVoltage
                        : eraseFailure_       ? EraseFailed
                                              : LoaderReady;
    loader_ = status == LoaderReady ? LoaderState::Erased : LoaderState::Refused;
    reply({{Tag::LoaderStatus, QByteArray(1, status)}});
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
}

void SimulatedUnit::takeRecord(const QByteArray& record) {
    if (loader_ != LoaderState::Programming)
        return;
    records_ << record;
    if (!ackMissing_) {
        if (ackDelayMs_ > 0)
            Timer::singleShot(clock_, ackDelayMs_, this, [this] { send("* "); });
        else
            send("* ");
    }
    // The termination record ends the upload; the unit then starts its new program.
    const char type = record.size() > 1 ? record.at(1) : '0';
    if (type == '7' || type == '8' || type == '9')
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
