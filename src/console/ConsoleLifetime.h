#pragma once

#include "link/LinkHub.h"

#include <QObject>

namespace mivel::console {

// When the program ends, as the console sees it. The console and the driver server share one
// process, which lives while anything holds the one link: each console window holds it while it
// is open, a client while it has a driver object linked or a request running. Closing the main
// console therefore ends the program unless a client still uses a device or another window is
// open; then the program ends when the last of them lets go.
class ConsoleLifetime : public QObject {
    Q_OBJECT
public:
    explicit ConsoleLifetime(LinkHub& hub, QObject* parent = nullptr);

signals:
    // The last holder let go: the link is torn down (the port closed) and the program ends.
    void quitRequested();
};

} // namespace mivel::console
