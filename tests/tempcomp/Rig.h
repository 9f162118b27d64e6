#pragma once

// A program context for the compensation and calibration tests: an in-memory settings store,
// scripted prompts, a manual clock, and a serial device whose other end is the test.

#include "support/FakeSerialDevice.h"

#include "app/AppContext.h"
#include "app/MemorySettingsStore.h"
#include "tempcomp/TempCompReplies.h"

#include <QTemporaryDir>

namespace mivel::test {

struct Rig {
    ManualClock clock;
    MemorySettingsStore* store = nullptr;
    ScriptedPrompt* prompt = nullptr;
    FakeSerialDevice* device = nullptr;
    QTemporaryDir dir;
    AppContext ctx;
    Connector console; // the console holds the link while its windows come and go
    // The console's reply dispatcher keeps the shared compensation state.
    tempcomp::TempCompReceiver consoleReceiver{ctx.hub(), ctx.shared().tempComp};

    explicit Rig(bool portOpen = true)
        : ctx(
              makeStore(), makePrompt(), [this] { return makeDevice(); },
              AppPaths::inDirectory(dir.path()), clock)
        , console(ctx.hub()) {
        if (portOpen)
            ctx.hub().serial()->setConnected(true);
    }

    // What was sent since the last call.
    QByteArray sent() { return std::exchange(device->written, {}); }
    // A reply of the unit, delivered as the link delivers a received chunk.
    void reply(const QByteArray& chunk) { ctx.hub().deliver(chunk); }
    TempCompState& tempComp() { return ctx.shared().tempComp; }

private:
    std::unique_ptr<SettingsStore> makeStore() {
        auto s = std::make_unique<MemorySettingsStore>();
        store = s.get();
        return s;
    }
    std::unique_ptr<Prompt> makePrompt() {
        auto p = std::make_unique<ScriptedPrompt>();
        prompt = p.get();
        return p;
    }
    std::unique_ptr<SerialDevice> makeDevice() {
        auto d = std::make_unique<FakeSerialDevice>();
        device = d.get();
        return d;
    }
};

} // namespace mivel::test
