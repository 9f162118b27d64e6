#pragma once

#include "HttpTestClient.h"
#include "support/FakeDevices.h"
#include "support/TestRig.h"

#include "alpaca/AlpacaServer.h"
#include "http/HttpServer.h"

namespace mivel::test {

// The Alpaca server on a free loopback port over fake driver objects, with time on a manual
// clock: waits of members, idle timeouts and answer deadlines move only when a test advances it.
// The device numbers are kept in the rig's folder.
struct ServerFixture : TestRig, HttpRig {
    explicit ServerFixture(http::ServerLimits limits = {})
        : server([this](const http::Request& r, http::Responder out) { api.handle(r, out); },
                 limits, clock) {
        listening = !server.listen(QHostAddress::LocalHost, 0);
    }

    quint16 port() const override { return server.port(); }
    FakeDevice& focuser() { return provider.fake(DeviceProvider::Kind::Focuser); }
    FakeDevice& rotator() { return provider.fake(DeviceProvider::Kind::Rotator); }
    FakeDevice& temperature() { return provider.fake(DeviceProvider::Kind::Temperature); }

    Waits waits{clock};
    FakeProvider provider{waits};
    alpaca::AlpacaServer api{
        provider, alpaca::DeviceIds::load(dir.path(), alpaca::AlpacaServer::deviceTypes()), clock};
    http::Server server;
    bool listening = false;
};

} // namespace mivel::test
