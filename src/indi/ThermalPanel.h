#pragma once

#include "core/Error.h"
#include "core/Task.h"
#include "drivers/Temperature.h"

#include <libindi/indipropertynumber.h>
#include <libindi/indipropertyswitch.h>

#include <functional>

namespace INDI {
class DefaultDevice;
}

namespace mivel::indi {

// The unit's temperatures, fan, secondary-mirror heater and dew heaters, in a tab of their own:
// the temperatures read-only in degrees Celsius; the modes as switches (manual, or one of the
// unit's two automatic modes); powers and set points as numbers with the ranges the temperature
// object accepts. A value the object refuses leaves the property in the Alert state with the
// object's own message.
class ThermalPanel {
public:
    static constexpr const char* Tab = "Temperatures";

    // Fills the properties for the device of that name.
    void init(const char* device);

    void define(INDI::DefaultDevice& device);
    void remove(INDI::DefaultDevice& device);

    // A client's new values for one of the panel's properties; false for any other property.
    bool newNumber(Temperature& unit, const char* name, const double values[], char* const names[],
                   int n);
    bool newSwitch(Temperature& unit, const char* name, const ISState states[], char* const names[],
                   int n);

    // Reads every value from the object (it asks the unit at most once a second) and sends the
    // properties that changed. stillLinked is checked after each wait: an unlinked device has
    // no properties to send.
    Task<void> refresh(Temperature& unit, std::function<bool()> stillLinked);

    // The ambient temperature of the last refresh, in degrees Celsius.
    double ambientCelsius() const { return temperatures_[0].getValue(); }

private:
    INDI::PropertyNumber temperatures_{4};
    INDI::PropertySwitch fanMode_{3};
    INDI::PropertyNumber fan_{3};
    INDI::PropertySwitch heaterMode_{3};
    INDI::PropertyNumber heater_{2};
    INDI::PropertyNumber dewHeaters_{2};
};

// The unit reports degrees Fahrenheit; INDI clients expect Celsius.
inline double celsius(double fahrenheit) {
    return (fahrenheit - 32.0) * 5.0 / 9.0;
}

} // namespace mivel::indi
