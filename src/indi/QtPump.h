#pragma once

#include <QCoreApplication>

#include <functional>
#include <memory>

namespace mivel::indi {

// Qt inside an INDI driver. libindi's own main() runs INDI's event loop, so Qt's events (the
// serial port's reads, the driver objects' timers and waits) are processed from a periodic INDI
// timer instead of QCoreApplication::exec(). Everything runs on the one thread, as the driver
// objects require.
class QtPump {
public:
    // Often enough that a reply is handled within a character time or two of the unit's line.
    static constexpr int PumpMs = 10;

    QtPump();
    ~QtPump();
    QtPump(const QtPump&) = delete;
    QtPump& operator=(const QtPump&) = delete;

    // Processes Qt's events until done() holds or timeoutMs have passed; INDI's loop waits
    // meanwhile. Only for what INDI asks for synchronously (connecting), never for a request.
    bool runUntil(const std::function<bool()>& done, int timeoutMs);

private:
    static void onTimer(void* self);

    std::unique_ptr<QCoreApplication> app_;
    int timerId_ = -1;
};

} // namespace mivel::indi
