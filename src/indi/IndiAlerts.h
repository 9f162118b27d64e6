#pragma once

#include "core/Error.h"

#include <libindi/indiapi.h>

namespace mivel::indi {

// A refusal of the unit's driver objects as INDI shows it: the property goes to the Alert state
// and carries the object's own message, the text Alpaca clients get for the same refusal.
template <class Property> void alert(Property& property, const Error& error) {
    property.setState(IPS_ALERT);
    property.apply("%s", error.description.toUtf8().constData());
}

} // namespace mivel::indi
