#pragma once

// The unit's reply tags: one table holds every tag with its field, the conversion from wire
// units and the format it is displayed with. Receivers look tags up here instead of comparing
// strings of their own.

#include <QString>

#include <cstdint>
#include <span>
#include <string_view>

namespace mivel::wire {

enum class Tag : std::uint8_t {
    FocusTarget,         // :s
    FocusActual,         // :a
    FocusHomed,          // :h
    MotorCurrent,        // :mc
    MotorOn,             // :mo
    ForceMotorOff,       // :mb
    FocusError,          // :e
    Diagnostic,          // :d
    Ambient,             // :t1
    Primary,             // :t2
    Secondary,           // :t3
    RawAmbient,          // :t4
    RawPrimary,          // :t5
    RawSecondary,        // :t6
    Electronics,         // :t7
    CompSensorRaw,       // :tca
    Slope1,              // :sl1
    Slope2,              // :sl2
    Slope3,              // :sl3
    Slope4,              // :sl4
    Offset1,             // :of1
    Offset2,             // :of2
    Offset3,             // :of3
    Offset4,             // :of4
    FanMode,             // :fm
    FanPower,            // :fs
    FanGain,             // :fg
    FanDeadBand,         // :ft
    HeaterMode,          // :sm
    HeaterPower,         // :ss
    HeaterSetPoint,      // :st
    Dew1Power,           // :d1
    Dew2Power,           // :d2
    RotatorTarget,       // :rs
    RotatorActual,       // :rt
    Wrap,                // :wr
    RotatorHomed,        // :rh
    FocusRecord,         // :frp
    RotatorRecord,       // :rrp
    ImageRotatorRecord,  // :ims
    TempCompMode,        // :tc
    TempCompCoefficient, // :tcc
    TempCompThreshold,   // :tcm
    Probe,               // :!
    Version,             // :vr
    LoaderStatus,        // :x
    // Controller parameters, shown by the calibration window.
    ParamP,
    ParamR,
    ParamI,
    ParamL,
    ParamG,
    Velocity,
    Acceleration,
    ParamFo,
    ParamFp,
    IntFanOn,
    IntFanAuto,
    IntFanSet,
    IntFanHyst,
    ParamAc,
    ParamDb,
    DeadbandTime,
    DeadbandSettle,
    ErrorHandheld,
    HeaterKp,
    HeaterKd,
    HeaterKi,
    HeaterDerivTime,
    HeaterILimit,
};

enum class ValueKind : std::uint8_t {
    Number, // must be numeric; other values are ignored
    Text,   // taken as it stands (version text, "*" or a number for :d)
    Any,    // any token, empty ones included (:!)
    Char,   // one character whose code is the value (:x)
};

struct TagInfo {
    Tag tag;
    std::string_view wire;
    ValueKind kind;
    double scale;            // display value = wire value x scale
    std::string_view format; // display format; empty when the value is not shown as a number
    std::string_view field;
};

std::span<const TagInfo> replyTags();
// The table entry for a tag as received, or nullptr for a tag nobody handles.
const TagInfo* findTag(std::string_view wire);
const TagInfo& tagInfo(Tag tag);

// The wire value in display units (degrees, amperes, ...).
double displayValue(Tag tag, double wireValue);
// The wire value as the console shows it, e.g. :t1 -1250 -> "-12.5", :mc 0 -> "< 0.65".
QString displayText(Tag tag, double wireValue);

// Motor current: amperes = raw x 0.000226 + 0.65; exactly 0 reads "< 0.65".
QString motorCurrentText(double raw);
// Calibrated compensation-sensor temperature: raw x slope + offset.
inline double compSensorTemperature(double raw, double slope, double offset) {
    return raw * slope + offset;
}

} // namespace mivel::wire
