#pragma once

// Driver objects as their users see them, without a unit behind them: the automation server's
// tests set what they answer, the console's process model only asks whether they exist.

#include "app/AppContext.h"
#include "core/Waits.h"
#include "drivers/AutomationDevice.h"
#include "drivers/DriverSet.h"

#include <QMap>
#include <QStringList>
#include <QTemporaryDir>

#include <map>
#include <memory>
#include <vector>

namespace mivel::test {

// A driver object with the members of the real one of its kind: it stores what it is given,
// returns what it holds, records the error it is told to, and can be made to wait like a member
// whose reply does not come.
class FakeDevice final : public AutomationDevice {
public:
    FakeDevice(std::span<const MemberInfo> members, Waits& waits)
        : members_(members.begin(), members.end())
        , waits_(waits) {}

    std::span<const MemberInfo> members() const override { return members_; }
    bool linked() const override { return values.value("Connected").toBool(); }

    Task<CallResult> get(const QString& m) override;
    Task<CallResult> set(const QString& m, const QVariant& v) override;
    Task<CallResult> call(const QString& m, const QVariantList& args) override;

    QMap<QString, QVariant> values;
    QMap<QString, Error> errors;  // recorded by every call of that member
    QMap<QString, qint64> waitMs; // how long a member waits before it returns
    QStringList calls;
    int waiting = 0; // calls in their wait now

private:
    Task<CallResult> answer(QString m, QVariant value);

    std::vector<MemberInfo> members_;
    Waits& waits_;
};

// Makes each fake on first use, as the driver set does its objects.
class FakeProvider final : public DeviceProvider {
public:
    explicit FakeProvider(Waits& waits);
    ~FakeProvider() override;

    AutomationDevice& device(Kind kind) override { return fake(kind); }
    AutomationDevice* existing(Kind kind) const override;
    FakeDevice& fake(Kind kind);

private:
    Waits& waits_;
    std::map<Kind, std::unique_ptr<FakeDevice>> devices_;
    // The real objects lend their member lists; their port is never opened.
    QTemporaryDir dir_;
    std::unique_ptr<AppContext> ctx_;
    std::unique_ptr<DriverSet> real_;
};

} // namespace mivel::test
