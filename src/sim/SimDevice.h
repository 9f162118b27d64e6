#pragma once

#include "link/SerialDevice.h"

#include <memory>

namespace mivel::sim {

class SimulatedUnit;

// An in-memory serial device with the simulated unit at the other end. Like a real line, it
// never hands bytes over inside the call that wrote them: writes reach the unit, and replies
// reach the reader, from the event loop, one chunk at a time as the unit sent them. It opens
// unless the unit has hung up; a hang-up while open closes it and reports the loss once.
std::unique_ptr<SerialDevice> makeSimDevice(SimulatedUnit& unit);

} // namespace mivel::sim
