#include "CalibrationParams.h"

#include "core/Numbers.h"

#include <algorithm>

namespace mivel::tempcomp {
namespace {

using F = FileForm;
using I = Input;
using P = Param;

constexpr std::array<ParamInfo, ParamCount> kParams{{
    {P::AmbSlope, "txtAmbSlope", "ambient slope", "TAmbS", F::Text, I::Number},
    {P::AmbIntercept, "txtAmbIntercept", "ambient intercept", "TAmbI", F::Text, I::Number},
    {P::PrimSlope, "txtPrimSlope", "primary slope", "TPrimS", F::Text, I::Number},
    {P::PrimIntercept, "txtPrimIntercept", "primary intercept", "TPrimI", F::Text, I::Number},
    {P::SecSlope, "txtSecSlope", "secondary slope", "TSecS", F::Text, I::Number},
    {P::SecIntercept, "txtSecIntercept", "secondary intercept", "TSecI", F::Text, I::Number},
    {P::ElectSlope, "txtElectSlope", "electronics slope", "TElectS", F::Text, I::Number},
    {P::ElectIntercept, "txtElectIntercept", "electronics intercept", "TElectI", F::Text,
     I::Number},
    {P::IntFanMode, "optIntFan", "internal fan mode", "IFMode", F::Int16, I::Choice, 0, 2},
    {P::IntFanSet, "udIntFanSet", "internal fan set point", "IFSet", F::Text, I::Whole, 0, 31},
    {P::IntFanHyst, "udIntFanHyst", "internal fan hysteresis", "IFHyst", F::Text, I::Whole, 0, 31},
    {P::FanThreshold, "UpDown1", "fan threshold", "CFThreshold", F::Text, I::Whole, 0, 255},
    {P::FanPulsePower, "UpDown2", "fan pulse power", "CFPulse", F::Text, I::Whole, 0, 100},
    {P::Kp, "txtKP", "proportional gain", "Kp", F::Text, I::Number},
    {P::Kd, "txtKd", "derivative gain", "Kd", F::Text, I::Number},
    {P::Deriv, "txtDeriv", "derivative setting", "Deriv", F::Text, I::Number},
    {P::Ki, "txtki", "integral gain", "Ki", F::Text, I::Number},
    {P::IntegralLimit, "txtil", "integral limit", "il", F::Text, I::Number},
    {P::Velocity, "txtVelocity", "velocity", "Velocity", F::Text, I::Number},
    {P::Acceleration, "txtAcc", "acceleration", "Acc", F::Text, I::Number},
    {P::AutoCurrent, "chkAutoCurrent", "automatic current", "OverCurrent", F::Int16, I::Flag},
    {P::DeadbandOn, "chkDeadband", "dead band", "StopDeadband", F::Int16, I::Flag},
    {P::Deadband, "txtDeadband", "dead band", "Deadband", F::Double, I::Number},
    {P::DeadbandSettle, "udDBSettle", "dead band settle time", "DeadbandTime", F::Int32, I::Whole,
     0, 10000},
    {P::ErrorComputer, "chkErrorComputer", "error reporting", "ErrorComputer", F::Int16, I::Flag},
    {P::ErrorHandheld, "chkErrorHandheld", "error reporting", "errorMivel", F::Int16, I::Flag},
    {P::HeaterKp, "txtSKp", "heater proportional gain", "sKp", F::Text, I::Number},
    {P::HeaterKd, "txtSKd", "heater derivative gain", "sKd", F::Text, I::Number},
    {P::HeaterKi, "txtSKi", "heater integral gain", "sKi", F::Text, I::Number},
    {P::HeaterDerivTime, "txtSDI", "heater derivative time", "sdi", F::Text, I::Number},
    {P::HeaterILimit, "txtSecKi", "heater integral limit", "sil", F::Text, I::Number},
    {P::StepSize, "txtStepSize", "step size", "", F::None, I::Number},
    {P::CheckTelescope, "chkTeleEastWest", "telescope check", "CheckTelescope", F::FlagText,
     I::Flag},
    {P::PromptTheSky, "chkPromptTheSky", "prompt", "PromptTheSky", F::Int16, I::Flag},
    {P::AutoReverse, "chkDornaLimit", "wrap limit reversal", "", F::None, I::Flag},
}};

constexpr bool tableInEnumOrder() {
    for (std::size_t i = 0; i < kParams.size(); ++i)
        if (std::size_t(kParams[i].param) != i)
            return false;
    return true;
}
static_assert(tableInEnumOrder(), "paramInfo() indexes the table by the enum");

struct ReplyParam {
    wire::Tag tag;
    Param param;
};

constexpr std::array kReplies{
    ReplyParam{wire::Tag::Slope1, P::AmbSlope},
    ReplyParam{wire::Tag::Offset1, P::AmbIntercept},
    ReplyParam{wire::Tag::Slope2, P::PrimSlope},
    ReplyParam{wire::Tag::Offset2, P::PrimIntercept},
    ReplyParam{wire::Tag::Slope3, P::SecSlope},
    ReplyParam{wire::Tag::Offset3, P::SecIntercept},
    ReplyParam{wire::Tag::Slope4, P::ElectSlope},
    ReplyParam{wire::Tag::Offset4, P::ElectIntercept},
    ReplyParam{wire::Tag::IntFanSet, P::IntFanSet},
    ReplyParam{wire::Tag::IntFanHyst, P::IntFanHyst},
    ReplyParam{wire::Tag::ParamFo, P::FanThreshold},
    ReplyParam{wire::Tag::ParamFp, P::FanPulsePower},
    ReplyParam{wire::Tag::ParamP, P::Kp},
    ReplyParam{wire::Tag::ParamR, P::Kd},
    ReplyParam{wire::Tag::ParamG, P::Deriv},
    ReplyParam{wire::Tag::ParamI, P::Ki},
    ReplyParam{wire::Tag::ParamL, P::IntegralLimit},
    ReplyParam{wire::Tag::Velocity, P::Velocity},
    ReplyParam{wire::Tag::Acceleration, P::Acceleration},
    ReplyParam{wire::Tag::ParamAc, P::AutoCurrent},
    ReplyParam{wire::Tag::ParamDb, P::DeadbandOn},
    ReplyParam{wire::Tag::DeadbandSettle, P::Deadband},
    ReplyParam{wire::Tag::DeadbandTime, P::DeadbandSettle},
    ReplyParam{wire::Tag::ErrorHandheld, P::ErrorHandheld},
    ReplyParam{wire::Tag::HeaterKp, P::HeaterKp},
    ReplyParam{wire::Tag::HeaterKd, P::HeaterKd},
    ReplyParam{wire::Tag::HeaterKi, P::HeaterKi},
    ReplyParam{wire::Tag::HeaterDerivTime, P::HeaterDerivTime},
    ReplyParam{wire::Tag::HeaterILimit, P::HeaterILimit},
};

std::optional<QString> wholeInRange(const ParamInfo& info, double value) {
    const auto whole = wire::roundToInt<int>(value);
    if (!whole || *whole != value || *whole < info.min || *whole > info.max)
        return std::nullopt;
    return QString::number(*whole);
}

} // namespace

std::span<const ParamInfo> params() {
    return kParams;
}

const ParamInfo& paramInfo(Param param) {
    return kParams[std::size_t(param)];
}

const ParamInfo* paramByFileKey(const QString& key) {
    for (const auto& info : kParams)
        if (!info.fileKey.empty() && key == QLatin1String(info.fileKey.data(), info.fileKey.size()))
            return &info;
    return nullptr;
}

std::optional<QString> acceptedValue(Param param, const QString& text) {
    const ParamInfo& info = paramInfo(param);
    const QString trimmed = text.trimmed();
    const auto number = wire::toNumber(trimmed.toStdString());
    if (!number)
        return std::nullopt;
    switch (info.input) {
    case Input::Number:
        return trimmed;
    case Input::Whole:
    case Input::Choice:
        return wholeInRange(info, *number);
    case Input::Flag:
        return QString::fromLatin1(*number != 0 ? "1" : "0");
    }
    return std::nullopt;
}

QString refusalReason(Param param, const QString& text) {
    const ParamInfo& info = paramInfo(param);
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return QStringLiteral("no value");
    const QString quoted = QLatin1Char('"') + trimmed + QLatin1Char('"');
    if (!wire::toNumber(trimmed.toStdString()))
        return quoted + QStringLiteral(" is not a number");
    if (info.input == Input::Whole || info.input == Input::Choice)
        return quoted +
               QStringLiteral(" is not a whole number from %1 to %2").arg(info.min).arg(info.max);
    return {};
}

std::optional<Param> replyParam(wire::Tag tag) {
    for (const auto& r : kReplies)
        if (r.tag == tag)
            return r.param;
    return std::nullopt;
}

std::optional<QString> replyValue(Param param, wire::Tag tag, double value) {
    const ParamInfo& info = paramInfo(param);
    switch (info.input) {
    case Input::Number:
        // Unscaled values are shown as the unit holds them: a gain of 2.5 must not read as 3.
        if (wire::tagInfo(tag).scale == 1)
            return QString::number(value, 'g', 15);
        return wire::displayText(tag, value);
    case Input::Whole:
    case Input::Choice:
        return wholeInRange(info, value);
    case Input::Flag:
        return QString::fromLatin1(value != 0 ? "1" : "0");
    }
    return std::nullopt;
}

} // namespace mivel::tempcomp
