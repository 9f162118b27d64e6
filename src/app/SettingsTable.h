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

// A named value of the settings key and the type it is stored as. Call sites name one of the
// values below instead of re-spelling its name and type.
struct Setting {
    QString name; // empty: the key's default value, the driver's display name
    SettingsStore::Type type;
};

namespace setting {
// clang-format off
inline const Setting DisplayName{QString(), SettingsStore::Type::String};
inline const Setting Absolute{QStringLiteral("Absolute"), SettingsStore::Type::Dword};
inline const Setting PORT{QStringLiteral("PORT"), SettingsStore::Type::Dword};
inline const Setting Prompt{QStringLiteral("Prompt"), SettingsStore::Type::Dword};
inline const Setting ControlConsole{QStringLiteral("ControlConsole"), SettingsStore::Type::Dword};
inline const Setting ErrorMessage{QStringLiteral("ErrorMessage"), SettingsStore::Type::Dword};
inline const Setting StepSize{QStringLiteral("StepSize"), SettingsStore::Type::String};
inline const Setting FocusStep{QStringLiteral("FocusStep"), SettingsStore::Type::Dword};
inline const Setting RotateStep{QStringLiteral("RotateStep"), SettingsStore::Type::Dword};
inline const Setting RotateStepOption{QStringLiteral("RotateStepOption"), SettingsStore::Type::String};
inline const Setting MainPosX{QStringLiteral("MainPosX"), SettingsStore::Type::Dword};
inline const Setting MainPosY{QStringLiteral("MainPosY"), SettingsStore::Type::Dword};
inline const Setting MiniPosX{QStringLiteral("MiniPosX"), SettingsStore::Type::Dword};
inline const Setting MiniPosY{QStringLiteral("MiniPosY"), SettingsStore::Type::Dword};
inline const Setting CheckTelescope{QStringLiteral("CheckTelescope"), SettingsStore::Type::Dword};
inline const Setting PromptTheSky{QStringLiteral("PromptTheSky"), SettingsStore::Type::Dword};
inline const Setting DornaSynchedToTelescope{QStringLiteral("DornaSynchedToTelescope"), SettingsStore::Type::Dword};
inline const Setting ImageScale{QStringLiteral("ImageScale"), SettingsStore::Type::String};
inline const Setting MaxPosErr{QStringLiteral("MaxPosErr"), SettingsStore::Type::String};
inline const Setting MaxRotErr{QStringLiteral("MaxRotErr"), SettingsStore::Type::String};
inline const Setting MaxItterations{QStringLiteral("MaxItterations"), SettingsStore::Type::Dword};
inline const Setting LargeStepSize{QStringLiteral("LargeStepSize"), SettingsStore::Type::Dword};
inline const Setting SmallStepSize{QStringLiteral("SmallStepSize"), SettingsStore::Type::Dword};
inline const Setting DornaLimit{QStringLiteral("DornaLimit"), SettingsStore::Type::Dword};
inline const Setting AutoReverse{QStringLiteral("AutoReverse"), SettingsStore::Type::Dword};
inline const Setting Detector{QStringLiteral("Detector"), SettingsStore::Type::String};
// Not among the values written at creation: a console preference and the Linux serial device
// path stored beside PORT (an absent one is simply empty).
inline const Setting NightVision{QStringLiteral("NightVision"), SettingsStore::Type::Dword};
inline const Setting PortDevice{QStringLiteral("PortDevice"), SettingsStore::Type::String};
// clang-format on
} // namespace setting

// One value of the settings key as the table below holds it.
struct SettingValue {
    Setting key;
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

// The typed forms of the settings primitives: the name and type come from the value.
inline long setSettingValue(SettingsStore& store, SettingsStore::Key key, const Setting& value,
                            const QVariant& data) {
    return setSettingValue(store, key, value.name, int(value.type), data);
}
inline long querySettingValue(SettingsStore& store, SettingsStore::Key key, const Setting& value,
                              QVariant* data) {
    return querySettingValue(store, key, value.name, data);
}

} // namespace mivel
