#pragma once

#include <QHostAddress>

namespace mivel {

// Where the driver server serves, and whether it answers discovery.
struct ServeOptions {
    quint16 alpacaPort = 11111;
    QHostAddress listen = QHostAddress(QHostAddress::LocalHost);
    bool discovery = false; // asked for; see discoveryActive()

    // Discovery answers when asked for, or when clients beyond this machine can reach the server.
    bool discoveryActive() const { return discovery || !listen.isLoopback(); }
};

} // namespace mivel
