#include "DriverSet.h"

namespace mivel {

DriverSet::DriverSet(AppContext& ctx)
    : ctx_(ctx) {}

// The objects go in the reverse order of their kinds; the last holder of the link to go tears
// it down.
DriverSet::~DriverSet() {
    temperature_.reset();
    rotator_.reset();
    focuser_.reset();
}

Focuser& DriverSet::focuser() {
    if (!focuser_)
        focuser_ = std::make_unique<Focuser>(ctx_);
    return *focuser_;
}

Rotator& DriverSet::rotator() {
    if (!rotator_)
        rotator_ = std::make_unique<Rotator>(ctx_);
    return *rotator_;
}

Temperature& DriverSet::temperature() {
    if (!temperature_)
        temperature_ = std::make_unique<Temperature>(ctx_);
    return *temperature_;
}

AutomationDevice& DriverSet::device(Kind kind) {
    switch (kind) {
    case Kind::Focuser:
        return focuser();
    case Kind::Rotator:
        return rotator();
    case Kind::Temperature:
        break;
    }
    return temperature();
}

AutomationDevice* DriverSet::existing(Kind kind) const {
    switch (kind) {
    case Kind::Focuser:
        return focuser_.get();
    case Kind::Rotator:
        return rotator_.get();
    case Kind::Temperature:
        break;
    }
    return temperature_.get();
}

} // namespace mivel
