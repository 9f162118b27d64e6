#pragma once

#include "core/AutomationError.h"

#include <QString>

namespace mivel::alpaca {

// Alpaca error numbers this server reports.
enum ErrorNumber : int {
    NoError = 0,
    NotImplemented = 0x400,
    InvalidValue = 0x401,
    ValueNotSet = 0x402,
    NotConnected = 0x407,
    InvalidOperation = 0x40B,
    ActionNotImplemented = 0x40C,
    // The driver-specific range starts at 0x500.
    NoResponse = 0x500,  // the unit did not answer
    PortFailure = 0x501, // the serial device failed (it would not open, it went away)
    UnitFailure = 0x502, // any other failure
};

struct Error {
    int number = NoError;
    QString message;
};

// The one place where an error recorded by a driver member becomes an Alpaca error: the driver
// objects say what kind of failure each of their errors is, and the table in the implementation
// gives each kind its number. The message is the member's own description.
Error fromAutomationError(const AutomationError& error);

} // namespace mivel::alpaca
