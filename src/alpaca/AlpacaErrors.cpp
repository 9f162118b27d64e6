#include "AlpacaErrors.h"

#include "link/Serial.h"

#include <array>

namespace mivel::alpaca {
namespace {

// What the driver objects' error descriptions say, and what that is in Alpaca terms. First match
// wins; a phrase matches anywhere in the description, ignoring case. The objects' texts are fixed
// (for example "Temperature compensation active, focus movement not allowed."), so a phrase is
// enough to tell them apart.
struct Phrase {
    const char* text;
    int number;
};
constexpr std::array<Phrase, 13> Phrases{{
    {"not implemented", NotImplemented},
    {"not linked", NotConnected},           // "Rotator not linked"
    {"link not established", NotConnected}, // "Serial link not established"
    {"port is not open", NotConnected},     // "The communications port is not open."
    {"port not open", NotConnected},
    {"out of range", InvalidValue},         // every setter's range message
    {"must be numeric", InvalidValue},      // "PosPositionLimit must be numeric."
    {"illegal", InvalidValue},              // "Illegal unwrap value.", "Illegal wrap limit value."
    {"currently unavailable", ValueNotSet}, // coefficient and threshold not yet known
    {"is not manual", InvalidOperation},    // "Fan Mode is not Manual."
    {"compensation active", InvalidOperation},
    {"no response", NoResponse}, // "No response from focuser", "No response from Mivel"
    {"did not answer", NoResponse},
}};

// The serial port object's own errors, by number.
int serialPortError(qint64 number) {
    if (number == Serial::ErrorTimeout)
        return NoResponse;
    if (number == Serial::ErrorDevice)
        return PortFailure;
    return UnitFailure;
}

} // namespace

Error fromAutomationError(const AutomationError& e) {
    QString message = e.description;
    if (message.isEmpty())
        message = QStringLiteral("Error %1 from %2").arg(e.number).arg(e.source);
    if (e.number >= 0x400 && e.number <= 0xFFF)
        return {int(e.number), message};
    for (const Phrase& p : Phrases)
        if (e.description.contains(QLatin1String(p.text), Qt::CaseInsensitive))
            return {p.number, message};
    if (e.source == Serial::ErrorSource)
        return {serialPortError(e.number), message};
    return {UnitFailure, message};
}

} // namespace mivel::alpaca
