// focuser/0: the focuser object as an IFocuserV4 device.

#include "DeviceEndpoint.h"

namespace mivel::alpaca {
namespace {

class FocuserEndpoint final : public DeviceEndpoint {
public:
    explicit FocuserEndpoint(DeviceProvider& provider)
        : DeviceEndpoint(provider, {DeviceProvider::Kind::Focuser, "focuser", "Focuser",
                                    "Mivel Focuser", "Mivel focuser (Vark_AE.Focuser)", 4}) {}

protected:
    std::vector<Route> standardRoutes() override {
        using T = QMetaType::Type;
        return {
            {"absolute", Verb::Get, {}, reading(QStringLiteral("absolute"))},
            {"ismoving", Verb::Get, {}, reading(QStringLiteral("IsMoving"))},
            {"maxincrement", Verb::Get, {}, reading(QStringLiteral("MaxIncrement"))},
            {"maxstep", Verb::Get, {}, reading(QStringLiteral("MaxStep"))},
            {"position", Verb::Get, {}, reading(QStringLiteral("Position"))},
            {"stepsize", Verb::Get, {}, reading(QStringLiteral("StepSize"))},
            {"tempcomp", Verb::Get, {}, reading(QStringLiteral("TempComp"))},
            {"tempcomp",
             Verb::Put,
             {{"TempComp", T::Bool}},
             [this](const QVariantList& a) { return write("TempComp", a[0]); }},
            {"tempcompavailable", Verb::Get, {}, reading(QStringLiteral("TempCompAvailable"))},
            {"temperature", Verb::Get, {}, reading(QStringLiteral("Temperature"))},
            {"halt", Verb::Put, {}, [this](const QVariantList&) { return invoke("Halt", {}); }},
            // The unit enforces its own travel; Move makes no range check of its own.
            {"move",
             Verb::Put,
             {{"Position", T::Int}},
             [this](const QVariantList& a) { return invoke("Move", {a[0]}); }},
        };
    }

    QStringList mappedMembers() const override {
        return {"absolute", "IsMoving",          "MaxIncrement", "MaxStep", "Position", "StepSize",
                "TempComp", "TempCompAvailable", "Temperature",  "Halt",    "Move"};
    }

    Task<Reply> deviceState() override {
        return collectState({
            {"IsMoving", [this] { return read("IsMoving"); }},
            {"Position", [this] { return read("Position"); }},
            {"Temperature", [this] { return read("Temperature"); }},
        });
    }
};

} // namespace

std::unique_ptr<DeviceEndpoint> makeFocuserEndpoint(DeviceProvider& provider) {
    return std::make_unique<FocuserEndpoint>(provider);
}

} // namespace mivel::alpaca
