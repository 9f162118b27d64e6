#pragma once

// A program context whose serial line ends in the simulated unit, on the rig's clock, with the
// link held as the console holds it.

#include "support/TestRig.h"

#include "sim/SimDevice.h"
#include "sim/SimulatedUnit.h"

#include <memory>

namespace mivel::test {

struct HeaterRig {
    std::unique_ptr<sim::SimulatedUnit> unit;
    AppRig rig{[this] {
        unit = std::make_unique<sim::SimulatedUnit>(rig.clock);
        return sim::makeSimDevice(*unit);
    }};
    Connector console{rig.ctx->hub()};

    HeaterRig() {
        rig.ctx->hub().serial()->setConnected(true);
        // A still night, and a secondary at rest with its heater off.
        unit->setNightSwing(0);
        unit->setAmbient(50);
        unit->receive(" s0 ");
        rig.clock.advance(3 * 3600 * 1000);
        unit->clearReceived();
    }
    ~HeaterRig() {
        rig.ctx->hub().serial()->setConnected(false);
        unit.reset(); // its timers run on the rig's clock
    }
    // Runs the clock on a second at a time, letting the replies reach their readers.
    void run(qint64 seconds) {
        for (qint64 s = 0; s < seconds; ++s) {
            rig.clock.advance(1000);
            TestRig::settle();
        }
    }
    // What the unit heard since the last look, without the temperature polls.
    QByteArray heard() {
        TestRig::settle();
        QByteArray bytes = unit->receivedBytes().replace(" T ", "");
        unit->clearReceived();
        return bytes;
    }
};

} // namespace mivel::test
