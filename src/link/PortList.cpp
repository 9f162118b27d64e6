#include "PortList.h"

#include "link/Serial.h"

#include <QDir>
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

QString stableDeviceName(const QString& location, const QString& byIdDir) {
    const QString target = QFileInfo(location).canonicalFilePath();
    if (target.isEmpty())
        return location;
    const QDir dir(byIdDir);
    for (const QFileInfo& link : dir.entryInfoList(QDir::System | QDir::Files, QDir::Name))
        if (link.isSymLink() && link.canonicalFilePath() == target)
            return link.absoluteFilePath();
    return location;
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
        const QString location = info.systemLocation();
        const QString device = stableDeviceName(location);
        QString label =
            device == location ? location : QStringLiteral("%1 (%2)").arg(device, info.portName());
        if (!info.description().isEmpty())
            label += QStringLiteral(" - ") + info.description();
        // The device in use keeps the name it was chosen by.
        ports.append({label, location == deviceInUse ? location : device});
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
