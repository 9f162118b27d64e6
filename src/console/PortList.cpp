#include "PortList.h"

#include <QSerialPortInfo>

#include <algorithm>

namespace mivel::console {

QList<PortEntry> numberedPorts() {
    QList<PortEntry> ports;
    for (int n = 1; n <= 20; ++n)
        ports.append({QStringLiteral("COM%1").arg(n), {}});
    return ports;
}

QList<PortEntry> availablePorts(const QString& simulatedDevice, const QString& storedDevice) {
#ifdef Q_OS_WIN
    Q_UNUSED(simulatedDevice);
    Q_UNUSED(storedDevice);
    return numberedPorts();
#else
    QList<PortEntry> ports;
    if (!simulatedDevice.isEmpty())
        ports.append({QStringLiteral("Simulated unit (%1)").arg(simulatedDevice), simulatedDevice});
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
                                    [&](const PortEntry& p) { return p.device == storedDevice; });
    if (!storedDevice.isEmpty() && !listed)
        ports.append({QStringLiteral("%1 (not present)").arg(storedDevice), storedDevice});
    return ports;
#endif
}

int portIndexFor(const QList<PortEntry>& ports, int portNumber, const QString& device) {
    if (!device.isEmpty()) {
        for (int i = 0; i < ports.size(); ++i)
            if (ports[i].device == device)
                return i;
    }
    return portNumber >= 1 && portNumber <= ports.size() ? portNumber - 1 : -1;
}

} // namespace mivel::console
