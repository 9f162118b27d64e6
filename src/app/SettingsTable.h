#pragma once

#include "Settings.h"
#include "SettingsStore.h"

#include "core/Error.h"

#include <QString>
#include <QVariant>

#include <optional>
#include <vector>

namespace mivel {

// Takes a stored value into the program-wide copy; an error (a type mismatch or an overflow,
// numbered as the settings routine always numbered them) when it does not fit.
using AssignSetting = Status (*)(Settings& settings, const QVariant& value);

// One named value of the settings key.
struct SettingValue {
    QString name; // empty: the key's default value, the driver's display name
    SettingsStore::Type type;
    QVariant first; // written when the key is created
    // Written right after `first` when the key is created, as another type (ErrorMessage).
    std::optional<std::pair<SettingsStore::Type, QVariant>> firstAgain;
    // Written with `type` and taken when the key exists but the value does not; empty when the
    // value is neither repaired nor read at start.
    std::optional<QVariant> missing;
    AssignSetting assign; // nullptr: not held in the program-wide copy
};

// Every value of the settings key in its binding order: the display name, then the values
// written at creation; those with Missing content are also the ones read at every start.
const std::vector<SettingValue>& settingValues();
const SettingValue* findSettingValue(const QString& name);

// The Linux serial device path stored beside PORT. Not one of the table's values: it is not
// written at creation, and an absent one is simply empty.
inline const QString PortDeviceValueName = QStringLiteral("PortDevice");

} // namespace mivel
