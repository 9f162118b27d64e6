#pragma once

#include <QList>
#include <QString>

namespace mivel::console {

// One entry of a setup dialog's port list. Its position in the list + 1 is the stored port
// number ("COM1" is 1); on Linux the entry also names the device that is stored beside it.
struct PortEntry {
    QString label;
    QString device; // empty: the port number's usual device
};

// The ports the setup dialogs offer. On Windows "COM1" to "COM20". Elsewhere the system's serial
// devices, the simulated unit's terminal when it runs, and the stored device if it has gone
// away meanwhile (so that the stored choice stays visible).
QList<PortEntry> availablePorts(const QString& simulatedDevice = {},
                                const QString& storedDevice = {});
// The fixed list "COM1" to "COM20".
QList<PortEntry> numberedPorts();

// The entry to select for a stored choice: the stored device when it is in the list, else the
// stored number's position; -1 selects nothing.
int portIndexFor(const QList<PortEntry>& ports, int portNumber, const QString& device);

} // namespace mivel::console
