#pragma once

// The parts of a rule of the simulated unit's command table, shared by the table and by the
// code that picks and runs a rule.

#include "SimulatedUnit.h"

#include <cmath>

namespace mivel::sim {

// When a command word means what: the parameter upload and the sensor calibration reuse words
// that mean something else the rest of the time, and the loader knows only its own words.
enum class SimulatedUnit::When : quint8 {
    Always,       // in normal running
    Uploading,    // only inside the controller parameter upload ("{" or "}" up to "u")
    NotUploading, // only outside it
    Decimal,      // only with a decimal point in the argument (sensor coefficients)
    Whole,        // only without one
    Loader,       // only in the firmware loader
    Anywhere,     // in normal running and in the loader
};

// What a command needs of its argument. The unit reads numbers in plain decimal only; a
// command whose number it cannot read is dropped and changes nothing.
enum class SimulatedUnit::Needs : quint8 { Nothing, Number };

struct SimulatedUnit::Argument {
    QByteArray text;
    double value = 0;
    qint64 whole() const { return std::llround(value); }
    int integer() const { return int(whole()); }
};

struct SimulatedUnit::Rule {
    std::string_view word;
    When when;
    Needs needs;
    void (*act)(SimulatedUnit& unit, const Rule& rule, const Argument& argument);
};

} // namespace mivel::sim
