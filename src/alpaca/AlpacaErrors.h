#pragma once

#include "link/AutomationError.h"

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
    PortFailure = 0x501, // the serial device failed
    UnitFailure = 0x502, // any other failure of the unit or its link
};

struct Error {
    int number = NoError;
    QString message;
};

// The one place where an error recorded by a driver member becomes an Alpaca error. The message
// is the member's own description; the number comes from the table in the implementation. A
// driver may also state the Alpaca number itself: a number already in 0x400..0xFFF is kept as
// it stands (the objects' own numbers are 0 and 1, so the two never meet).
Error fromAutomationError(const AutomationError& error);

} // namespace mivel::alpaca
