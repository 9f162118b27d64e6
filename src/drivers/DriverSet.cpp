#include "DriverSet.h"

#include "DriverErrors.h"

namespace mivel {

// --- ClientHeldDevice -----------------------------------------------------------------------

class ClientHeldDevice::Request {
public:
    explicit Request(ClientHeldDevice& device)
        : device_(device)
        , alive_(device.alive_) {
        ++device_.running_;
        device_.update();
    }
    // Runs once the request's answer has gone to the client: a last release then ends the
    // program after the client has its answer.
    ~Request() {
        if (!*alive_)
            return;
        --device_.running_;
        device_.update();
    }
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;

private:
    ClientHeldDevice& device_;
    std::shared_ptr<bool> alive_;
};

ClientHeldDevice::ClientHeldDevice(LinkHub& hub, AutomationDevice& device)
    : hub_(hub)
    , device_(device) {}

ClientHeldDevice::~ClientHeldDevice() {
    *alive_ = false;
}

void ClientHeldDevice::update() {
    const bool held = running_ > 0 || device_.linked() || device_.linkLost();
    if (held && !hold_)
        hold_.emplace(hub_);
    else if (!held && hold_)
        hold_.reset(); // may be the last holder: the link is torn down
}

// The link state itself (Connected, Link) is answered as it is; everything else that ends while
// the link is lost, without an error of its own, answers that the link is lost.
CallResult ClientHeldDevice::unanswerable(const QString& member, CallResult result) const {
    if (!device_.linkLost() || result.error)
        return result;
    for (const char* state : {"Connected", "Link"})
        if (member.compare(QLatin1String(state), Qt::CaseInsensitive) == 0)
            return result;
    result.error = errors::LinkLost;
    return result;
}

Task<CallResult> ClientHeldDevice::get(const QString& member) {
    const Request request(*this);
    const std::shared_ptr<bool> alive = alive_;
    CallResult result = co_await device_.get(member);
    co_return *alive ? unanswerable(member, std::move(result)) : result;
}

Task<CallResult> ClientHeldDevice::set(const QString& member, const QVariant& value) {
    const Request request(*this);
    const std::shared_ptr<bool> alive = alive_;
    CallResult result = co_await device_.set(member, value);
    co_return *alive ? unanswerable(member, std::move(result)) : result;
}

Task<CallResult> ClientHeldDevice::call(const QString& method, const QVariantList& args) {
    const Request request(*this);
    const std::shared_ptr<bool> alive = alive_;
    CallResult result = co_await device_.call(method, args);
    co_return *alive ? unanswerable(method, std::move(result)) : result;
}

// --- DriverSet ------------------------------------------------------------------------------

DriverSet::DriverSet(AppContext& ctx, const records::StoredPositions* positions)
    : ctx_(ctx)
    , positions_(positions) {}

// The objects go in the reverse order of their kinds, each after the hold clients had on it.
DriverSet::~DriverSet() {
    temperature_.held.reset();
    temperature_.object.reset();
    rotator_.held.reset();
    rotator_.object.reset();
    focuser_.held.reset();
    focuser_.object.reset();
}

template <class Object> Object& DriverSet::make(Slot<Object>& slot) {
    if (!slot.object) {
        slot.object = std::make_unique<Object>(ctx_);
        if constexpr (requires(Object & o) { o.setStoredPositions(positions_); })
            slot.object->setStoredPositions(positions_);
        slot.held = std::make_unique<ClientHeldDevice>(ctx_.hub(), *slot.object);
    }
    return *slot.object;
}

Focuser& DriverSet::focuser() {
    return make(focuser_);
}

Rotator& DriverSet::rotator() {
    return make(rotator_);
}

Temperature& DriverSet::temperature() {
    return make(temperature_);
}

AutomationDevice& DriverSet::device(Kind kind) {
    switch (kind) {
    case Kind::Focuser:
        make(focuser_);
        return *focuser_.held;
    case Kind::Rotator:
        make(rotator_);
        return *rotator_.held;
    case Kind::Temperature:
        break;
    }
    make(temperature_);
    return *temperature_.held;
}

AutomationDevice* DriverSet::existing(Kind kind) const {
    switch (kind) {
    case Kind::Focuser:
        return focuser_.held.get();
    case Kind::Rotator:
        return rotator_.held.get();
    case Kind::Temperature:
        break;
    }
    return temperature_.held.get();
}

} // namespace mivel
