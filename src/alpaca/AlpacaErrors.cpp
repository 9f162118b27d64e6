#include "AlpacaErrors.h"

namespace mivel::alpaca {

int errorNumber(ErrorKind kind) {
    // No default: a new kind does not compile (with warnings as errors) until it has a number.
    switch (kind) {
    case ErrorKind::NotLinked:
        return NotConnected;
    case ErrorKind::OutOfRange:
    case ErrorKind::InvalidValue:
        return InvalidValue;
    case ErrorKind::WrongMode:
        return InvalidOperation;
    case ErrorKind::NotKnown:
        return ValueNotSet;
    case ErrorKind::NoAnswer:
        return NoResponse;
    case ErrorKind::NotImplemented:
        return NotImplemented;
    case ErrorKind::PortFailure:
        return PortFailure;
    case ErrorKind::Unavailable:
    case ErrorKind::OtherFailure:
        return UnitFailure;
    }
    return UnitFailure;
}

ReplyError replyError(const Error& e) {
    const QString message = e.description.isEmpty()
                                ? QStringLiteral("Error %1 from %2").arg(e.number).arg(e.source)
                                : e.description;
    return {errorNumber(e.kind), message};
}

} // namespace mivel::alpaca
