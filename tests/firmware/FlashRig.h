#pragma once

// The firmware upload on the program's real serial port, against the simulated unit on a
// pseudo-terminal. Time is a manual clock shared by the program and the unit; bytes cross the
// terminal in real time, and the rig lets them settle after every step of the clock.

#include "support/CountingDevice.h"
#include "support/MemorySettingsStore.h"
#include "support/ScriptedPrompt.h"
#include "support/TestRig.h"

#include "app/AppContext.h"
#include "sim/PtyHost.h"
#include "sim/SimulatedUnit.h"
#include "wire/SRecord.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QTimer>

namespace mivel::test {

// A firmware file of count lines: an S0 header, S1 records of 16 bytes, and an S9 at the end
// (a one-line file is the S9 alone).
inline QByteArrayList firmwareLines(int count) {
    QByteArrayList lines;
    if (count == 1)
        return {QByteArray::fromStdString(wire::makeRecord('9', 0, {}))};
    lines << QByteArray::fromStdString(wire::makeRecord('0', 0, "mivel"));
    for (int i = 0; i < count - 2; ++i) {
        const std::string data(16, char('A' + i % 26));
        lines << QByteArray::fromStdString(wire::makeRecord('1', quint32(0x8000 + 16 * i), data));
    }
    lines << QByteArray::fromStdString(wire::makeRecord('9', 0x8000, {}));
    return lines;
}

inline bool writeFile(const QString& path, const QByteArrayList& lines,
                      const QByteArray& end = "\r\n") {
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    for (const QByteArray& line : lines)
        f.write(line + end);
    return true;
}

struct FlashRig : TestRig {
    sim::SimulatedUnit unit{clock};
    sim::PtyHost host{unit};
    qint64 written = 0;      // by the program to the port
    qint64 unitSent = 0;     // by the unit to the terminal
    qint64 heard = 0;        // by the program from the port
    QByteArray consoleHeard; // what reached a console's receiver
    ScriptedPrompt* prompt = nullptr;
    std::unique_ptr<AppContext> ctx;
    LinkHub::Subscription listening;
    LinkHub::Subscription console;
    std::optional<Connector> holder;
    bool stalled = false;

    FlashRig() {
        auto p = std::make_unique<ScriptedPrompt>();
        prompt = p.get();
        ctx = std::make_unique<AppContext>(
            std::make_unique<MemorySettingsStore>(), std::move(p),
            [this] { return std::unique_ptr<SerialDevice>(new CountingDevice(written)); },
            AppPaths::inDirectory(dir.path()), clock);
        QObject::connect(&unit, &sim::SimulatedUnit::transmit, &unit,
                         [this](const QByteArray& bytes) { unitSent += bytes.size(); });
        listening = ctx->hub().subscribe(LinkHub::Audience::Driver,
                                         [this](std::string_view d) { heard += qint64(d.size()); });
        console = ctx->hub().subscribe(LinkHub::Audience::Console, [this](std::string_view d) {
            consoleHeard.append(d.data(), qsizetype(d.size()));
        });
        unit.setEraseDurationMs(500);
        // A unit that hangs up is unplugged for good: its link goes, so that the program's
        // attempts to reopen it cannot reach a terminal that another test has made since.
        QObject::connect(&unit, &sim::SimulatedUnit::hungUpChanged, &unit, [this](bool hungUp) {
            if (hungUp && !host.linkPath().isEmpty())
                QFile::remove(host.linkPath());
        });
    }

    // Puts the unit on its terminal and opens the program's port to it.
    bool start() {
        const QString link = dir.filePath(QStringLiteral("unit"));
        if (const Status started = host.start(link)) {
            qWarning() << started->description;
            return false;
        }
        holder.emplace(ctx->hub());
        Serial& serial = ctx->hub().ensureSerial();
        serial.setDevicePath(link);
        if (const Status opened = serial.setConnected(true)) {
            qWarning() << opened->description;
            return false;
        }
        return true;
    }

    // Everything sent has reached the unit, and everything it said has reached the program.
    bool settled() const {
        // A hang-up has settled once the program has noticed it and closed its port.
        if (unit.hungUp() || !host.isRunning())
            return !serial().connected();
        return unit.receivedBytes().size() == written && heard == unitSent &&
               serial().outBufferCount() == 0;
    }
    Serial& serial() const { return *ctx->hub().serial(); }

    // Moves time on in steps, letting the line settle after each; gives up when it stalls.
    void run(qint64 ms, qint64 stepMs = 10) {
        untilSettled();
        for (qint64 t = 0; t < ms && !stalled; t += stepMs) {
            clock.advance(stepMs);
            stalled = !untilSettled();
        }
    }
    // Runs until done() or until ms have passed on the clock.
    template <class Done> bool runUntil(Done done, qint64 ms, qint64 stepMs = 10) {
        untilSettled();
        for (qint64 t = 0; t < ms && !stalled && !done(); t += stepMs) {
            clock.advance(stepMs);
            stalled = !untilSettled();
        }
        return done();
    }
    // Turns the event loop until the line has settled (and what that set off has run), for at
    // most 5 s of real time.
    bool untilSettled() {
        QDeadlineTimer deadline(5000);
        QTimer wake; // so that waiting for an event never sleeps past the deadline
        wake.start(5);
        do {
            settle();
            if (deadline.hasExpired()) {
                qWarning() << "the line did not settle: sent" << written << "heard by the unit"
                           << unit.receivedBytes().size() << "said by the unit" << unitSent
                           << "heard" << heard << "to go out" << serial().outBufferCount();
                return false;
            }
            if (!settled())
                QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        } while (!settled());
        settle();
        return true;
    }
};

} // namespace mivel::test
