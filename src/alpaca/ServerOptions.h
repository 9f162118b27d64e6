#pragma once

#include <QHostAddress>
#include <QString>
#include <QStringList>

#include <optional>

namespace mivel {

// The command line of the mivel program.
struct ServerOptions {
    bool headless = false;
    bool simulate = false;
    bool discovery = false; // asked for; see discoveryActive()
    bool help = false;
    QString portDevice; // serial device path over the stored port; empty: the stored one
    quint16 alpacaPort = 11111;
    QHostAddress listen = QHostAddress(QHostAddress::LocalHost);
    QString configDir;       // empty: the standard folders
    double thermalSpeed = 1; // how many times faster the simulated unit's night runs

    // Discovery answers when asked for, or when clients beyond this machine can reach the server.
    bool discoveryActive() const { return discovery || !listen.isLoopback(); }
};

struct ParsedOptions {
    std::optional<ServerOptions> options; // empty when the command line is wrong
    QString error;                        // one line saying what is wrong
};

// args as main received them, program name first.
ParsedOptions parseServerOptions(const QStringList& args);
QString serverUsage();

// Whether a graphical session is there to show windows in: on Linux and other X11/Wayland
// systems, DISPLAY or WAYLAND_DISPLAY; elsewhere always.
bool displayAvailable();

} // namespace mivel
