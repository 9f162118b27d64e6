#pragma once

// A program context for the compensation and calibration tests, with the link held as the
// console holds it and the console's reply dispatcher keeping the shared compensation state.

#include "support/TestRig.h"

#include "tempcomp/TempCompReplies.h"

#include <QFile>

#include <functional>

namespace mivel::test {

struct TempCompRig : AppRig {
    using DeviceFactory = std::function<std::unique_ptr<SerialDevice>(Clock&)>;

    // With a device factory the line ends in what it makes on the rig's clock, and `device` is
    // null.
    explicit TempCompRig(bool portOpen = true, DeviceFactory factory = {})
        : AppRig(otherDevice(std::move(factory)))
        , console(ctx->hub()) {
        if (portOpen)
            ctx->hub().serial()->setConnected(true);
    }

    Connector console; // the console holds the link while its windows come and go
    // The console's reply dispatcher keeps the shared compensation state.
    tempcomp::TempCompReceiver consoleReceiver{ctx->hub(), ctx->shared().tempComp};

    // A reply of the unit, delivered as the link delivers a received chunk.
    void reply(const QByteArray& chunk) { ctx->hub().deliver(chunk); }
    TempCompState& tempComp() { return ctx->shared().tempComp; }
    const ScriptedPrompt::Shown& lastShown() const { return prompt->shown.back(); }

private:
    SerialDeviceFactory otherDevice(DeviceFactory factory) {
        if (!factory)
            return {};
        return [this, factory] { return factory(clock); };
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
