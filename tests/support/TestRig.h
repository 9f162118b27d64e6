#pragma once

// The rigs the tests are built on. Time is a manual clock that moves only when a test says so,
// and queued work (deliveries of received chunks, resumed waits, replies of a fake) runs only
// when a test settles the event loop: one way of doing that for every rig.

#include "support/FakeSerialDevice.h"
#include "support/MemorySettingsStore.h"
#include "support/ScriptedPrompt.h"

#include "app/AppContext.h"
#include "core/Clock.h"

#include <QTemporaryDir>

#include <functional>
#include <memory>

namespace mivel::test {

// A manual clock, a scratch folder, and the one way of letting the event loop run.
class TestRig {
public:
    ManualClock clock;
    QTemporaryDir dir;
    // On a real terminal bytes travel in real time: with this set, every step of advance() also
    // lets this much real time pass.
    int realMsPerStep = 0;

    // Lets everything queued run: yields, received chunks, the replies to them. A fixed number
    // of turns of the event loop, more than any chain of queued deliveries here needs.
    static void settle();
    // Moves time on in steps, letting queued work run before the first step and after each.
    void advance(qint64 ms, qint64 stepMs = 1);
    QString path(const char* name) const { return dir.filePath(QLatin1String(name)); }
};

// A program context on a test rig: an in-memory settings store, scripted prompts, and a fake
// serial device behind the seam (or whatever a given factory makes).
class AppRig : public TestRig {
public:
    explicit AppRig(SerialDeviceFactory otherDevice = {});
    virtual ~AppRig();
    AppRig(const AppRig&) = delete;
    AppRig& operator=(const AppRig&) = delete;

    MemorySettingsStore* store = nullptr;
    ScriptedPrompt* prompt = nullptr;
    FakeSerialDevice* device = nullptr; // the fake the line made last; null with another factory
    // Given to the fake when the line makes it: answers each command as the unit would.
    std::function<QByteArray(const QByteArray& command)> respond;
    std::unique_ptr<AppContext> ctx;

    // What the fake received since the last look.
    QByteArray sent() { return std::exchange(device->written, {}); }

private:
    std::unique_ptr<SerialDevice> makeFake();
};

} // namespace mivel::test
