#include "SettingsKey.h"

namespace mivel {

long ScopedKey::open(SettingsStore::Hive hive, const QString& path) {
    close();
    const long status = store_.openKey(hive, path, &key_);
    open_ = status == SettingsStore::Success;
    return status;
}

long ScopedKey::create(SettingsStore::Hive hive, const QString& path, bool* createdNew) {
    close();
    const long status = store_.createKey(hive, path, &key_, createdNew);
    open_ = status == SettingsStore::Success;
    return status;
}

long ScopedKey::close() {
    if (!open_)
        return SettingsStore::Success;
    open_ = false;
    return store_.closeKey(key_);
}

long writeSetting(SettingsStore& store, const QString& name, int type, const QVariant& value,
                  SettingsKeyUse use) {
    ScopedKey key(store);
    const auto hive = SettingsStore::Hive::LocalMachine;
    const long opened = use == SettingsKeyUse::CreateIfMissing ? key.create(hive, SettingsKeyPath)
                                                               : key.open(hive, SettingsKeyPath);
    if (opened != SettingsStore::Success)
        return opened;
    const long written = setSettingValue(store, key.handle(), name, type, value);
    const long closed = key.close();
    return written != SettingsStore::Success ? written : closed;
}

long readSetting(SettingsStore& store, const QString& name, QVariant* value) {
    ScopedKey key(store);
    const long opened = key.open(SettingsStore::Hive::LocalMachine, SettingsKeyPath);
    if (opened != SettingsStore::Success)
        return opened;
    return querySettingValue(store, key.handle(), name, value);
}

} // namespace mivel
