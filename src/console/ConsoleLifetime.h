#pragma once

#include "drivers/AutomationDevice.h"
#include "link/Clock.h"

#include <QObject>

namespace mivel::console {

// When the program ends. The console and the driver server share one process: closing the main
// console ends the program unless an automation client has linked a driver object; then the
// server carries on without windows and the program ends once the last client has let go (and
// no console window is open).
class ConsoleLifetime : public QObject {
    Q_OBJECT
public:
    static constexpr qint64 WatchMs = 1000;

    ConsoleLifetime(DeviceProvider* devices, Clock& clock, QObject* parent = nullptr);

    // Whether any driver object is linked by a client.
    bool clientsLinked() const;
    bool serving() const { return watch_.isActive(); }

    void mainConsoleOpened();
    void mainConsoleClosed();
    void miniConsoleOpened() { ++miniConsoles_; }
    void miniConsoleClosed();

signals:
    // The program should close the port and end.
    void quitRequested();

private:
    void check();

    DeviceProvider* devices_;
    Timer watch_;
    bool mainOpen_ = false;
    int miniConsoles_ = 0;
    bool quitting_ = false;
};

} // namespace mivel::console
