#pragma once

#include "HttpTestClient.h"
#include "support/FakeSerialDevice.h"

#include "alpaca/AlpacaServer.h"
#include "app/AppContext.h"
#include "app/MemorySettingsStore.h"
#include "core/Waits.h"
#include "drivers/DriverSet.h"
#include "http/HttpServer.h"

#include <QMap>
#include <QTemporaryDir>

#include <map>
#include <memory>

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
    QMap<QString, Error> errors;  // recorded by every call of that member
    QMap<QString, qint64> waitMs; // how long a member waits before it returns
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

    std::vector<MemberInfo> members_;
    Waits& waits_;
};

// Makes each fake on first use, as the driver set does its objects.
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
            d = std::make_unique<FakeDevice>(real_.device(kind).members(), waits_);
        return *d;
    }

private:
    Waits& waits_;
    std::map<Kind, std::unique_ptr<FakeDevice>> devices_;
    // The real objects lend their member lists; their port is never opened.
    QTemporaryDir dir_;
    AppContext ctx_{std::make_unique<MemorySettingsStore>(), std::make_unique<ScriptedPrompt>(),
                    [] { return std::make_unique<FakeSerialDevice>(); },
                    AppPaths::inDirectory(dir_.path())};
    DriverSet real_{ctx_};
};

// The Alpaca server on a free loopback port over fake driver objects, with time on a manual
// clock: waits of members, idle timeouts and answer deadlines move only when a test advances it.
struct ServerFixture : HttpRig {
    explicit ServerFixture(http::ServerLimits limits = {})
        : server([this](const http::Request& r, http::Responder out) { api.handle(r, out); },
                 limits, clock) {
        listening = !server.listen(QHostAddress::LocalHost, 0);
    }

    quint16 port() const override { return server.port(); }
    FakeDevice& focuser() { return provider.fake(DeviceProvider::Kind::Focuser); }
    FakeDevice& rotator() { return provider.fake(DeviceProvider::Kind::Rotator); }
    FakeDevice& temperature() { return provider.fake(DeviceProvider::Kind::Temperature); }

    QTemporaryDir config;
    ManualClock clock;
    Waits waits{clock};
    FakeProvider provider{waits};
    alpaca::AlpacaServer api{
        provider, alpaca::DeviceIds::load(config.path(), alpaca::AlpacaServer::deviceTypes()),
        clock};
    http::Server server;
    bool listening = false;
};

} // namespace mivel::test
