#pragma once

#include "core/Error.h"

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

// An error as an Alpaca reply carries it.
struct ReplyError {
    int number = NoError;
    QString message;
};

// The one place where an error becomes an Alpaca error: its kind gives the number.
int errorNumber(ErrorKind kind);

// An error a driver member recorded, as its reply reports it: the number of its kind, and the
// member's own description as the message.
ReplyError replyError(const Error& error);

} // namespace mivel::alpaca
