// rotator/0: the rotator object as an IRotatorV4 device.
//
// The object has one angle: the unit's own, which its ResetPosition redefines. That angle is the
// interface's mechanical position. The position is the mechanical one mirrored when Reverse is
// set (for optics that turn the image the other way), plus the offset that Sync sets: a sync
// moves nothing and changes nothing in the unit, and the offset is kept across restarts. Angles
// reach the client in 0..360 as the interface asks.
//
// A move reads as moving, towards its target, from the moment it is sent until the unit's
// replies show that it ended.

#include "DeviceEndpoint.h"

#include "drivers/Rotator.h"

#include <cmath>

namespace mivel::alpaca {
namespace {

const QString SyncOffsetName = QStringLiteral("AlpacaRotatorSyncOffset");
// Two steps of the unit: a position this close to the target is the target.
constexpr double ArrivalDegrees = 2.0 / rotator::StepsPerDegree;

double normalised(double degrees) {
    double a = std::fmod(degrees, 360.0);
    if (a < 0)
        a += 360.0;
    return a >= 360.0 ? 0.0 : a;
}

bool isAngle(double degrees) {
    return degrees >= 0.0 && degrees < 360.0;
}

double angularDistance(double a, double b) {
    const double d = normalised(a - b);
    return std::min(d, 360.0 - d);
}

Reply outsideATurn(double degrees) {
    return Reply::failure(InvalidValue,
                          QStringLiteral("Position %1 is outside 0 to 360 degrees").arg(degrees));
}

class RotatorEndpoint final : public MovingEndpoint {
public:
    explicit RotatorEndpoint(EndpointContext& context)
        : MovingEndpoint(context,
                         {DeviceProvider::Kind::Rotator, "rotator", "Rotator", "Mivel Rotator",
                          "Mivel Dorna rotator (Vark_AE.Rotator)", 4},
                         Rotator::QueryIntervalMs) {}

protected:
    std::vector<Route> standardRoutes() override {
        using T = QMetaType::Type;
        const std::vector<ParamSpec> angleParam{{"Position", T::Double}};
        return {
            {"canreverse", Verb::Get, {}, ready(Reply::of(true))},
            {"reverse", Verb::Get, {}, connectedOnly([this](const QVariantList&) {
                 return Task<Reply>::ready(Reply::of(reverse_));
             })},
            {"reverse",
             Verb::Put,
             {{"Reverse", T::Bool}},
             connectedOnly([this](const QVariantList& a) {
                 reverse_ = a[0].toBool();
                 return Task<Reply>::ready(Reply::none());
             })},
            {"ismoving", Verb::Get, {}, connectedOnly([this](const QVariantList&) {
                 return moving();
             })},
            {"position", Verb::Get, {}, connectedOnly([this](const QVariantList&) {
                 return angle(false);
             })},
            {"mechanicalposition", Verb::Get, {}, connectedOnly([this](const QVariantList&) {
                 return angle(true);
             })},
            {"targetposition", Verb::Get, {}, connectedOnly([this](const QVariantList&) {
                 return targetPosition();
             })},
            {"stepsize", Verb::Get, {}, reading(QStringLiteral("StepSize"))},
            {"halt", Verb::Put, {}, connectedOnly([this](const QVariantList&) { return halt(); })},
            {"move", Verb::Put, angleParam,
             connectedOnly([this](const QVariantList& a) { return moveBy(a[0].toDouble()); })},
            {"moveabsolute", Verb::Put, angleParam, connectedOnly([this](const QVariantList& a) {
                 const double sky = a[0].toDouble();
                 if (!isAngle(sky))
                     return Task<Reply>::ready(outsideATurn(sky));
                 return moveTo(mechanicalOf(sky));
             })},
            {"movemechanical", Verb::Put, angleParam, connectedOnly([this](const QVariantList& a) {
                 const double mechanical = a[0].toDouble();
                 if (!isAngle(mechanical))
                     return Task<Reply>::ready(outsideATurn(mechanical));
                 return moveTo(mechanical);
             })},
            {"sync", Verb::Put, angleParam, connectedOnly([this](const QVariantList& a) {
                 const double sky = a[0].toDouble();
                 if (!isAngle(sky))
                     return Task<Reply>::ready(outsideATurn(sky));
                 return sync(sky);
             })},
        };
    }

    Task<Reply> deviceState() override {
        return collectState({
            {"IsMoving", [this] { return moving(); }},
            {"MechanicalPosition", [this] { return angle(true); }},
            {"Position", [this] { return angle(false); }},
        });
    }

    bool atTarget(double position, double target) const override {
        return angularDistance(position, target) < ArrivalDegrees;
    }

private:
    static std::function<Task<Reply>(const QVariantList&)> ready(Reply r) {
        return [r](const QVariantList&) { return Task<Reply>::ready(r); };
    }

    double syncOffset() {
        if (!offset_)
            offset_ = kept()->number(SyncOffsetName).value_or(0.0);
        return *offset_;
    }
    // The position of a mechanical angle, and back.
    double skyOf(double mechanical) {
        const double turned = reverse_ ? 360.0 - mechanical : mechanical;
        return normalised(turned + syncOffset());
    }
    double mechanicalOf(double sky) {
        const double turned = normalised(sky - syncOffset());
        return reverse_ ? normalised(360.0 - turned) : turned;
    }

    Task<Reply> angle(bool mechanical) {
        const Alive token = alive();
        Reply r = co_await position();
        if (gone(token))
            co_return Reply::none();
        if (r.value.isDouble())
            r.value = mechanical ? normalised(r.value.toDouble()) : skyOf(r.value.toDouble());
        co_return r;
    }

    // The target of the move under way, or of the last one; before any, where it stands.
    Task<Reply> targetPosition() {
        if (following() || lastTarget_)
            co_return Reply::of(skyOf(following() ? followedTarget() : *lastTarget_));
        Reply here = co_await angle(false);
        co_return here;
    }

    Task<Reply> moveBy(double degrees) {
        const Alive token = alive();
        double from = 0;
        if (following()) {
            from = followedTarget();
        } else {
            const Reply r = co_await position();
            if (gone(token))
                co_return Reply::none();
            if (!r.ok())
                co_return r;
            from = r.value.toDouble();
        }
        const double by = reverse_ ? -degrees : degrees;
        const QVariantList args{by};
        const Reply moved = co_await invoke(QStringLiteral("Move"), args);
        if (gone(token))
            co_return Reply::none();
        if (moved.ok())
            follow(normalised(from + by));
        co_return moved;
    }

    Task<Reply> moveTo(double mechanical) {
        const Alive token = alive();
        const QVariantList args{mechanical};
        const Reply moved = co_await invoke(QStringLiteral("MoveAbsolute"), args);
        if (gone(token))
            co_return Reply::none();
        if (moved.ok())
            follow(mechanical);
        co_return moved;
    }

    void follow(double mechanicalTarget) {
        lastTarget_ = mechanicalTarget;
        followMove(mechanicalTarget);
    }

    Task<Reply> sync(double sky) {
        const Alive token = alive();
        const Reply r = co_await position();
        if (gone(token))
            co_return Reply::none();
        if (!r.ok())
            co_return r;
        const double mechanical = r.value.toDouble();
        const double turned = reverse_ ? 360.0 - mechanical : mechanical;
        offset_ = normalised(sky - turned);
        kept()->setNumber(SyncOffsetName, *offset_);
        co_return Reply::none();
    }

    bool reverse_ = false;
    std::optional<double> offset_;     // read from where it is kept on first use
    std::optional<double> lastTarget_; // mechanical
};

} // namespace

std::unique_ptr<DeviceEndpoint> makeRotatorEndpoint(EndpointContext& context) {
    return std::make_unique<RotatorEndpoint>(context);
}

} // namespace mivel::alpaca
