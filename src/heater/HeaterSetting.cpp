#include "HeaterSetting.h"

#include "link/Serial.h"
#include "wire/Commands.h"

#include <QObject>

namespace mivel::heater {

QByteArray restoreCommand(const std::optional<HeaterSetting>& before) {
    if (before && before->mode != 0)
        return wire::command(wire::Cmd::HeaterMode, before->mode);
    // Manual power goes out as the console sends it, with its leading space.
    return wire::command(wire::Cmd::HeaterPower, before ? before->power : 0, wire::Lead::Space);
}

QString restoredText(const std::optional<HeaterSetting>& before) {
    if (!before)
        return QStringLiteral("What the heater did before the recording is not known, so it has "
                              "been turned off.");
    if (before->mode != 0)
        return QStringLiteral("The heater is back in automatic mode %1.").arg(before->mode);
    return QStringLiteral("The heater is back on manual power at %1 %.").arg(before->power);
}

void restoreWhenOpen(Serial& serial, const QByteArray& command) {
    // A plain object owned by the port: it goes with the link if the port never opens again.
    auto* pending = new QObject(&serial);
    QObject::connect(&serial, &Serial::connectedChanged, pending,
                     [&serial, pending, command](bool open) {
                         if (!open)
                             return;
                         serial.transmit(command);
                         QObject::disconnect(&serial, nullptr, pending, nullptr);
                         pending->deleteLater();
                     });
}

} // namespace mivel::heater
