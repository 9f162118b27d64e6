#pragma once

#include <optional>
#include <string_view>

// The unit's own vocabulary: the command words it reads and the reply tags it writes. The
// simulated unit takes every word from here and from nowhere else, so that it speaks the unit's
// language even where the PC program's tables might be wrong.
namespace mivel::sim {

namespace word {
// Queries.
inline constexpr std::string_view Probe = "!";
inline constexpr std::string_view Version = "V";
inline constexpr std::string_view FocusStatus = "Q";
inline constexpr std::string_view Temperatures = "T";
inline constexpr std::string_view RotatorStatus = "R";
inline constexpr std::string_view DiagnosticPoll = "d";
inline constexpr std::string_view TempCompParams = "l";
inline constexpr std::string_view ConsoleStart = "J";
inline constexpr std::string_view TempCompPrepare = ":V";
inline constexpr std::string_view FocusHomedQuery = "o";
inline constexpr std::string_view RotatorHomedQuery = "H";
inline constexpr std::string_view ReadParams = "G";
inline constexpr std::string_view ReadMoreParams = "<";
// Focuser.
inline constexpr std::string_view FocusMove = "b";
inline constexpr std::string_view FocusStep = "m";
inline constexpr std::string_view FocusHome = "h"; // acted on with no closing space
inline constexpr std::string_view FocusStop = "S";
inline constexpr std::string_view ForceMotorOff = "U";
inline constexpr std::string_view RecordFocus = "f";
inline constexpr std::string_view RecallFocus = "`";
inline constexpr std::string_view MirrorSpacing = "E"; // whole number
// Temperature compensation.
inline constexpr std::string_view TempCompMode = "+";
inline constexpr std::string_view TempCompCoefficient = "=";
inline constexpr std::string_view TempCompThreshold = "F"; // whole number
// Rotator.
inline constexpr std::string_view RotatorHome = "r";
inline constexpr std::string_view RotatorMove = "j";
inline constexpr std::string_view RotatorStep = "q";
inline constexpr std::string_view RotatorAbsolute = "|";
inline constexpr std::string_view WrapZero = "i";
inline constexpr std::string_view RecordRotator = "v";
inline constexpr std::string_view ResetRotatorAngle = "p";
inline constexpr std::string_view RecallRotator = "/";
// Fan, heaters, the console's limits spinner.
inline constexpr std::string_view FanMode = "n";
inline constexpr std::string_view FanPower = "y";
inline constexpr std::string_view FanGain = "g";
inline constexpr std::string_view FanDeadBand = "O";
inline constexpr std::string_view HeaterMode = "w";
inline constexpr std::string_view HeaterPower = "s";
inline constexpr std::string_view HeaterSetPoint = "P";
inline constexpr std::string_view Dew1Power = "c";
inline constexpr std::string_view Dew2Power = "k";
inline constexpr std::string_view Limits = "t";
// Sensor calibration: slopes, then intercepts, of the ambient, primary and secondary sensors.
// "E" and "F" carry a decimal point here and a whole number as the commands above.
inline constexpr std::string_view Sensor1Slope = "A";
inline constexpr std::string_view Sensor2Slope = "B";
inline constexpr std::string_view Sensor3Slope = "C";
inline constexpr std::string_view Sensor1Intercept = "D";
inline constexpr std::string_view Sensor2Intercept = "E";
inline constexpr std::string_view Sensor3Intercept = "F";
// Controller parameter upload; several words mean something else outside it.
inline constexpr std::string_view InternalFanOn = "{";
inline constexpr std::string_view InternalFanAuto = "}";
inline constexpr std::string_view InternalFanSet = "[";
inline constexpr std::string_view InternalFanHyst = "]";
inline constexpr std::string_view FanThreshold = "@";
inline constexpr std::string_view FanPulse = "z";
inline constexpr std::string_view MotorPGain = "p";
inline constexpr std::string_view MotorDGain = "d";
inline constexpr std::string_view MotorDeriv = "e";
inline constexpr std::string_view MotorIGain = "i";
inline constexpr std::string_view MotorILimit = "j";
inline constexpr std::string_view Velocity = "v";
inline constexpr std::string_view Acceleration = "a";
inline constexpr std::string_view AutoCurrent = "N";
inline constexpr std::string_view ErrorHandheld = "K";
inline constexpr std::string_view DeadbandOn = "X";
inline constexpr std::string_view Deadband = "Y";
inline constexpr std::string_view DeadbandSettle = "W";
inline constexpr std::string_view HeaterPGain = "L";
inline constexpr std::string_view HeaterDGain = "^";
inline constexpr std::string_view HeaterDTime = "?";
inline constexpr std::string_view HeaterIGain = "#";
inline constexpr std::string_view HeaterILimit = "~";
inline constexpr std::string_view EndUpload = "u"; // acted on with no closing space
// Firmware loader.
inline constexpr std::string_view LoaderEnter = "x";
inline constexpr std::string_view LoaderErase = "E";   // loader only, no closing space
inline constexpr std::string_view LoaderProgram = "P"; // loader only, no closing space
} // namespace word

namespace tag {
// Focuser status.
inline constexpr std::string_view FocusTarget = ":s";
inline constexpr std::string_view FocusActual = ":a";
inline constexpr std::string_view FocusHomed = ":h";
inline constexpr std::string_view MotorCurrent = ":mc";
inline constexpr std::string_view MotorOn = ":mo";
inline constexpr std::string_view ForceMotorOff = ":mb";
inline constexpr std::string_view FocusError = ":e";
inline constexpr std::string_view FocusRecord = ":frp";
inline constexpr std::string_view Diagnostic = ":d";
// Temperatures and the thermal loops.
inline constexpr std::string_view Ambient = ":t1";
inline constexpr std::string_view Primary = ":t2";
inline constexpr std::string_view Secondary = ":t3";
inline constexpr std::string_view RawAmbient = ":t4";
inline constexpr std::string_view RawPrimary = ":t5";
inline constexpr std::string_view RawSecondary = ":t6";
inline constexpr std::string_view Electronics = ":t7";
inline constexpr std::string_view CompSensorRaw = ":tca";
inline constexpr std::string_view FanMode = ":fm";
inline constexpr std::string_view FanPower = ":fs";
inline constexpr std::string_view FanGain = ":fg";
inline constexpr std::string_view FanDeadBand = ":ft";
inline constexpr std::string_view HeaterMode = ":sm";
inline constexpr std::string_view HeaterPower = ":ss";
inline constexpr std::string_view HeaterSetPoint = ":st";
inline constexpr std::string_view Dew1Power = ":d1";
inline constexpr std::string_view Dew2Power = ":d2";
// Sensor calibration, x 100000.
inline constexpr std::string_view Slope[4] = {":sl1", ":sl2", ":sl3", ":sl4"};
inline constexpr std::string_view Offset[4] = {":of1", ":of2", ":of3", ":of4"};
// Rotator.
inline constexpr std::string_view RotatorTarget = ":rs";
inline constexpr std::string_view RotatorActual = ":rt";
inline constexpr std::string_view Wrap = ":wr";
inline constexpr std::string_view RotatorHomed = ":rh";
inline constexpr std::string_view RotatorRecord = ":rrp";
// Temperature compensation.
inline constexpr std::string_view TempCompMode = ":tc";
inline constexpr std::string_view TempCompCoefficient = ":tcc";
inline constexpr std::string_view TempCompThreshold = ":tcm";
// Link, version, loader.
inline constexpr std::string_view Probe = ":!";
inline constexpr std::string_view Version = ":vr";
inline constexpr std::string_view LoaderStatus = ":x";
// Controller parameters.
inline constexpr std::string_view MotorPGain = ":p";
inline constexpr std::string_view MotorDGain = ":r";
inline constexpr std::string_view MotorIGain = ":i";
inline constexpr std::string_view MotorILimit = ":l";
inline constexpr std::string_view MotorDeriv = ":g";
inline constexpr std::string_view Velocity = ":v";
inline constexpr std::string_view Acceleration = ":c";
inline constexpr std::string_view FanThreshold = ":fo";
inline constexpr std::string_view FanPulse = ":fp";
inline constexpr std::string_view InternalFanOn = ":ifo";
inline constexpr std::string_view InternalFanAuto = ":ifa";
inline constexpr std::string_view InternalFanSet = ":ifs";
inline constexpr std::string_view InternalFanHyst = ":ifh";
inline constexpr std::string_view AutoCurrent = ":ac";
inline constexpr std::string_view DeadbandOn = ":db";
inline constexpr std::string_view DeadbandSettle = ":dbt";
inline constexpr std::string_view Deadband = ":dbs";
inline constexpr std::string_view ErrorHandheld = ":eh";
inline constexpr std::string_view HeaterPGain = ":skp";
inline constexpr std::string_view HeaterDGain = ":skd";
inline constexpr std::string_view HeaterIGain = ":ski";
inline constexpr std::string_view HeaterDTime = ":sdi";
inline constexpr std::string_view HeaterILimit = ":sil";
} // namespace tag

// A number as the unit's input routine reads it: an optional "-", digits, and an optional
// fraction after a full stop. No "+", no exponent, no blanks; anything else is not a number.
std::optional<double> plainDecimal(std::string_view text);

} // namespace mivel::sim
