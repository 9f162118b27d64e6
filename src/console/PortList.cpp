#include "PortList.h"

#include "link/Serial.h"

#include <QFileInfo>
#include <QSerialPortInfo>

#include <algorithm>

namespace mivel::console {

QList<PortEntry> numberedPorts() {
    QList<PortEntry> ports;
    for (int n = 1; n <= 20; ++n)
        ports.append({QStringLiteral("COM%1").arg(n), {}});
    return ports;
}

QList<PortEntry> availablePorts(const QString& simulatedDevice, const QString& deviceInUse) {
#ifdef Q_OS_WIN
    Q_UNUSED(simulatedDevice);
    Q_UNUSED(deviceInUse);
    return numberedPorts();
#else
    QList<PortEntry> ports;
    if (!simulatedDevice.isEmpty())
        ports.append(
            {QStringLiteral("Simulated unit (%1)").arg(simulatedDevice), simulatedDevice, true});
    auto infos = QSerialPortInfo::availablePorts();
    std::sort(infos.begin(), infos.end(), [](const QSerialPortInfo& a, const QSerialPortInfo& b) {
        return a.systemLocation() < b.systemLocation();
    });
    for (const QSerialPortInfo& info : infos) {
        const QString label =
            info.description().isEmpty()
                ? info.systemLocation()
                : QStringLiteral("%1 - %2").arg(info.systemLocation(), info.description());
        ports.append({label, info.systemLocation()});
    }
    const bool listed = std::any_of(ports.begin(), ports.end(),
                                    [&](const PortEntry& p) { return p.device == deviceInUse; });
    if (!deviceInUse.isEmpty() && !listed)
        ports.append({QFileInfo::exists(deviceInUse)
                          ? deviceInUse
                          : QStringLiteral("%1 (not present)").arg(deviceInUse),
                      deviceInUse});
    return ports;
#endif
}

int portIndexFor(const QList<PortEntry>& ports, int portNumber, const QString& device) {
    const QString wanted =
        device.isEmpty() ? Serial::deviceNameForPort(qint16(portNumber)) : device;
    for (int i = 0; i < ports.size(); ++i)
        if (ports[i].device == wanted)
            return i;
    // A numbered list ("COM1" to "COM20") names no devices: the number is the position.
    const int at = portNumber - 1;
    return at >= 0 && at < ports.size() && ports[at].device.isEmpty() ? at : -1;
}

} // namespace mivel::console
