// The simulated unit's command table: every word it understands, when it means what, and what
// it does.

#include "SimulatedUnitRules.h"

#include "UnitWords.h"

namespace mivel::sim {
namespace {

QByteArray number(qint64 value) {
    return QByteArray::number(value);
}

} // namespace

const std::vector<SimulatedUnit::Rule>& SimulatedUnit::rules() {
    using U = SimulatedUnit;
    using A = Argument;
    constexpr When Always = When::Always;
    constexpr Needs None = Needs::Nothing;
    constexpr Needs Number = Needs::Number;
    static const auto nothing = [](U&, const Rule&, const A&) {};
    static const auto parameter = [](U& u, const Rule& r, const A& a) {
        u.params_.set(*ControllerParams::tagFor(r.word), a.text);
    };
    static const auto heaterGain = [](U& u, const Rule& r, const A& a) {
        parameter(u, r, a);
        u.applyHeaterGains();
    };
    static const auto internalFan = [](U& u, const Rule& r, const A& a) {
        u.uploading_ = true;
        u.params_.setInternalFan(r.word, a.text);
    };
    static const auto slope = [](U& u, const Rule& r, const A& a) {
        const auto sensor = r.word == word::Sensor1Slope   ? Sensor::Ambient
                            : r.word == word::Sensor2Slope ? Sensor::Primary
                                                           : Sensor::Secondary;
        u.thermal_.setSlope(sensor, a.value);
    };
    static const auto intercept = [](U& u, const Rule& r, const A& a) {
        const auto sensor = r.word == word::Sensor1Intercept   ? Sensor::Ambient
                            : r.word == word::Sensor2Intercept ? Sensor::Primary
                                                               : Sensor::Secondary;
        u.thermal_.setOffset(sensor, a.value);
    };
    static const std::vector<Rule> table{
        // Queries.
        {word::Probe, Always, None,
         [](U& u, const Rule&, const A&) {
             u.reply({{tag::Probe, "1"}});
         }},
        {word::Version, Always, None,
         [](U& u, const Rule&, const A&) {
             u.reply({{tag::Version, u.version_}});
         }},
        {word::FocusStatus, Always, None, [](U& u, const Rule&, const A&) { u.focusStatus(); }},
        {word::Temperatures, Always, None, [](U& u, const Rule&, const A&) { u.temperatures(); }},
        {word::RotatorStatus, Always, None, [](U& u, const Rule&, const A&) { u.rotatorStatus(); }},
        {word::DiagnosticPoll, When::NotUploading, None,
         [](U& u, const Rule&, const A&) { u.diagnostic(); }},
        {word::TempCompParams, Always, None,
         [](U& u, const Rule&, const A&) { u.tempCompParams(); }},
        {word::FocusHomedQuery, Always, None,
         [](U& u, const Rule&, const A&) {
             u.reply({{tag::FocusHomed, number(u.focus_.homed())}});
         }},
        {word::RotatorHomedQuery, Always, None,
         [](U& u, const Rule&, const A&) {
             u.reply({{tag::RotatorHomed, number(u.rotator_.homed())}});
         }},
        {word::ReadParams, Always, None,
         [](U& u, const Rule&, const A&) { u.parameterGroup(ControllerParams::firstGroup()); }},
        {word::ReadMoreParams, Always, None,
         [](U& u, const Rule&, const A&) { u.parameterGroup(ControllerParams::secondGroup()); }},
        {word::ConsoleStart, Always, None, nothing},
        {word::TempCompPrepare, Always, None, nothing},

        // Focuser.
        {word::FocusMove, Always, Number,
         [](U& u, const Rule&, const A& a) { u.focus_.moveTo(a.whole()); }},
        {word::FocusStep, Always, Number,
         [](U& u, const Rule&, const A& a) { u.focus_.moveBy(a.whole()); }},
        {word::FocusHome, Always, None, [](U& u, const Rule&, const A&) { u.focus_.home(); }},
        {word::FocusStop, Always, None, [](U& u, const Rule&, const A&) { u.focus_.stop(); }},
        {word::ForceMotorOff, Always, Number,
         [](U& u, const Rule&, const A& a) { u.focus_.setForcedOff(a.whole() != 0); }},
        {word::RecordFocus, Always, None,
         [](U& u, const Rule&, const A&) {
             u.focusRecorded_ = true;
             u.recordedFocus_ = u.focus_.position();
         }},
        {word::RecallFocus, Always, Number,
         [](U& u, const Rule&, const A& a) { u.recallFocus_ = a.whole() != 0; }},
        {word::MirrorSpacing, When::Whole, Number,
         [](U& u, const Rule&, const A& a) { u.mirrorSpacing_ = a.integer(); }},

        // Temperature compensation.
        {word::TempCompMode, Always, Number,
         [](U& u, const Rule&, const A& a) { u.setTempCompMode(a.integer()); }},
        {word::TempCompCoefficient, Always, Number,
         [](U& u, const Rule&, const A& a) { u.tempComp_.setCoefficient(a.integer()); }},
        {word::TempCompThreshold, When::Whole, Number,
         [](U& u, const Rule&, const A& a) { u.tempComp_.setThreshold(a.integer()); }},

        // Rotator.
        {word::RotatorHome, Always, None, [](U& u, const Rule&, const A&) { u.rotator_.home(); }},
        {word::RotatorMove, When::NotUploading, Number,
         [](U& u, const Rule&, const A& a) { u.rotator_.moveBy(a.whole()); }},
        {word::RotatorStep, Always, Number,
         [](U& u, const Rule&, const A& a) {
             if (const qint64 steps = a.whole(); steps == 0)
                 u.rotator_.stop();
             else
                 u.rotator_.moveBy(steps);
         }},
        {word::RotatorAbsolute, Always, Number,
         [](U& u, const Rule&, const A& a) { u.rotator_.moveTo(a.whole()); }},
        {word::WrapZero, When::NotUploading, None,
         [](U& u, const Rule&, const A&) { u.rotator_.zeroWrap(); }},
        {word::ResetRotatorAngle, When::NotUploading, Number,
         [](U& u, const Rule&, const A& a) { u.rotator_.declare(a.whole()); }},
        {word::RecordRotator, When::NotUploading, None,
         [](U& u, const Rule&, const A&) {
             u.rotatorRecorded_ = true;
             u.recordedRotator_ = u.rotator_.position();
         }},
        {word::RecallRotator, Always, Number,
         [](U& u, const Rule&, const A& a) { u.recallRotator_ = a.whole() != 0; }},

        // Fan, heaters and the console's limits spinner.
        {word::FanMode, Always, Number,
         [](U& u, const Rule&, const A& a) { u.thermal_.setFanMode(a.integer()); }},
        {word::FanPower, Always, Number,
         [](U& u, const Rule&, const A& a) { u.thermal_.setFanPower(a.integer()); }},
        {word::FanGain, Always, Number,
         [](U& u, const Rule&, const A& a) { u.thermal_.setFanGain(a.integer()); }},
        {word::FanDeadBand, Always, Number,
         [](U& u, const Rule&, const A& a) { u.thermal_.setFanDeadBand(a.integer()); }},
        {word::HeaterMode, Always, Number,
         [](U& u, const Rule&, const A& a) { u.thermal_.setHeaterMode(a.integer()); }},
        {word::HeaterPower, Always, Number,
         [](U& u, const Rule&, const A& a) { u.thermal_.setHeaterPower(a.integer()); }},
        // The set point comes in degrees as written and is kept, and reported, in tenths.
        {word::HeaterSetPoint, Always, Number,
         [](U& u, const Rule&, const A& a) {
             u.thermal_.setHeaterSetPoint(int(std::lround(a.value * 10)));
         }},
        {word::Dew1Power, Always, Number,
         [](U& u, const Rule&, const A& a) { u.thermal_.setDewPower(1, a.integer()); }},
        {word::Dew2Power, Always, Number,
         [](U& u, const Rule&, const A& a) { u.thermal_.setDewPower(2, a.integer()); }},
        {word::Limits, Always, Number,
         [](U& u, const Rule&, const A& a) { u.limits_ = a.integer(); }},

        // Sensor calibration.
        {word::Sensor1Slope, Always, Number, slope},
        {word::Sensor2Slope, Always, Number, slope},
        {word::Sensor3Slope, Always, Number, slope},
        {word::Sensor1Intercept, Always, Number, intercept},
        {word::Sensor2Intercept, When::Decimal, Number, intercept},
        {word::Sensor3Intercept, When::Decimal, Number, intercept},

        // Controller parameters. The upload opens with the internal fan word and ends with "u".
        {word::InternalFanOn, Always, Number, internalFan},
        {word::InternalFanAuto, Always, Number, internalFan},
        {word::EndUpload, Always, None, [](U& u, const Rule&, const A&) { u.uploading_ = false; }},
        {word::InternalFanSet, Always, Number, parameter},
        {word::InternalFanHyst, Always, Number, parameter},
        {word::FanThreshold, Always, Number, parameter},
        {word::FanPulse, Always, Number, parameter},
        {word::MotorPGain, When::Uploading, Number, parameter},
        {word::MotorDGain, When::Uploading, Number, parameter},
        {word::MotorDeriv, When::Uploading, Number, parameter},
        {word::MotorIGain, When::Uploading, Number, parameter},
        {word::MotorILimit, When::Uploading, Number, parameter},
        {word::Velocity, When::Uploading, Number, parameter},
        {word::Acceleration, When::Uploading, Number, parameter},
        {word::AutoCurrent, Always, Number, parameter},
        {word::ErrorHandheld, Always, Number, parameter},
        {word::DeadbandOn, Always, Number, parameter},
        {word::Deadband, Always, Number, parameter},
        {word::DeadbandSettle, Always, Number, parameter},
        {word::HeaterPGain, Always, Number, heaterGain},
        {word::HeaterDGain, Always, Number, heaterGain},
        {word::HeaterDTime, Always, Number, heaterGain},
        {word::HeaterIGain, Always, Number, heaterGain},
        {word::HeaterILimit, Always, Number, heaterGain},

        // Firmware loader.
        {word::LoaderEnter, When::Anywhere, None,
         [](U& u, const Rule&, const A&) { u.enterLoader(); }},
        {word::LoaderErase, When::Loader, None, [](U& u, const Rule&, const A&) { u.erase(); }},
        {word::LoaderProgram, When::Loader, None, [](U& u, const Rule&, const A&) { u.program(); }},
    };
    return table;
}

} // namespace mivel::sim
