#pragma once

#include "core/Error.h"

namespace mivel {

// The errors the driver objects raise, each with its kind; the numbers, sources and descriptions
// are exactly those their clients have always seen.
namespace errors {

using K = ErrorKind;

// Focuser.
inline const Error NoResponseFromFocuser{K::NoAnswer, 1, "0", "No response from focuser"};
inline const Error SerialLinkNotEstablished{K::NotLinked, 0, "Mivel",
                                            "Serial link not established"};
inline const Error TempCompActive{K::WrongMode, 0, "Mivel",
                                  "Temperature compensation active, focus movement not allowed."};
inline const Error CoefficientUnavailable{
    K::NotKnown, 0, "Mivel",
    "Temperature compensation coefficient currently unavailable, try again."};
inline const Error CoefficientOutOfRange{
    K::OutOfRange, 0, "Mivel", "Temperature compensation coefficient value out of range."};
inline const Error ThresholdUnavailable{
    K::NotKnown, 0, "Mivel",
    "Temperature compensation movement threshold currently unavailable, try again."};
inline const Error ThresholdOutOfRange{
    K::OutOfRange, 0, "Mivel", "Temperature compensation movement threshold value out of range."};

// Rotator and Temperature.
inline const Error NoResponseFromMivel{K::NoAnswer, 1, "0", "No response from Mivel"};
inline const Error RotatorNotLinked{K::NotLinked, 0, "Vark", "Rotator not linked"};
inline const Error LimitOutOfRange{K::OutOfRange, 0, "Vark", "Value out of range."};
// The negative limit reports the positive limit's text as well.
inline const Error LimitNotNumeric{K::InvalidValue, 0, "Vark", "PosPositionLimit must be numeric."};
inline const Error IllegalUnwrap{K::InvalidValue, 1, "0", "Illegal unwrap value."};
inline const Error IllegalWrapLimit{K::OutOfRange, 1, "0", "Illegal wrap limit value."};
inline const Error ResetAngleOutOfRange{K::OutOfRange, 0, "Mivel.ROTATOR",
                                        "Reset Position Angle out of range"};

inline const Error FanModeOutOfRange{K::OutOfRange, 0, "Mivel", "Fan Mode value out of range."};
inline const Error FanNotManual{K::WrongMode, 0, "Mivel", "Fan Mode is not Manual."};
inline const Error FanSpeedOutOfRange{K::OutOfRange, 0, "Mivel", "Fan Speed value out of range."};
inline const Error DeadbandOutOfRange{K::OutOfRange, 0, "Mivel", "Deadband value out of range."};
inline const Error AggressivenessOutOfRange{K::OutOfRange, 0, "Mivel",
                                            "Aggressiveness value out of range."};
inline const Error HeaterModeOutOfRange{K::OutOfRange, 0, "Mivel",
                                        "Secondary heater mode value out of range."};
inline const Error HeaterNotManual{K::WrongMode, 0, "Mivel",
                                   "Secondary heater mode is not Manual."};
inline const Error HeaterPowerOutOfRange{K::OutOfRange, 0, "Mivel",
                                         "Secondary Power value out of range."};
inline const Error SetpointOutOfRange{K::OutOfRange, 0, "Mivel",
                                      "Secondary heater setpoint value out of range."};
inline const Error Dew1OutOfRange{K::OutOfRange, 0, "Mivel",
                                  "Dew heater 1 Power value out of range."};
inline const Error Dew2OutOfRange{K::OutOfRange, 0, "Mivel",
                                  "Dew heater 2 Power value out of range."};

// Focuser and Rotator: a stored position asked for by a record number the list does not have.
inline const Error NoSuchRecord{K::OutOfRange, 0, "Vark",
                                "There is no stored position of that number."};

// Every object: a link attempt still probing when the link was closed.
inline const Error LinkCancelled{
    K::NotLinked, 0, "Mivel",
    "Link attempt cancelled: the link was closed while the unit was being probed."};
inline const Error LinkLost{K::NotLinked, 0, "Mivel",
                            "The link to the unit was lost; reconnecting when it comes back."};

// Raised while an argument is converted to the member's type, before the member runs.
inline const Error TypeMismatch{K::InvalidValue, 13, "Mivel", "Type mismatch"};
inline const Error Overflow{K::InvalidValue, 6, "Mivel", "Overflow"};

// Members that open a window, when the process runs without its console.
inline const Error SetupDialogUnavailable{
    K::NotImplemented, 0x400, "Mivel",
    "SetupDialog is not available: mivel runs without its console windows."};
inline const Error ShowFormUnavailable{
    K::NotImplemented, 0x400, "Mivel",
    "ShowForm is not available: mivel runs without its console windows."};

} // namespace errors

// A member name the object does not have, or a get, let or call it does not support.
Error noSuchMember(const QString& object, const QString& member);

} // namespace mivel
