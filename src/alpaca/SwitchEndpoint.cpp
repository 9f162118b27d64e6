// switch/0: the temperature object as an ISwitchV3 device. The fan, heater and dew controls are
// writable switches with the ranges and steps the object accepts; the four temperatures are
// read-only switches, in degrees Celsius as the interface expects. Every member of the object is
// also served under its own name, with the object's own values (the unit's Fahrenheit readings).
//
// The object takes a fan or heater power only in manual mode; the interface offers the power
// switch as writable whatever the mode, so writing it first sets its mode switch to manual.

#include "DeviceEndpoint.h"

#include "drivers/Temperature.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>

#include <array>
#include <cmath>
#include <limits>

namespace mivel::alpaca {
namespace {

struct SwitchDef {
    const char* member;
    const char* name;
    const char* description;
    double min;
    double max;
    double step;
    bool writable;
    bool fahrenheit; // the member reads degrees Fahrenheit; the switch shows Celsius
    const char* manualMode = nullptr; // the mode member set to manual (0) before a write
};

// The unit reports temperatures in hundredths of a degree Fahrenheit: a step of 1/180 degree
// Celsius. The range is -148 to 302 degrees Fahrenheit.
constexpr double CelsiusStep = 1.0 / 180.0;

// Ids are positions in this table.
constexpr std::array<SwitchDef, 13> Switches{{
    {"FanMode", "Fan mode", "Fan mode: 0 manual, 1 and 2 the unit's automatic modes", 0, 2, 1, true,
     false},
    {"FanSpeed", "Fan power", "Fan power in percent; writing it sets the fan mode to manual first",
     0, 100, 1, true, false, "FanMode"},
    {"FanDeadband", "Fan dead band",
     "Dead band of the automatic fan, degrees Fahrenheit as the unit counts them", 0, 10, 0.1, true,
     false},
    {"FanAggressiveness", "Fan aggressiveness", "Aggressiveness of the automatic fan", 0.1, 10, 0.1,
     true, false},
    {"SecondaryHeaterMode", "Secondary heater mode",
     "Secondary mirror heater mode: 0 manual, 1 and 2 the unit's automatic modes", 0, 2, 1, true,
     false},
    {"SecondaryHeaterPower", "Secondary heater power",
     "Secondary mirror heater power in percent; writing it sets the secondary heater mode to "
     "manual first",
     0, 100, 1, true, false, "SecondaryHeaterMode"},
    {"SecondaryHeaterSetpoint", "Secondary heater set point",
     "Set point of the automatic secondary mirror heater, degrees Fahrenheit as the unit counts "
     "them",
     -10, 10, 0.1, true, false},
    {"DewHeater1Power", "Dew heater 1 power", "Dew heater 1 power in percent", 0, 100, 1, true,
     false},
    {"DewHeater2Power", "Dew heater 2 power", "Dew heater 2 power in percent", 0, 100, 1, true,
     false},
    {"AmbientTemp", "Ambient temperature", "Ambient air temperature, degrees Celsius", -100, 150,
     CelsiusStep, false, true},
    {"PrimaryTemp", "Primary mirror temperature", "Primary mirror temperature, degrees Celsius",
     -100, 150, CelsiusStep, false, true},
    {"SecondaryTemp", "Secondary mirror temperature",
     "Secondary mirror temperature, degrees Celsius", -100, 150, CelsiusStep, false, true},
    {"ElectronicTemp", "Electronics temperature",
     "The unit's electronics temperature, degrees Celsius", -100, 150, CelsiusStep, false, true},
}};

class SwitchEndpoint final : public DeviceEndpoint {
public:
    explicit SwitchEndpoint(EndpointContext& context)
        : DeviceEndpoint(context, {DeviceProvider::Kind::Temperature, "switch", "Switch",
                                   "Mivel Temperature",
                                   "Mivel temperatures, fan, secondary and dew heaters. Writing a "
                                   "power switch sets its mode switch to manual first.",
                                   3}) {
        QStringList members;
        for (const SwitchDef& s : Switches)
            members << QString::fromLatin1(s.member);
        values_ = makeMirror(members, Temperature::QueryIntervalMs);
    }

protected:
    std::vector<Route> standardRoutes() override {
        using T = QMetaType::Type;
        const std::vector<ParamSpec> id{{"Id", T::Int}};
        // A member that takes an Id: refused with InvalidValue for an Id not in the table.
        auto withId = [](auto f) {
            return [f](const QVariantList& a) {
                const int i = a[0].toInt();
                if (i < 0 || i >= int(Switches.size()))
                    return Task<Reply>::ready(Reply::failure(
                        InvalidValue, QStringLiteral("Switch Id %1 is outside 0 to %2")
                                          .arg(i)
                                          .arg(Switches.size() - 1)));
                return f(Switches[i], a);
            };
        };
        auto fixed = [withId](auto value) {
            return withId([value](const SwitchDef& s, const QVariantList&) {
                return Task<Reply>::ready(Reply::of(value(s)));
            });
        };
        auto unsupported = [withId](const char* what) {
            return withId([what](const SwitchDef&, const QVariantList&) {
                return Task<Reply>::ready(notImplemented(QString::fromLatin1(what)));
            });
        };
        return {
            {"maxswitch",
             Verb::Get,
             {},
             [](const QVariantList&) {
                 return Task<Reply>::ready(Reply::of(int(Switches.size())));
             }},
            {"canwrite", Verb::Get, id, fixed([](const SwitchDef& s) { return s.writable; })},
            {"canasync", Verb::Get, id, fixed([](const SwitchDef&) { return false; })},
            {"getswitchname", Verb::Get, id,
             fixed([](const SwitchDef& s) { return QString::fromLatin1(s.name); })},
            {"getswitchdescription", Verb::Get, id,
             fixed([](const SwitchDef& s) { return QString::fromLatin1(s.description); })},
            {"minswitchvalue", Verb::Get, id, fixed([](const SwitchDef& s) { return s.min; })},
            {"maxswitchvalue", Verb::Get, id, fixed([](const SwitchDef& s) { return s.max; })},
            {"switchstep", Verb::Get, id, fixed([](const SwitchDef& s) { return s.step; })},
            {"getswitchvalue", Verb::Get, id,
             connectedOnly(withId(
                 [this](const SwitchDef& s, const QVariantList&) { return value(s, false); }))},
            {"getswitch", Verb::Get, id,
             connectedOnly(withId(
                 [this](const SwitchDef& s, const QVariantList&) { return value(s, true); }))},
            {"setswitch",
             Verb::Put,
             {{"Id", T::Int}, {"State", T::Bool}},
             connectedOnly(withId([this](const SwitchDef& s, const QVariantList& a) {
                 return setTo(s, a[1].toBool() ? s.max : s.min);
             }))},
            {"setswitchvalue",
             Verb::Put,
             {{"Id", T::Int}, {"Value", T::Double}},
             connectedOnly(withId([this](const SwitchDef& s, const QVariantList& a) {
                 return setTo(s, a[1].toDouble());
             }))},
            {"setswitchname",
             Verb::Put,
             {{"Id", T::Int}, {"Name", T::QString}},
             unsupported("Renaming a switch")},
            // No switch changes in the background: the unit takes every setting at once.
            {"setasync",
             Verb::Put,
             {{"Id", T::Int}, {"State", T::Bool}},
             unsupported("Asynchronous switching")},
            {"setasyncvalue",
             Verb::Put,
             {{"Id", T::Int}, {"Value", T::Double}},
             unsupported("Asynchronous switching")},
            {"statechangecomplete", Verb::Get, id, unsupported("Asynchronous switching")},
            {"cancelasync", Verb::Put, id, unsupported("Asynchronous switching")},
        };
    }

    Task<Reply> deviceState() override {
        QJsonArray state;
        for (int i = 0; i < int(Switches.size()); ++i) {
            const Reply r = co_await value(Switches[i], false);
            if (!r.ok() || !r.value.isDouble())
                continue;
            const double v = r.value.toDouble();
            state.append(QJsonObject{{"Name", QStringLiteral("GetSwitch%1").arg(i)},
                                     {"Value", v > Switches[i].min}});
            state.append(
                QJsonObject{{"Name", QStringLiteral("GetSwitchValue%1").arg(i)}, {"Value", v}});
        }
        state.append(
            QJsonObject{{"Name", "TimeStamp"},
                        {"Value", QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs)}});
        co_return Reply::of(state);
    }

private:
    // A switch's value, or as a boolean: on whenever it is above its minimum.
    Task<Reply> value(const SwitchDef& s, bool asState) {
        Reply r = co_await mirrored(*values_, QString::fromLatin1(s.member));
        if (!r.value.isDouble())
            co_return r;
        const double v =
            s.fahrenheit ? celsiusFromFahrenheit(r.value.toDouble()) : r.value.toDouble();
        r.value = asState ? QJsonValue(v > s.min) : QJsonValue(v);
        co_return r;
    }

    Task<Reply> setTo(const SwitchDef& s, double v) {
        if (!s.writable)
            return Task<Reply>::ready(
                notImplemented(QStringLiteral("Writing %1").arg(QString::fromLatin1(s.name))));
        return write(s, memberValue(s.member, v));
    }

    Task<Reply> write(const SwitchDef& s, QVariant v) {
        const Alive token = alive();
        if (s.manualMode != nullptr) {
            const Reply manual = co_await DeviceEndpoint::write(s.manualMode, 0);
            if (gone(token))
                co_return Reply::none();
            if (!manual.ok())
                co_return manual;
        }
        const Reply r = co_await DeviceEndpoint::write(s.member, v);
        if (gone(token))
            co_return Reply::none();
        // Clients read back what they wrote: the next read waits for a reading taken after it.
        values_->invalidate();
        co_return r;
    }

    // The value in the member's own type. A whole-number member gets the nearest whole number;
    // one too large for it still reaches the member, which refuses it with its own message.
    QVariant memberValue(const char* member, double v) {
        const MemberInfo* m = device().member(QString::fromLatin1(member));
        const bool whole =
            m != nullptr && (m->type == QMetaType::Int || m->type == QMetaType::Short);
        if (!whole)
            return v;
        const double lo = std::numeric_limits<qint16>::min();
        const double hi = std::numeric_limits<qint16>::max();
        return int(std::clamp(std::round(v), lo, hi));
    }

    std::unique_ptr<StatusMirror> values_;
};

} // namespace

std::unique_ptr<DeviceEndpoint> makeSwitchEndpoint(EndpointContext& context) {
    return std::make_unique<SwitchEndpoint>(context);
}

} // namespace mivel::alpaca
