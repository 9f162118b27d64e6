#pragma once

// The Alpaca server as the mivel program builds it, on a free loopback port, over the simulated
// unit paced at the line's real 9600 baud: the real driver objects and link, settings in memory,
// and messages as log lines. The line's device is the unit's in-memory one unless the bench
// gives another (the real serial port, for a unit on a pseudo-terminal).

#include "support/MemorySettingsStore.h"

#include "alpaca/DriverServer.h"
#include "app/AppContext.h"
#include "drivers/DriverSet.h"
#include "sim/OutputLine.h"
#include "sim/SimDevice.h"
#include "sim/SimulatedUnit.h"

#include <QTemporaryDir>

#include <memory>

namespace mivel::bench {

class BenchServer {
public:
    explicit BenchServer(SerialDeviceFactory makeDevice = {}) {
        unit.setPacing(sim::OutputLine::LineMsPerChar);
        if (!makeDevice)
            makeDevice = [this] { return sim::makeSimDevice(unit); };
        ctx = std::make_unique<AppContext>(std::make_unique<test::MemorySettingsStore>(),
                                           std::make_unique<LogPrompt>(), std::move(makeDevice),
                                           AppPaths::inDirectory(dir.path()));
        drivers = std::make_unique<DriverSet>(*ctx);
        ServeOptions options;
        options.alpacaPort = 0; // any free one
        server = std::make_unique<alpaca::DriverServer>(*ctx, *drivers, options);
        if (const Status started = server->start())
            qFatal("cannot listen: %s", qPrintable(started->description));
    }
    virtual ~BenchServer() { stop(); }
    BenchServer(const BenchServer&) = delete;
    BenchServer& operator=(const BenchServer&) = delete;

    quint16 port() const { return server->port(); }
    // The server, the driver objects and the link go, in that order, before the unit does.
    void stop() {
        server.reset();
        drivers.reset();
        ctx.reset();
    }

    QTemporaryDir dir;
    sim::SimulatedUnit unit;
    std::unique_ptr<AppContext> ctx;
    std::unique_ptr<DriverSet> drivers;
    std::unique_ptr<alpaca::DriverServer> server;
};

} // namespace mivel::bench
