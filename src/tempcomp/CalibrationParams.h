#pragma once

// The controller parameters the calibration window edits: one table holds each parameter with
// its control, its key and form in the parameter file, the kind of value it takes and the reply
// the unit reports it with.

#include "wire/Replies.h"

#include <QString>

#include <array>
#include <optional>
#include <span>
#include <string_view>

namespace mivel::tempcomp {

enum class Param : std::uint8_t {
    AmbSlope,
    AmbIntercept,
    PrimSlope,
    PrimIntercept,
    SecSlope,
    SecIntercept,
    ElectSlope,
    ElectIntercept,
    IntFanMode,
    IntFanSet,
    IntFanHyst,
    FanThreshold,
    FanPulsePower,
    Kp,
    Kd,
    Deriv,
    Ki,
    IntegralLimit,
    Velocity,
    Acceleration,
    AutoCurrent,
    DeadbandOn,
    Deadband,
    DeadbandSettle,
    ErrorComputer,
    ErrorHandheld,
    HeaterKp,
    HeaterKd,
    HeaterKi,
    HeaterDerivTime,
    HeaterILimit,
    StepSize,
    CheckTelescope,
    PromptTheSky,
    AutoReverse, // the rotator turns the long way round rather than pass its wrap limit
};
inline constexpr std::size_t ParamCount = std::size_t(Param::AutoReverse) + 1;

enum class Input : std::uint8_t {
    Number, // a text box that takes a decimal number
    Whole,  // a spin control: a whole number within its range
    Flag,   // a check box: "0" or "1"
    Choice, // an option array: the index of the checked option
};

// How the parameter file writes the value.
enum class FileForm : std::uint8_t {
    None,     // not in the file
    Text,     // in quotation marks, as the control shows it
    Int16,    // bare whole number
    Int32,    // bare whole number
    Double,   // bare decimal number
    FlagText, // "1" or "0" in quotation marks
};

struct ParamInfo {
    Param param;
    std::string_view control; // object name of the control in the window
    std::string_view label;   // for the message refusing a value
    std::string_view fileKey;
    FileForm form;
    Input input;
    int min = 0; // range of a spin control or option array
    int max = 0;
};

std::span<const ParamInfo> params();
const ParamInfo& paramInfo(Param param);
const ParamInfo* paramByFileKey(const QString& key);

// The value in the form the window keeps it (trimmed text, whole number, "0"/"1"), or nothing
// when the parameter cannot take it.
std::optional<QString> acceptedValue(Param param, const QString& text);
// Why the parameter does not take the text, for the user: "no value", "\"x\" is not a number",
// "\"32\" is not a whole number from 0 to 31"; empty when it does take it.
QString refusalReason(Param param, const QString& text);

// The parameter a reply of the unit shows, if any. The internal fan mode comes from two replies
// together and is not among them.
std::optional<Param> replyParam(wire::Tag tag);
// The reply's value as the parameter's control shows it, or nothing when it does not take it.
std::optional<QString> replyValue(Param param, wire::Tag tag, double value);

} // namespace mivel::tempcomp
