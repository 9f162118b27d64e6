#pragma once

#include "SettingsStore.h"

#include "core/Error.h"

#include <QString>

namespace mivel {

// The automation server's registration keys in the classes-root hive.
namespace registration {
inline const QString FocuserClassKey = QStringLiteral("Vark_AE.Focuser\\clsid");
inline const QString RotatorClassKey = QStringLiteral("Vark_AE.Rotator\\clsid");
inline const QString ClassesKey = QStringLiteral("CLSID\\");
inline const QString AppIdsKey = QStringLiteral("AppID\\");
inline const QString ExecutableAppIdKey = QStringLiteral("AppID\\Vark-ae.EXE");
inline const QString AppIdValue = QStringLiteral("AppID");
inline const QString AuthenticationLevelValue = QStringLiteral("AuthenticationLevel");
inline const QString AppDescription = QStringLiteral("ASCOM driver for Vark Mivel focuser");
// No authentication, so clients on the same machine under other accounts can call the server.
constexpr int NoAuthentication = 1;
} // namespace registration

// Repairs the registration at every start, in this order: reads the focuser's and the
// rotator's class identifiers; takes the focuser class's AppID as the application identifier,
// or when it has none the rotator's class identifier, which is then stored as that AppID;
// gives the application key its description when the key is new and AuthenticationLevel 1
// always; points the executable's AppID key at the application identifier.
// A key that cannot be opened (or a value that cannot be read) gives "Unable to read registry
// value", a key that cannot be created "Unable to create key", numbered with the store's status.
Status repairRegistration(SettingsStore& store);

} // namespace mivel
