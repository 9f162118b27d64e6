#include "Commands.h"

#include "core/Format.h"
#include "core/Numbers.h"

#include <array>
#include <charconv>

namespace mivel::wire {
namespace {

constexpr std::array kCommands{
    CommandInfo{Cmd::Probe, "!", true, "link probe"},
    CommandInfo{Cmd::Version, "V", true, "request firmware version"},
    CommandInfo{Cmd::FocusStatus, "Q", true, "request focuser status"},
    CommandInfo{Cmd::Temperatures, "T", true, "request temperatures and thermal state"},
    CommandInfo{Cmd::RotatorStatus, "R", true, "request rotator status"},
    CommandInfo{Cmd::DiagnosticPoll, "d", true, "diagnostic poll"},
    CommandInfo{Cmd::TempCompParams, "l", true, "request compensation parameters"},
    CommandInfo{Cmd::ConsoleStart, "J", true, "console start"},
    CommandInfo{Cmd::FocusMove, "b", true, "move focuser to absolute position"},
    CommandInfo{Cmd::FocusHomedQuery, "o", true, "ask whether the focuser is homed"},
    CommandInfo{Cmd::FocusHome, "h", false, "find the focuser home position"},
    CommandInfo{Cmd::FocusStop, "S", true, "stop the focuser"},
    CommandInfo{Cmd::ForceMotorOff, "U", true, "force motor off: 32 set, 0 clear"},
    CommandInfo{Cmd::RecordFocus, "f", true, "record the current focus position"},
    CommandInfo{Cmd::RecallFocus, "`", true, "recall focus position at power-up"},
    CommandInfo{Cmd::TempCompMode, "+", true, "temperature compensation mode"},
    CommandInfo{Cmd::TempCompCoefficient, "=", true, "temperature compensation coefficient"},
    CommandInfo{Cmd::TempCompThreshold, "F", true, "compensation movement threshold"},
    CommandInfo{Cmd::TempCompPrepare, ":V", true, "sent before the compensation dialog"},
    CommandInfo{Cmd::MirrorSpacing, "E", true, "ideal mirror spacing position"},
    CommandInfo{Cmd::RotatorHome, "r", true, "find the rotator home position"},
    CommandInfo{Cmd::RotatorMove, "j", true, "relative rotator move"},
    CommandInfo{Cmd::RotatorHomedQuery, "H", true, "ask whether the rotator is homed"},
    CommandInfo{Cmd::RotatorStep, "q", true, "relative rotator move; q0 stops"},
    CommandInfo{Cmd::FocusStep, "m", true, "relative focus move"},
    CommandInfo{Cmd::WrapZero, "i", true, "declare the rotator position wrap zero"},
    CommandInfo{Cmd::RecordRotator, "v", true, "record the current rotator position"},
    CommandInfo{Cmd::ResetRotatorAngle, "p", true, "declare the current rotator angle"},
    CommandInfo{Cmd::RecallRotator, "/", true, "recall rotator position at power-up"},
    CommandInfo{Cmd::RotatorAbsolute, "|", true, "absolute rotator move"},
    CommandInfo{Cmd::FanMode, "n", true, "fan mode"},
    CommandInfo{Cmd::FanPower, "y", true, "manual fan power"},
    CommandInfo{Cmd::FanGain, "g", true, "fan loop aggressiveness"},
    CommandInfo{Cmd::FanDeadBand, "O", true, "fan loop dead band"},
    CommandInfo{Cmd::HeaterMode, "w", true, "secondary heater mode"},
    CommandInfo{Cmd::HeaterPower, "s", true, "manual secondary heater power"},
    CommandInfo{Cmd::HeaterSetPoint, "P", true, "secondary heater set point"},
    CommandInfo{Cmd::Dew1Power, "c", true, "dew heater 1 power"},
    CommandInfo{Cmd::Dew2Power, "k", true, "dew heater 2 power"},
    CommandInfo{Cmd::Limits, "t", true, "limits spinner value"},
    CommandInfo{Cmd::HeaterPGain, "L", true, "heater loop proportional gain x 100"},
    CommandInfo{Cmd::HeaterDGain, "^", true, "heater loop derivative gain x 100"},
    CommandInfo{Cmd::HeaterDTime, "?", true, "heater loop derivative time"},
    CommandInfo{Cmd::HeaterIGain, "#", true, "heater loop integral gain x 100"},
    CommandInfo{Cmd::HeaterILimit, "~", true, "heater loop integral limit"},
    CommandInfo{Cmd::LoaderEnter, "x", true, "enter the firmware loader"},
    CommandInfo{Cmd::LoaderErase, "E", false, "loader: erase program memory"},
    CommandInfo{Cmd::LoaderProgram, "P", false, "loader: start programming"},
    CommandInfo{Cmd::InternalFanOn, "{", true, "internal fan mode"},
    CommandInfo{Cmd::InternalFanOther, "}", true, "internal fan mode"},
    CommandInfo{Cmd::InternalFanSet, "[", true, "internal fan set point"},
    CommandInfo{Cmd::InternalFanHyst, "]", true, "internal fan hysteresis"},
    CommandInfo{Cmd::ParamAt, "@", true, "calibration spinner parameter"},
    CommandInfo{Cmd::ParamZ, "z", true, "calibration spinner parameter"},
    CommandInfo{Cmd::MotorPGain, "p", true, "focus loop proportional gain"},
    CommandInfo{Cmd::MotorDGain, "d", true, "focus loop derivative gain"},
    CommandInfo{Cmd::MotorDeriv, "e", true, "focus loop derivative setting"},
    CommandInfo{Cmd::MotorIGain, "i", true, "focus loop integral gain"},
    CommandInfo{Cmd::MotorILimit, "j", true, "focus loop integral limit"},
    CommandInfo{Cmd::Velocity, "v", true, "motor velocity x 65536"},
    CommandInfo{Cmd::Acceleration, "a", true, "motor acceleration x 65536"},
    CommandInfo{Cmd::AutoCurrent, "N", true, "automatic motor current off/on"},
    CommandInfo{Cmd::ErrorHandheld, "K", true, "report errors to the hand pad off/on"},
    CommandInfo{Cmd::DeadbandOn, "X", true, "focus dead band off/on"},
    CommandInfo{Cmd::Deadband, "Y", true, "focus dead band"},
    CommandInfo{Cmd::DeadbandSettle, "W", true, "dead band settle time"},
    CommandInfo{Cmd::EndUpload, "u", false, "end of the parameter upload"},
    CommandInfo{Cmd::Sensor1Slope, "A", true, "sensor 1 slope"},
    CommandInfo{Cmd::Sensor2Slope, "B", true, "sensor 2 slope"},
    CommandInfo{Cmd::Sensor3Slope, "C", true, "sensor 3 slope"},
    CommandInfo{Cmd::Sensor1Intercept, "D", true, "sensor 1 intercept"},
    CommandInfo{Cmd::Sensor2Intercept, "E", true, "sensor 2 intercept"},
    CommandInfo{Cmd::Sensor3Intercept, "F", true, "sensor 3 intercept"},
    CommandInfo{Cmd::ReadParams, "G", true, "request controller parameters"},
    CommandInfo{Cmd::ReadMoreParams, "<", true, "request further controller parameters"},
};

// The shortest fixed-point text that reads back as the same value of its type.
template <class Real> QString fixedText(Real value) {
    if (value == 0 || !std::isfinite(value))
        return QStringLiteral("0"); // also no "-0"
    char buf[400];                  // a double's largest fixed form has 309 digits before the point
    const auto r = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed);
    return QString::fromLatin1(buf, r.ptr - buf);
}

bool isPlainDecimal(QStringView text) {
    qsizetype i = text.startsWith(u'-') ? 1 : 0;
    bool digits = false;
    bool point = false;
    for (; i < text.size(); ++i) {
        if (text[i] >= u'0' && text[i] <= u'9')
            digits = true;
        else if (text[i] == u'.' && !point)
            point = true;
        else
            return false;
    }
    return digits;
}

QByteArray frame(Cmd cmd, const QByteArray& argument, Lead lead) {
    const CommandInfo& info = commandInfo(cmd);
    QByteArray out;
    out.reserve(argument.size() + 4);
    if (lead == Lead::Space)
        out += ' ';
    out.append(info.word.data(), qsizetype(info.word.size()));
    out += argument;
    if (info.closingSpace)
        out += ' ';
    return out;
}

} // namespace

std::span<const CommandInfo> commands() {
    return kCommands;
}

const CommandInfo& commandInfo(Cmd cmd) {
    const auto i = std::size_t(cmd);
    return i < kCommands.size() && kCommands[i].cmd == cmd ? kCommands[i] : kCommands.front();
}

QByteArray command(Cmd cmd, Lead lead) {
    return frame(cmd, {}, lead);
}

QByteArray integerCommand(Cmd cmd, std::int64_t argument, Lead lead) {
    return frame(cmd, QByteArray::number(qlonglong(argument)), lead);
}

QByteArray command(Cmd cmd, const QString& argument, Lead lead) {
    return frame(cmd, plainDecimal(argument).toLatin1(), lead);
}

QByteArray sensorCoefficient(Cmd cmd, double value) {
    return frame(cmd, formatNumber(value, "0.0000000").toLatin1(), Lead::None);
}

QString decimalText(double value) {
    // Single precision: 2.5, not 2.5000000001.
    return fixedText(float(value));
}

QString plainDecimal(const QString& text) {
    if (isPlainDecimal(text))
        return text;
    const QByteArray latin = text.toLatin1();
    const auto value = toNumber(std::string_view(latin.constData(), std::size_t(latin.size())));
    return value ? fixedText(*value) : text;
}

} // namespace mivel::wire
