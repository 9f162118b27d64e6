// indi_mivel: the INDI driver of the Mivel unit. libindi's main() reads the clients' requests
// from indiserver and hands them to every device the driver created.

#include "indi/MivelDevice.h"

#include <memory>

namespace {

// Created before main() runs, as libindi expects of its devices; it lives until the driver
// exits.
const std::unique_ptr<mivel::indi::MivelDevice> device =
    std::make_unique<mivel::indi::MivelDevice>();

} // namespace
