#pragma once

#include <QList>
#include <QString>

namespace mivel::console {

// One entry of a setup dialog's port list. Its position in the list + 1 is the stored port
// number ("COM1" is 1); on Linux the entry also names the device that is stored beside it.
struct PortEntry {
    QString label;
    QString device;         // empty: the port number's usual device
    bool temporary = false; // the simulated unit's terminal: it goes with the run, never stored
};

// The ports the setup dialogs offer. On Windows "COM1" to "COM20". Elsewhere the system's serial
// devices (each by its stable name where it has one), the simulated unit's terminal when it runs,
// and the device in use when the system does not list it (a pseudo-terminal, or a device that has
// gone away meanwhile), so that the port in use can always be shown.
QList<PortEntry> availablePorts(const QString& simulatedDevice = {},
                                const QString& deviceInUse = {});
// The name under which a serial device stays the same: a USB serial adapter may come back as
// another /dev/ttyUSBn after it was unplugged, but its link in byIdDir names the adapter itself.
// The device's own path when no link there points at it.
QString stableDeviceName(const QString& location,
                         const QString& byIdDir = QStringLiteral("/dev/serial/by-id"));
// The fixed list "COM1" to "COM20".
QList<PortEntry> numberedPorts();

// The entry for a port: the one naming its device (the given one, else the number's usual
// device), else in a numbered list the number's position; -1 selects nothing.
int portIndexFor(const QList<PortEntry>& ports, int portNumber, const QString& device);

} // namespace mivel::console
