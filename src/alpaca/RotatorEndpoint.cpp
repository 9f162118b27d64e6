// rotator/0: the rotator object as an IRotatorV4 device.
//
// The object has one angle: the unit's own, which ResetPosition redefines. So the mechanical
// position and the position are the same angle, except that Reverse mirrors the position (and
// every angle a client gives) for optics that turn the image the other way. Angles reach the
// client in 0..360 as the interface asks.

#include "DeviceEndpoint.h"

#include <cmath>

namespace mivel::alpaca {
namespace {

double normalised(double degrees) {
    double a = std::fmod(degrees, 360.0);
    if (a < 0)
        a += 360.0;
    return a >= 360.0 ? 0.0 : a;
}

bool isAngle(double degrees) {
    return degrees >= 0.0 && degrees < 360.0;
}

class RotatorEndpoint final : public DeviceEndpoint {
public:
    explicit RotatorEndpoint(DeviceProvider& provider)
        : DeviceEndpoint(provider, {DeviceProvider::Kind::Rotator, "rotator", "Rotator",
                                    "Mivel Rotator", "Mivel Dorna rotator (Vark_AE.Rotator)", 4}) {}

protected:
    std::vector<Route> standardRoutes() override {
        using T = QMetaType::Type;
        const std::vector<ParamSpec> position{{"Position", T::Double}};
        return {
            {"canreverse", Verb::Get, {}, ready(Reply::of(true))},
            {"reverse",
             Verb::Get,
             {},
             [this](const QVariantList&) { return Task<Reply>::ready(Reply::of(reverse_)); }},
            {"reverse",
             Verb::Put,
             {{"Reverse", T::Bool}},
             [this](const QVariantList& a) {
                 reverse_ = a[0].toBool();
                 return Task<Reply>::ready(Reply::none());
             }},
            {"ismoving", Verb::Get, {}, reading(QStringLiteral("IsMoving"))},
            {"position",
             Verb::Get,
             {},
             [this](const QVariantList&) { return angle("Position", reverse_); }},
            {"mechanicalposition",
             Verb::Get,
             {},
             [this](const QVariantList&) { return angle("Position", false); }},
            {"targetposition",
             Verb::Get,
             {},
             [this](const QVariantList&) { return angle("SetPosition", reverse_); }},
            {"stepsize", Verb::Get, {}, reading(QStringLiteral("StepSize"))},
            {"halt", Verb::Put, {}, [this](const QVariantList&) { return invoke("Halt", {}); }},
            {"move", Verb::Put, position,
             [this](const QVariantList& a) {
                 const double by = a[0].toDouble();
                 return invoke("Move", {reverse_ ? -by : by});
             }},
            {"moveabsolute", Verb::Put, position,
             [this](const QVariantList& a) {
                 return toAngle("MoveAbsolute", a[0].toDouble(), reverse_);
             }},
            {"movemechanical", Verb::Put, position,
             [this](const QVariantList& a) {
                 return toAngle("MoveAbsolute", a[0].toDouble(), false);
             }},
            {"sync", Verb::Put, position,
             [this](const QVariantList& a) {
                 return toAngle("ResetPosition", a[0].toDouble(), reverse_);
             }},
        };
    }

    Task<Reply> deviceState() override {
        return collectState({
            {"IsMoving", [this] { return read("IsMoving"); }},
            {"MechanicalPosition", [this] { return angle("Position", false); }},
            {"Position", [this] { return angle("Position", reverse_); }},
        });
    }

private:
    static std::function<Task<Reply>(const QVariantList&)> ready(Reply r) {
        return [r](const QVariantList&) { return Task<Reply>::ready(r); };
    }

    static double mirrored(double degrees, bool reverse) {
        return reverse ? normalised(360.0 - degrees) : normalised(degrees);
    }

    Task<Reply> angle(QString member, bool reverse) {
        Reply r = co_await read(member);
        if (r.value.isDouble())
            r.value = mirrored(r.value.toDouble(), reverse);
        co_return r;
    }

    // A method that takes an absolute angle, which the interface bounds to 0..360.
    Task<Reply> toAngle(QString method, double degrees, bool reverse) {
        if (!isAngle(degrees))
            return Task<Reply>::ready(Reply::failure(
                InvalidValue,
                QStringLiteral("Position %1 is outside 0 to 360 degrees").arg(degrees)));
        return invoke(method, {reverse ? mirrored(degrees, true) : degrees});
    }

    bool reverse_ = false;
};

} // namespace

std::unique_ptr<DeviceEndpoint> makeRotatorEndpoint(DeviceProvider& provider) {
    return std::make_unique<RotatorEndpoint>(provider);
}

} // namespace mivel::alpaca
