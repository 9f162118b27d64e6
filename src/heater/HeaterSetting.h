#pragma once

// What the secondary heater was doing before the tuning took it over, and putting it back.

#include <QByteArray>
#include <QString>

#include <optional>

namespace mivel {
class Serial;
}

namespace mivel::heater {

struct HeaterSetting {
    int mode = 0;  // 0 manual power, 1 and 2 the automatic modes
    int power = 0; // percent, in manual mode
};

// The command that puts the heater back as it was; off (manual power 0) when that is unknown.
QByteArray restoreCommand(const std::optional<HeaterSetting>& before);
// What the observer is told about it: "The heater is back on manual power at 20 %." ...
QString restoredText(const std::optional<HeaterSetting>& before);

// Sends `command` when the shared port next opens, once. For a heater that could not be put
// back because the port had closed: it lives with the link, not with the window that asked.
void restoreWhenOpen(Serial& serial, const QByteArray& command);

} // namespace mivel::heater
