#pragma once

#include "AutomationDevice.h"
#include "Focuser.h"
#include "Rotator.h"
#include "Temperature.h"

#include "link/LinkHub.h"

#include <memory>
#include <optional>

namespace mivel {

class AppContext;

// A driver object as automation clients reach it. A client holds the object, and through it the
// one serial link, from the moment it links the object until it unlinks it, and while any of
// its requests runs, and while the object brings back a link that was lost: the last holder of the
// link to let go ends the program, so a client that still uses a device keeps the server alive
// after the consoles have closed.
class ClientHeldDevice final : public AutomationDevice {
public:
    ClientHeldDevice(LinkHub& hub, AutomationDevice& device);
    ~ClientHeldDevice() override;

    std::span<const MemberInfo> members() const override { return device_.members(); }
    Task<CallResult> get(const QString& member) override;
    Task<CallResult> set(const QString& member, const QVariant& value) override;
    Task<CallResult> call(const QString& method, const QVariantList& args) override;
    bool linked() const override { return device_.linked(); }
    bool linkLost() const override { return device_.linkLost(); }

    // Whether a client holds the link through this object now.
    bool holding() const { return hold_.has_value(); }

private:
    // Counts a request while it runs; when it ends, the hold follows the object's state.
    class Request;
    void update();
    // While the link is lost, what the object answered came from no reply of the unit.
    CallResult unanswerable(const QString& member, CallResult result) const;

    LinkHub& hub_;
    AutomationDevice& device_;
    int running_ = 0;
    std::optional<Connector> hold_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

// The driver objects of the process, each created when it is first asked for (creation runs the
// settings routine, and the rotator takes the port) and kept until the set is destroyed.
// device() and existing() give them as clients hold them (ClientHeldDevice).
class DriverSet final : public DeviceProvider {
public:
    // The focuser and the rotator read the stored positions of the run, when it keeps them.
    explicit DriverSet(AppContext& ctx, const records::StoredPositions* positions = nullptr);
    ~DriverSet() override;
    DriverSet(const DriverSet&) = delete;
    DriverSet& operator=(const DriverSet&) = delete;

    AutomationDevice& device(Kind kind) override;
    AutomationDevice* existing(Kind kind) const override;

    Focuser& focuser();
    Rotator& rotator();
    Temperature& temperature();

private:
    template <class Object> struct Slot {
        std::unique_ptr<Object> object;
        std::unique_ptr<ClientHeldDevice> held;
    };
    template <class Object> Object& make(Slot<Object>& slot);

    AppContext& ctx_;
    const records::StoredPositions* positions_;
    Slot<Focuser> focuser_;
    Slot<Rotator> rotator_;
    Slot<Temperature> temperature_;
};

} // namespace mivel
