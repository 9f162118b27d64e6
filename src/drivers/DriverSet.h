#pragma once

#include "AutomationDevice.h"
#include "Focuser.h"
#include "Rotator.h"
#include "Temperature.h"

#include <memory>

namespace mivel {

class AppContext;

// The driver objects of the process, each created when it is first asked for (creation runs the
// settings routine, and the rotator takes the port) and kept until the set is destroyed.
class DriverSet final : public DeviceProvider {
public:
    explicit DriverSet(AppContext& ctx);
    ~DriverSet() override;
    DriverSet(const DriverSet&) = delete;
    DriverSet& operator=(const DriverSet&) = delete;

    AutomationDevice& device(Kind kind) override;
    AutomationDevice* existing(Kind kind) const override;

    Focuser& focuser();
    Rotator& rotator();
    Temperature& temperature();

private:
    AppContext& ctx_;
    std::unique_ptr<Focuser> focuser_;
    std::unique_ptr<Rotator> rotator_;
    std::unique_ptr<Temperature> temperature_;
};

} // namespace mivel
