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
            {"temperature",
             Verb::Get,
             {},
             [this](const QVariantList&) { return temperatureCelsius(); }},
            {"halt", Verb::Put, {}, [this](const QVariantList&) { return invoke("Halt", {}); }},
            // The unit enforces its own travel; Move makes no range check of its own.
            {"move",
             Verb::Put,
             {{"Position", T::Int}},
             [this](const QVariantList& a) { return invoke("Move", {a[0]}); }},
        };
    }

    Task<Reply> deviceState() override {
        return collectState({
            {"IsMoving", [this] { return read("IsMoving"); }},
            {"Position", [this] { return read("Position"); }},
            {"Temperature", [this] { return temperatureCelsius(); }},
        });
    }

private:
    // The object's temperature is in degrees Fahrenheit, and empty until the unit has reported
    // one; the interface's is in Celsius, and an error while it is not known.
    Task<Reply> temperatureCelsius() {
        Reply r = co_await read(QStringLiteral("Temperature"));
        if (r.ok() && r.value.isUndefined())
            co_return Reply::failure(ValueNotSet,
                                     QStringLiteral("The unit has not reported a temperature yet"));
        if (r.value.isDouble())
            r.value = celsiusFromFahrenheit(r.value.toDouble());
        co_return r;
    }
};

} // namespace

std::unique_ptr<DeviceEndpoint> makeFocuserEndpoint(DeviceProvider& provider) {
    return std::make_unique<FocuserEndpoint>(provider);
}

} // namespace mivel::alpaca
