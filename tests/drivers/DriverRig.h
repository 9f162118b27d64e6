#pragma once

// A program context for driver tests, with a fake unit behind the serial seam that answers each
// command the test's way.

#include "support/TestRig.h"

#include "app/ConsoleWindows.h"
#include "core/Task.h"

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

struct DriverRig : AppRig {
    // With no factory the line ends in a FakeSerialDevice (`device`).
    explicit DriverRig(SerialDeviceFactory otherDevice = {})
        : AppRig(std::move(otherDevice)) {}

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
        device->feed(chunk);
        settle();
    }
    int count(const QByteArray& command) const { return int(device->written.count(command)); }
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
