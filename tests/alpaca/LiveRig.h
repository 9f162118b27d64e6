#pragma once

// The whole server as the mivel program builds it, on a free loopback port: the real driver
// objects, the link, and the simulated unit behind an in-memory line, with time on a manual
// clock so that a 500 ms wait for a reply costs nothing.

#include "HttpTestClient.h"

#include "alpaca/DriverServer.h"
#include "app/AppContext.h"
#include "app/MemorySettingsStore.h"
#include "drivers/DriverSet.h"
#include "sim/SimDevice.h"
#include "sim/SimulatedUnit.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <memory>

namespace mivel::test {

struct LiveRig {
    LiveRig() {
        unit = std::make_unique<sim::SimulatedUnit>(clock);
        ctx = std::make_unique<AppContext>(
            std::make_unique<MemorySettingsStore>(), std::make_unique<ScriptedPrompt>(),
            [this] { return sim::makeSimDevice(*unit); }, AppPaths::inDirectory(dir.path()), clock);
        drivers = std::make_unique<DriverSet>(*ctx);
        ServerOptions options;
        options.alpacaPort = 0;
        server = std::make_unique<alpaca::DriverServer>(*ctx, *drivers, options);
        QString error;
        listening = server->start(&error);
    }
    ~LiveRig() {
        server.reset();
        drivers.reset();
        ctx.reset(); // the line goes before the unit at its other end
    }

    quint16 port() const { return server->port(); }

    static void settle() {
        for (int i = 0; i < 4; ++i)
            QCoreApplication::processEvents();
    }
    // Moves time on in small steps, letting the line, the drivers and the sockets work.
    void advance(qint64 ms, qint64 step = 5) {
        for (qint64 t = 0; t < ms; t += step) {
            settle();
            clock.advance(step);
        }
        settle();
    }
    // The next answer on c, moving time on while it is awaited; status 0 if none in limitMs.
    HttpReply await(HttpTestClient& c, qint64 limitMs = 20'000) {
        for (qint64 t = 0; t < limitMs; t += 5) {
            settle();
            if (auto r = c.take())
                return *r;
            clock.advance(5);
        }
        return {};
    }
    HttpReply get(const QByteArray& target) {
        HttpTestClient c(port());
        c.get(target);
        return await(c);
    }
    HttpReply put(const QByteArray& target, const QByteArray& form) {
        HttpTestClient c(port());
        c.put(target, form);
        return await(c);
    }
    QJsonObject getJson(const QByteArray& target) { return get(target).json(); }
    QJsonObject putJson(const QByteArray& target, const QByteArray& form) {
        return put(target, form).json();
    }
    int sent(const QByteArray& command) const { return int(unit->receivedBytes().count(command)); }

    ManualClock clock;
    QTemporaryDir dir;
    std::unique_ptr<sim::SimulatedUnit> unit;
    std::unique_ptr<AppContext> ctx;
    std::unique_ptr<DriverSet> drivers;
    std::unique_ptr<alpaca::DriverServer> server;
    bool listening = false;
};

} // namespace mivel::test
