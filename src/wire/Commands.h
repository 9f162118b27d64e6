#pragma once

// Every command the program sends to the unit: a command word of one or two characters, its
// argument if it has one, and one closing space. A few words are written without the closing
// space ("h", "u" and the loader's "E" and "P"); many senders put one extra space in front
// (" Q "), which the unit ignores and which is kept exactly as each sender writes it.

#include <QByteArray>
#include <QString>

#include <concepts>
#include <cstdint>
#include <span>
#include <string_view>

namespace mivel::wire {

enum class Cmd : std::uint8_t {
    Probe,               // "!"   link probe, answered by :!
    Version,             // "V"   firmware version, answered by :vr
    FocusStatus,         // "Q"   :s :a :h :tc :frp and related
    Temperatures,        // "T"   :t1...:t7 :fm :fs :fg :ft :sm :ss :st :d1 :d2
    RotatorStatus,       // "R"   :rs :rt :wr
    DiagnosticPoll,      // "d"   with 0: the console's fourth-tab poll
    TempCompParams,      // "l"   :tcc :tcm :tc and the sensor calibration
    ConsoleStart,        // "J"   sent once when the console starts
    FocusMove,           // "b"n  absolute focus move
    FocusHomedQuery,     // "o"   answered by :h
    FocusHome,           // "h"   no closing space
    FocusStop,           // "S"
    ForceMotorOff,       // "U"n  0 clears, 32 sets
    RecordFocus,         // "f"
    RecallFocus,         // "`"n  1 on, 0 off
    TempCompMode,        // "+"n  0 off, 1 automatic, 2 manual (also the manual synch)
    TempCompCoefficient, // "="n coefficient x slope x 1000
    TempCompThreshold,   // "F"n  movement threshold, counts
    TempCompPrepare,     // ":V"  sent before the compensation dialog opens
    MirrorSpacing,       // "E"n  ideal mirror spacing position
    RotatorHome,         // "r"
    RotatorMove,         // "j"n  relative, 1/200 degree
    RotatorHomedQuery,   // "H"   answered by :rh
    RotatorStep,         // "q"n  relative, 1/200 degree; q0 stops
    FocusStep,           // "m"n  relative focus move, counts
    WrapZero,            // "i"
    RecordRotator,       // "v"
    ResetRotatorAngle,   // "p"n  declare the current angle, 0 to one turn
    RecallRotator,       // "/"n  1 on, 0 off
    RotatorAbsolute,     // "|"n  absolute rotator move, 0 to one turn
    FanMode,             // "n"n  1 or 2
    FanPower,            // "y"n  manual fan power, percent
    FanGain,             // "g"n  fan loop aggressiveness
    FanDeadBand,         // "O"n  fan loop dead band
    HeaterMode,          // "w"n  1 or 2
    HeaterPower,         // "s"n  manual secondary heater power, percent
    HeaterSetPoint,      // "P"n  secondary heater set point
    Dew1Power,           // "c"n
    Dew2Power,           // "k"n
    Limits,              // "t"n  the console's limits spinner
    HeaterPGain,         // "L"n  x 100
    HeaterDGain,         // "^"n  x 100
    HeaterDTime,         // "?"v  text as shown
    HeaterIGain,         // "#"n  x 100
    HeaterILimit,        // "~"v  text as shown
    LoaderEnter,         // "x"   answered by :x
    LoaderErase,         // "E"   no closing space; loader only
    LoaderProgram,       // "P"   no closing space; loader only, S-records follow
    InternalFanOn,       // "{"n  0 or 255
    InternalFanOther,    // "}"n  255
    InternalFanSet,      // "["n
    InternalFanHyst,     // "]"n
    ParamAt,             // "@"n
    ParamZ,              // "z"n
    MotorPGain,          // "p"v
    MotorDGain,          // "d"v
    MotorDeriv,          // "e"v
    MotorIGain,          // "i"v
    MotorILimit,         // "j"v  same word as the rotator move; sent so by the upload
    Velocity,            // "v"n  x 65536
    Acceleration,        // "a"n  x 65536
    AutoCurrent,         // "N"n  0 or 255
    ErrorHandheld,       // "K"n  0 or 255
    DeadbandOn,          // "X"n  0 or 255
    Deadband,            // "Y"v
    DeadbandSettle,      // "W"n
    EndUpload,           // "u"   no closing space
    Sensor1Slope,        // "A"v  "0.0000000"
    Sensor2Slope,        // "B"v
    Sensor3Slope,        // "C"v
    Sensor1Intercept,    // "D"v
    Sensor2Intercept,    // "E"v
    Sensor3Intercept,    // "F"v
    ReadParams,          // "G"   controller parameters
    ReadMoreParams,      // "<"   further controller parameters
};

struct CommandInfo {
    Cmd cmd;
    std::string_view word;
    bool closingSpace; // false for the words written bare
    std::string_view meaning;
};

std::span<const CommandInfo> commands();
const CommandInfo& commandInfo(Cmd cmd);

enum class Lead : std::uint8_t { None, Space };

// The command with no argument: command(Cmd::FocusStatus, Lead::Space) is " Q ".
QByteArray command(Cmd cmd, Lead lead = Lead::None);
// With a whole-number argument: command(Cmd::FocusMove, 12500) is "b12500 ".
QByteArray integerCommand(Cmd cmd, std::int64_t argument, Lead lead);
template <std::integral Int> QByteArray command(Cmd cmd, Int argument, Lead lead = Lead::None) {
    return integerCommand(cmd, std::int64_t(argument), lead);
}
// With an argument written as text: command(Cmd::HeaterSetPoint, "2.5") is "P2.5 ". A number
// goes out in plain decimal (see plainDecimal): "1e-5" is written "0.00001".
QByteArray command(Cmd cmd, const QString& argument, Lead lead = Lead::None);
template <std::size_t N>
QByteArray command(Cmd cmd, const char (&argument)[N], Lead lead = Lead::None) {
    return command(cmd, QString::fromLatin1(argument), lead);
}
// Fractional values have no implicit form on the wire: say how they are written (decimalText,
// or a rounding to an integer).
template <std::floating_point Real>
QByteArray command(Cmd cmd, Real argument, Lead lead = Lead::None) = delete;
// The six sensor coefficient uploads write their value with seven decimals: "A0.5000000 ".
QByteArray sensorCoefficient(Cmd cmd, double value);
// A single-precision value as a plain decimal number, the shortest that reads back the same:
// "2.5", "-0.1", "10", "0.00001", "12345678". The unit reads no exponent.
QString decimalText(double value);
// A number typed as text, in the form the unit reads: kept as written when it is plain decimal
// already ("2.50", "-3"), else written out in full ("1e-5" is "0.00001", "+3" is "3"). Text that
// is not a number is returned as it is.
QString plainDecimal(const QString& text);

} // namespace mivel::wire
