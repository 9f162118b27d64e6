#pragma once

// Driver objects for the transport tests: each member stores what it is given, returns what it
// holds, records the error it is told to, and can be made to wait like a member whose reply does
// not come.

#include "drivers/AutomationDevice.h"
#include "link/Waits.h"

#include <QMap>
#include <QStringList>

#include <map>
#include <memory>
#include <vector>

namespace mivel::test {

using K = MemberInfo::Kind;
using T = QMetaType::Type;

inline const std::vector<MemberInfo> FocuserMembers{
    {"Link", K::Property, true, true, T::Bool, nullptr},
    {"absolute", K::Property, true, false, T::Bool, nullptr},
    {"StepSize", K::Property, true, false, T::Double, nullptr},
    {"MaxStep", K::Property, true, false, T::Int, nullptr},
    {"IsMoving", K::Property, true, false, T::Bool, nullptr},
    {"SetPosition", K::Property, true, false, T::Int, nullptr},
    {"Position", K::Property, true, false, T::Int, nullptr},
    {"TempComp", K::Property, true, true, T::Bool, nullptr},
    {"TempCompManualMode", K::Property, true, true, T::Bool, nullptr},
    {"TempCompAvailable", K::Property, true, false, T::Bool, nullptr},
    {"Temperature", K::Property, true, false, T::Double, nullptr},
    {"MaxIncrement", K::Property, true, false, T::Int, nullptr},
    {"Move", K::Method, false, false, T::Int, "Position"},
    {"SetupDialog", K::Method, false, false, T::UnknownType, nullptr},
    {"Halt", K::Method, false, false, T::UnknownType, nullptr},
    {"ShowForm", K::Method, false, false, T::Short, "Which"},
    {"AppVersion", K::Property, true, false, T::QString, nullptr},
    {"Connected", K::Property, true, true, T::Bool, nullptr},
    {"TempCompCoefficient", K::Property, true, true, T::Float, nullptr},
    {"TempCompMovementThreshold", K::Property, true, true, T::Short, nullptr},
    {"RecordFocusPosition", K::Method, false, false, T::UnknownType, nullptr},
};

inline const std::vector<MemberInfo> RotatorMembers{
    {"Position", K::Property, true, false, T::Double, nullptr},
    {"SetPosition", K::Property, true, false, T::Double, nullptr},
    {"Link", K::Property, true, true, T::Bool, nullptr},
    {"StepSize", K::Property, true, false, T::Double, nullptr},
    {"IsMoving", K::Property, true, false, T::Bool, nullptr},
    {"Move", K::Method, false, false, T::Double, "Angle"},
    {"MoveAbsolute", K::Method, false, false, T::Double, "Angle"},
    {"Halt", K::Method, false, false, T::UnknownType, nullptr},
    {"Connected", K::Property, true, true, T::Bool, nullptr},
    {"PosPositionLimit", K::Property, true, true, T::QVariant, nullptr},
    {"Wrap", K::Property, true, false, T::Double, nullptr},
    {"Unwrap", K::Method, false, false, T::QVariant, "Angle"},
    {"ResetPosition", K::Method, false, false, T::Float, "Angle"},
};

inline const std::vector<MemberInfo> TemperatureMembers{
    {"Connected", K::Property, true, true, T::Bool, nullptr},
    {"AmbientTemp", K::Property, true, false, T::Double, nullptr},
    {"PrimaryTemp", K::Property, true, false, T::Double, nullptr},
    {"SecondaryTemp", K::Property, true, false, T::Double, nullptr},
    {"ElectronicTemp", K::Property, true, false, T::Double, nullptr},
    {"AmbientTempRaw", K::Property, true, false, T::Short, nullptr},
    {"FanMode", K::Property, true, true, T::Short, nullptr},
    {"FanSpeed", K::Property, true, true, T::Short, nullptr},
    {"FanDeadband", K::Property, true, true, T::Float, nullptr},
    {"FanAggressiveness", K::Property, true, true, T::Float, nullptr},
    {"SecondaryHeaterMode", K::Property, true, true, T::Short, nullptr},
    {"SecondaryHeaterPower", K::Property, true, true, T::Short, nullptr},
    {"SecondaryHeaterSetpoint", K::Property, true, true, T::Float, nullptr},
    {"DewHeater1Power", K::Property, true, true, T::Short, nullptr},
    {"DewHeater2Power", K::Property, true, true, T::Short, nullptr},
    {"TemperatureUnits", K::Property, true, false, T::Short, nullptr},
};

class FakeDevice final : public AutomationDevice {
public:
    FakeDevice(const std::vector<MemberInfo>& members, Waits& waits)
        : members_(members)
        , waits_(waits) {}

    std::span<const MemberInfo> members() const override { return members_; }
    bool linked() const override { return values.value("Connected").toBool(); }

    Task<CallResult> get(const QString& m) override {
        calls << "get " + m;
        return answer(m, values.value(m));
    }
    Task<CallResult> set(const QString& m, const QVariant& v) override {
        calls << "set " + m + " " + v.toString();
        if (!errors.contains(m))
            values[m] = v;
        return answer(m, QVariant());
    }
    Task<CallResult> call(const QString& m, const QVariantList& args) override {
        QStringList text;
        for (const QVariant& a : args)
            text << a.toString();
        calls << "call " + m + "(" + text.join(',') + ")";
        return answer(m, QVariant());
    }

    QMap<QString, QVariant> values;
    QMap<QString, AutomationError> errors; // recorded by every call of that member
    QMap<QString, qint64> waitMs;          // how long a member waits before it returns
    QStringList calls;
    int waiting = 0; // calls in their wait now

private:
    Task<CallResult> answer(QString m, QVariant value) {
        if (const qint64 ms = waitMs.value(m); ms > 0) {
            ++waiting;
            co_await waits_.delay(ms);
            --waiting;
            if (!value.isNull())
                value = values.value(m); // what the member holds once its wait is over
        }
        Status error;
        if (errors.contains(m))
            error = errors.value(m);
        co_return CallResult{value, error};
    }

    const std::vector<MemberInfo>& members_;
    Waits& waits_;
};

// Makes each object on first use, as the driver set does.
class FakeProvider final : public DeviceProvider {
public:
    explicit FakeProvider(Waits& waits)
        : waits_(waits) {}

    AutomationDevice& device(Kind kind) override { return fake(kind); }
    AutomationDevice* existing(Kind kind) const override {
        auto it = devices_.find(kind);
        return it == devices_.end() ? nullptr : it->second.get();
    }
    FakeDevice& fake(Kind kind) {
        auto& d = devices_[kind];
        if (!d)
            d = std::make_unique<FakeDevice>(kind == Kind::Focuser   ? FocuserMembers
                                             : kind == Kind::Rotator ? RotatorMembers
                                                                     : TemperatureMembers,
                                             waits_);
        return *d;
    }
    bool created(Kind kind) const { return devices_.count(kind) != 0; }

private:
    Waits& waits_;
    std::map<Kind, std::unique_ptr<FakeDevice>> devices_;
};

} // namespace mivel::test
