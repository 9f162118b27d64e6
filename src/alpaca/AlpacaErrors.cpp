#include "AlpacaErrors.h"

#include "drivers/DriverErrors.h"
#include "link/Serial.h"

#include <array>

namespace mivel::alpaca {
namespace {

struct KindNumber {
    DriverErrorKind kind;
    int number;
};

constexpr std::array<KindNumber, 8> Numbers{{
    {DriverErrorKind::NotLinked, NotConnected},
    {DriverErrorKind::OutOfRange, InvalidValue},
    {DriverErrorKind::InvalidValue, InvalidValue},
    {DriverErrorKind::WrongMode, InvalidOperation},
    {DriverErrorKind::NotKnown, ValueNotSet},
    {DriverErrorKind::NoAnswer, NoResponse},
    {DriverErrorKind::NotImplemented, NotImplemented},
    {DriverErrorKind::UnitFailure, UnitFailure},
}};

// A unit failure that the serial port object raised says more: a receive that timed out is a
// unit that did not answer; a device error is the port itself failing.
int refineUnitFailure(const AutomationError& e) {
    if (e.source != Serial::ErrorSource)
        return UnitFailure;
    if (e.number == Serial::ErrorTimeout)
        return NoResponse;
    return e.number == Serial::ErrorDevice ? PortFailure : UnitFailure;
}

} // namespace

Error fromAutomationError(const AutomationError& e) {
    const QString message = e.description.isEmpty()
                                ? QStringLiteral("Error %1 from %2").arg(e.number).arg(e.source)
                                : e.description;
    const DriverErrorKind kind = errorKind(e);
    if (kind == DriverErrorKind::UnitFailure)
        return {refineUnitFailure(e), message};
    for (const KindNumber& k : Numbers)
        if (k.kind == kind)
            return {k.number, message};
    return {UnitFailure, message};
}

} // namespace mivel::alpaca
