#pragma once

#include "FakeDevices.h"
#include "HttpTestClient.h"

#include "alpaca/AlpacaServer.h"
#include "alpaca/HttpServer.h"
#include "link/Clock.h"
#include "link/Waits.h"

#include <QTemporaryDir>

#include <memory>

namespace mivel::test {

// The Alpaca server on a free loopback port over fake driver objects, with time on a manual
// clock: waits of members, idle timeouts and answer deadlines move only when a test advances it.
struct ServerFixture {
    explicit ServerFixture(http::ServerLimits limits = {}) {
        alpaca = std::make_unique<alpaca::AlpacaServer>(
            provider, alpaca::DeviceIds::load(config.path(), alpaca::AlpacaServer::deviceTypes()),
            clock);
        server = std::make_unique<http::Server>(
            [this](const http::Request& r, http::Responder out) { alpaca->handle(r, out); }, limits,
            clock);
        QString error;
        listening = server->listen(QHostAddress::LocalHost, 0, &error);
    }

    quint16 port() const { return server->port(); }
    FakeDevice& focuser() { return provider.fake(DeviceProvider::Kind::Focuser); }
    FakeDevice& rotator() { return provider.fake(DeviceProvider::Kind::Rotator); }
    FakeDevice& temperature() { return provider.fake(DeviceProvider::Kind::Temperature); }

    // One request on a fresh connection, and its answer.
    HttpReply get(const QByteArray& target) {
        HttpTestClient c(port());
        c.get(target);
        return c.await();
    }
    HttpReply put(const QByteArray& target, const QByteArray& form) {
        HttpTestClient c(port());
        c.put(target, form);
        return c.await();
    }

    QTemporaryDir config;
    ManualClock clock;
    Waits waits{clock};
    FakeProvider provider{waits};
    std::unique_ptr<alpaca::AlpacaServer> alpaca;
    std::unique_ptr<http::Server> server;
    bool listening = false;
};

} // namespace mivel::test
