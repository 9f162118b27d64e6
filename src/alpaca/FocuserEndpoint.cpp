// focuser/0: the focuser object as an IFocuserV4 device.
//
// The standard move differs from the object's own in two ways the interface asks for: it
// clamps the position to 0..MaxStep, and it is carried out while temperature compensation is
// on, which the object refuses. The unit's compensation is suspended for the move and switched
// on again once the unit's replies show the move ended; meanwhile TempComp reads as the client
// left it.

#include "DeviceEndpoint.h"

#include "drivers/Focuser.h"

#include <algorithm>
#include <cmath>

namespace mivel::alpaca {
namespace {

const QString Temperature = QStringLiteral("Temperature");
const QString TempComp = QStringLiteral("TempComp");

class FocuserEndpoint final : public MovingEndpoint {
public:
    explicit FocuserEndpoint(EndpointContext& context)
        : MovingEndpoint(context,
                         {DeviceProvider::Kind::Focuser, "focuser", "Focuser", "Mivel Focuser",
                          "Mivel focuser (Vark_AE.Focuser). A move while temperature "
                          "compensation is on suspends the compensation and resumes it "
                          "when the move has ended.",
                          4},
                         Focuser::StatusIntervalMs) {
        // The object asks for the temperature on every read; here at most once a query interval
        // of the temperature object.
        temperature_ = makeMirror({Temperature}, Focuser::TemperatureWaitMs);
    }

protected:
    std::vector<Route> standardRoutes() override {
        using T = QMetaType::Type;
        return {
            {"absolute", Verb::Get, {}, reading(QStringLiteral("absolute"))},
            {"ismoving", Verb::Get, {}, connectedOnly([this](const QVariantList&) {
                 return moving();
             })},
            {"maxincrement", Verb::Get, {}, reading(QStringLiteral("MaxIncrement"))},
            {"maxstep", Verb::Get, {}, reading(QStringLiteral("MaxStep"))},
            {"position", Verb::Get, {}, connectedOnly([this](const QVariantList&) {
                 return position();
             })},
            {"stepsize", Verb::Get, {}, reading(QStringLiteral("StepSize"))},
            {"tempcomp", Verb::Get, {}, connectedOnly([this](const QVariantList&) {
                 if (suspended_)
                     return Task<Reply>::ready(Reply::of(restoreTo_));
                 return read(TempComp);
             })},
            {"tempcomp",
             Verb::Put,
             {{"TempComp", T::Bool}},
             connectedOnly([this](const QVariantList& a) {
                 // During a move under compensation the client's choice takes effect at its end.
                 if (!suspended_)
                     return write(TempComp, a[0]);
                 restoreTo_ = a[0].toBool();
                 return Task<Reply>::ready(Reply::none());
             })},
            {"tempcompavailable", Verb::Get, {}, reading(QStringLiteral("TempCompAvailable"))},
            {"temperature", Verb::Get, {}, connectedOnly([this](const QVariantList&) {
                 return temperatureCelsius();
             })},
            {"halt", Verb::Put, {}, connectedOnly([this](const QVariantList&) { return halt(); })},
            {"move",
             Verb::Put,
             {{"Position", T::Int}},
             connectedOnly([this](const QVariantList& a) { return move(a[0].toInt()); })},
        };
    }

    Task<Reply> deviceState() override {
        return collectState({
            {"IsMoving", [this] { return moving(); }},
            {"Position", [this] { return position(); }},
            {"Temperature", [this] { return temperatureCelsius(); }},
        });
    }

    bool atTarget(double position, double target) const override {
        return std::abs(position - target) < Focuser::MovingThreshold;
    }
    void onMoveEnded() override { resumeCompensation(); }

private:
    // The object's temperature is in degrees Fahrenheit, and empty until the unit has reported
    // one; the interface's is in Celsius, and an error while it is not known.
    Task<Reply> temperatureCelsius() {
        Reply r = co_await mirrored(*temperature_, Temperature);
        if (r.ok() && r.value.isUndefined())
            co_return Reply::failure(ValueNotSet,
                                     QStringLiteral("The unit has not reported a temperature yet"));
        if (r.value.isDouble())
            r.value = celsiusFromFahrenheit(r.value.toDouble());
        co_return r;
    }

    Task<Reply> move(qint32 requested) {
        const Alive token = alive();
        const Reply maxStep = co_await read(QStringLiteral("MaxStep"));
        if (gone(token))
            co_return Reply::none();
        const qint32 limit = maxStep.value.isDouble() ? maxStep.value.toInt() : Focuser::MaxSteps;
        const qint32 target = std::clamp<qint32>(requested, 0, limit);
        if (!suspended_) {
            const Reply compensating = co_await read(TempComp);
            if (gone(token))
                co_return Reply::none();
            if (compensating.value.toBool()) {
                const Reply off = co_await write(TempComp, false);
                if (gone(token))
                    co_return Reply::none();
                if (!off.ok())
                    co_return off;
                suspended_ = true;
                restoreTo_ = true;
            }
        }
        const QVariantList args{target};
        const Reply moved = co_await invoke(QStringLiteral("Move"), args);
        if (gone(token))
            co_return Reply::none();
        if (!moved.ok()) {
            if (!following())
                resumeCompensation();
            co_return moved;
        }
        followMove(target);
        co_return moved;
    }

    void resumeCompensation() {
        if (!std::exchange(suspended_, false) || !restoreTo_)
            return;
        (void)write(TempComp, true); // the object sends the mode command at once
    }

    std::unique_ptr<StatusMirror> temperature_;
    bool suspended_ = false; // the unit's compensation is off for a move
    bool restoreTo_ = false; // what TempComp becomes when the move has ended
};

} // namespace

std::unique_ptr<DeviceEndpoint> makeFocuserEndpoint(EndpointContext& context) {
    return std::make_unique<FocuserEndpoint>(context);
}

} // namespace mivel::alpaca
