#pragma once

// A program context for the compensation and calibration tests: an in-memory settings store,
// scripted prompts, a manual clock, and a serial device whose other end is the test (or, given a
// device factory, whatever that factory makes).

#include "support/FakeSerialDevice.h"

#include "app/AppContext.h"
#include "app/MemorySettingsStore.h"
#include "tempcomp/TempCompReplies.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

#include <functional>

namespace mivel::test {

struct Rig {
    using DeviceFactory = std::function<std::unique_ptr<SerialDevice>(Clock&)>;

    DeviceFactory makeOtherDevice;
    ManualClock clock;
    MemorySettingsStore* store = nullptr;
    ScriptedPrompt* prompt = nullptr;
    FakeSerialDevice* device = nullptr; // null with a device factory
    QTemporaryDir dir;
    AppContext ctx;
    Connector console; // the console holds the link while its windows come and go
    // The console's reply dispatcher keeps the shared compensation state.
    tempcomp::TempCompReceiver consoleReceiver{ctx.hub(), ctx.shared().tempComp};

    explicit Rig(bool portOpen = true, DeviceFactory factory = {})
        : makeOtherDevice(std::move(factory))
        , ctx(
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
    const ScriptedPrompt::Shown& lastShown() const { return prompt->shown.back(); }
    QString path(const char* name) const { return dir.filePath(QLatin1String(name)); }
    // Lets queued deliveries of a device in the event loop run.
    static void settle() {
        for (int i = 0; i < 10; ++i)
            QCoreApplication::processEvents();
    }

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
        if (makeOtherDevice)
            return makeOtherDevice(clock);
        auto d = std::make_unique<FakeSerialDevice>();
        device = d.get();
        return d;
    }
};

inline QByteArray readAll(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

inline bool writeAll(const QString& path, const QByteArray& data) {
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(data) == data.size();
}

} // namespace mivel::test
