#include "Registration.h"

#include "SettingsKey.h"

#include <QVariant>

namespace mivel {

namespace {

using namespace registration;
using Hive = SettingsStore::Hive;
using Type = SettingsStore::Type;
constexpr Hive Root = Hive::ClassesRoot;

Error unableToRead(long status) {
    return {ErrorKind::OtherFailure, status, {}, QStringLiteral("Unable to read registry value")};
}

Error unableToCreate(long status) {
    return {ErrorKind::OtherFailure, status, {}, QStringLiteral("Unable to create key")};
}

// The default value of a class key: a class identifier.
Result<QString> readClassId(SettingsStore& store, const QString& path) {
    ScopedKey key(store);
    if (const long status = key.open(Root, path))
        return unableToRead(status);
    QVariant id;
    if (const long status = querySettingValue(store, key.handle(), QString(), &id))
        return unableToRead(status);
    return id.toString();
}

// The focuser class's AppID, stored first from the rotator's class identifier when absent.
Result<QString> applicationId(SettingsStore& store, const QString& focuserId,
                              const QString& rotatorId) {
    ScopedKey key(store);
    if (const long status = key.open(Root, ClassesKey + focuserId))
        return unableToRead(status);
    QVariant stored;
    const long status = querySettingValue(store, key.handle(), AppIdValue, &stored);
    if (status == SettingsStore::Success)
        return stored.toString();
    if (status != SettingsStore::NotFound)
        return unableToRead(status);
    setSettingValue(store, key.handle(), AppIdValue, int(Type::String), rotatorId);
    return rotatorId;
}

Status describeApplication(SettingsStore& store, const QString& appId) {
    ScopedKey key(store);
    bool createdNew = false;
    if (const long status = key.create(Root, AppIdsKey + appId, &createdNew))
        return unableToCreate(status);
    if (createdNew)
        setSettingValue(store, key.handle(), QString(), int(Type::String), AppDescription);
    setSettingValue(store, key.handle(), AuthenticationLevelValue, int(Type::Dword),
                    NoAuthentication);
    return {};
}

Status pointExecutableAt(SettingsStore& store, const QString& appId) {
    ScopedKey key(store);
    if (const long status = key.create(Root, ExecutableAppIdKey))
        return unableToCreate(status);
    setSettingValue(store, key.handle(), AppIdValue, int(Type::String), appId);
    return {};
}

} // namespace

Status repairRegistration(SettingsStore& store) {
    const auto focuserId = readClassId(store, FocuserClassKey);
    if (!focuserId)
        return focuserId.error();
    const auto rotatorId = readClassId(store, RotatorClassKey);
    if (!rotatorId)
        return rotatorId.error();
    const auto appId = applicationId(store, *focuserId, *rotatorId);
    if (!appId)
        return appId.error();
    if (auto error = describeApplication(store, *appId))
        return error;
    return pointExecutableAt(store, *appId);
}

} // namespace mivel
