#pragma once

// A program context for driver tests: an in-memory settings store, scripted prompts, a manual
// clock, and a fake unit behind the serial seam that answers each command the test's way.

#include "support/FakeSerialDevice.h"

#include "app/AppContext.h"
#include "app/MemorySettingsStore.h"
#include "core/Task.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <memory>
#include <optional>

namespace mivel::test {

using Respond = std::function<QByteArray(const QByteArray& command)>;

// A unit that answers one command, exactly as written, with one reply.
inline Respond answering(const QByteArray& command, const QByteArray& reply) {
    return [=](const QByteArray& c) { return c == command ? reply : QByteArray(); };
}
// A unit that answers the link probe, with or without its leading space, and nothing else.
inline QByteArray answerProbe(const QByteArray& command) {
    return command.trimmed() == "!" ? QByteArray(":! 1 ") : QByteArray();
}

struct DriverRig {
    ManualClock clock;
    QTemporaryDir dir;
    MemorySettingsStore* store = nullptr;
    ScriptedPrompt* prompt = nullptr;
    FakeSerialDevice* unit = nullptr;
    Respond respond; // given to the unit when the line creates it
    std::unique_ptr<AppContext> ctx;

    // With no factory the line ends in a FakeSerialDevice (`unit`).
    explicit DriverRig(SerialDeviceFactory device = {}) {
        auto s = std::make_unique<MemorySettingsStore>();
        auto p = std::make_unique<ScriptedPrompt>();
        store = s.get();
        prompt = p.get();
        if (!device)
            device = [this] {
                auto u = std::make_unique<FakeSerialDevice>();
                unit = u.get();
                unit->respond = respond;
                return std::unique_ptr<SerialDevice>(std::move(u));
            };
        ctx = std::make_unique<AppContext>(std::move(s), std::move(p), std::move(device),
                                           AppPaths::inDirectory(dir.path()), clock);
    }

    // Lets everything queued run: yields, received chunks, replies to them.
    static void settle() {
        for (int i = 0; i < 8; ++i)
            QCoreApplication::processEvents();
    }
    // Moves time on a millisecond at a time, letting queued work run at every step.
    void advance(qint64 ms) {
        settle();
        for (qint64 i = 0; i < ms; ++i) {
            clock.advance(1);
            settle();
        }
    }
    // Runs a member to its end, moving time on as it waits; gives up after `limitMs`.
    template <class T> typename Task<T>::Value run(Task<T> task, qint64 limitMs = 30'000) {
        settle();
        for (qint64 i = 0; i < limitMs && !task.isDone(); ++i) {
            clock.advance(1);
            settle();
        }
        Q_ASSERT(task.isDone());
        return task.result();
    }
    // Opens the shared port as a console would, without a driver.
    // The console holds the link and opens the port.
    void openPortAsConsole() {
        if (!console)
            console.emplace(ctx->hub());
        ctx->hub().ensureSerial().setConnected(true);
    }
    std::optional<Connector> console;
    qint64 now() const { return clock.nowMs(); }
    Serial& serial() { return *ctx->hub().serial(); }
    void deliver(const QByteArray& chunk) {
        unit->feed(chunk);
        settle();
    }
    // What the unit received since the last look.
    QByteArray sent() { return std::exchange(unit->written, {}); }
    int count(const QByteArray& command) const { return int(unit->written.count(command)); }
};

// The console's windows, counted.
struct CountedWindows final : ConsoleWindows {
    bool mainOpen = false;
    int miniShown = 0;
    int mainShown = 0;
    int focuserSetups = 0;
    int rotatorSetups = 0;
    bool mainConsoleOpen() const override { return mainOpen; }
    void showMiniConsole() override { ++miniShown; }
    void showMainConsole() override { ++mainShown; }
    void showFocuserSetup() override { ++focuserSetups; }
    void showRotatorSetup() override { ++rotatorSetups; }
};

} // namespace mivel::test
