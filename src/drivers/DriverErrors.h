#pragma once

#include "core/AutomationError.h"

#include <optional>
#include <span>

namespace mivel {

// What kind of failure an error of a driver object is. The automation transport turns a kind
// into its protocol's error number in one place; the objects themselves raise exactly the
// numbers, sources and descriptions their clients have always seen.
enum class DriverErrorKind {
    NotLinked,      // the port is not open or the object is not linked
    OutOfRange,     // an argument outside the member's range
    InvalidValue,   // an argument that is not a number, or not of the member's type
    WrongMode,      // refused in the current mode (compensation active, mode not manual)
    NotKnown,       // the value has not been reported by the unit yet
    NoAnswer,       // the unit did not answer
    NotImplemented, // the member needs something this process does not have (a window)
    UnitFailure,    // anything else: a failing serial device, an unknown error
};

struct DriverError {
    AutomationError error;
    DriverErrorKind kind;
};

namespace errors {

using K = DriverErrorKind;

// Focuser.
inline const DriverError NoResponseFromFocuser{{1, "0", "No response from focuser"}, K::NoAnswer};
inline const DriverError SerialLinkNotEstablished{{0, "Mivel", "Serial link not established"},
                                                  K::NotLinked};
inline const DriverError TempCompActive{
    {0, "Mivel", "Temperature compensation active, focus movement not allowed."}, K::WrongMode};
inline const DriverError CoefficientUnavailable{
    {0, "Mivel", "Temperature compensation coefficient currently unavailable, try again."},
    K::NotKnown};
inline const DriverError CoefficientOutOfRange{
    {0, "Mivel", "Temperature compensation coefficient value out of range."}, K::OutOfRange};
inline const DriverError ThresholdUnavailable{
    {0, "Mivel", "Temperature compensation movement threshold currently unavailable, try again."},
    K::NotKnown};
inline const DriverError ThresholdOutOfRange{
    {0, "Mivel", "Temperature compensation movement threshold value out of range."}, K::OutOfRange};

// Rotator and Temperature.
inline const DriverError NoResponseFromMivel{{1, "0", "No response from Mivel"}, K::NoAnswer};
inline const DriverError RotatorNotLinked{{0, "Vark", "Rotator not linked"}, K::NotLinked};
inline const DriverError LimitOutOfRange{{0, "Vark", "Value out of range."}, K::OutOfRange};
// The negative limit reports the positive limit's text as well.
inline const DriverError LimitNotNumeric{{0, "Vark", "PosPositionLimit must be numeric."},
                                         K::InvalidValue};
inline const DriverError IllegalUnwrap{{1, "0", "Illegal unwrap value."}, K::InvalidValue};
inline const DriverError IllegalWrapLimit{{1, "0", "Illegal wrap limit value."}, K::OutOfRange};
inline const DriverError ResetAngleOutOfRange{
    {0, "Mivel.ROTATOR", "Reset Position Angle out of range"}, K::OutOfRange};

inline const DriverError FanModeOutOfRange{{0, "Mivel", "Fan Mode value out of range."},
                                           K::OutOfRange};
inline const DriverError FanNotManual{{0, "Mivel", "Fan Mode is not Manual."}, K::WrongMode};
inline const DriverError FanSpeedOutOfRange{{0, "Mivel", "Fan Speed value out of range."},
                                            K::OutOfRange};
inline const DriverError DeadbandOutOfRange{{0, "Mivel", "Deadband value out of range."},
                                            K::OutOfRange};
inline const DriverError AggressivenessOutOfRange{
    {0, "Mivel", "Aggressiveness value out of range."}, K::OutOfRange};
inline const DriverError HeaterModeOutOfRange{
    {0, "Mivel", "Secondary heater mode value out of range."}, K::OutOfRange};
inline const DriverError HeaterNotManual{{0, "Mivel", "Secondary heater mode is not Manual."},
                                         K::WrongMode};
inline const DriverError HeaterPowerOutOfRange{{0, "Mivel", "Secondary Power value out of range."},
                                               K::OutOfRange};
inline const DriverError SetpointOutOfRange{
    {0, "Mivel", "Secondary heater setpoint value out of range."}, K::OutOfRange};
inline const DriverError Dew1OutOfRange{{0, "Mivel", "Dew heater 1 Power value out of range."},
                                        K::OutOfRange};
inline const DriverError Dew2OutOfRange{{0, "Mivel", "Dew heater 2 Power value out of range."},
                                        K::OutOfRange};

// Every object: a link attempt still probing when the link was closed.
inline const DriverError LinkCancelled{
    {0, "Mivel", "Link attempt cancelled: the link was closed while the unit was being probed."},
    K::NotLinked};
inline const DriverError LinkLost{
    {0, "Mivel", "The link to the unit was lost; reconnecting when it comes back."}, K::NotLinked};

// Raised while an argument is converted to the member's type, before the member runs.
inline const DriverError TypeMismatch{{13, "Mivel", "Type mismatch"}, K::InvalidValue};
inline const DriverError Overflow{{6, "Mivel", "Overflow"}, K::InvalidValue};

// Members that open a window, when the process runs without its console.
inline const DriverError SetupDialogUnavailable{
    {0x400, "Mivel", "SetupDialog is not available: mivel runs without its console windows."},
    K::NotImplemented};
inline const DriverError ShowFormUnavailable{
    {0x400, "Mivel", "ShowForm is not available: mivel runs without its console windows."},
    K::NotImplemented};

} // namespace errors

// Every error the driver objects raise.
std::span<const DriverError* const> driverErrors();

// The kind of an error a member recorded; errors that are not the objects' own (a serial device
// failure) are unit failures.
DriverErrorKind errorKind(const AutomationError& error);

// A member name the object does not have, or a get, let or call it does not support.
AutomationError noSuchMember(const QString& object, const QString& member);

} // namespace mivel
