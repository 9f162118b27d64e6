#pragma once

// A recorded step response of the secondary heater: the secondary mirror's temperature read
// while the heater held one power and then, from the step on, another.

#include <vector>

namespace mivel::heater {

struct Reading {
    double seconds;  // since the recording began
    double degreesF; // the secondary mirror's temperature
};

struct StepResponse {
    std::vector<Reading> readings;
    double stepSeconds = 0; // when the power changed, since the recording began
    int startPower = 0;     // percent
    int endPower = 0;       // percent
    // Whether the power has changed yet: until then every reading is from before the step.
    bool stepped = false;

    int powerChange() const { return endPower - startPower; }
    double lastSeconds() const { return readings.empty() ? 0 : readings.back().seconds; }
};

} // namespace mivel::heater
