#pragma once

#include "SettingsStore.h"
#include "SettingsTable.h"

#include <QString>
#include <QVariant>

namespace mivel {

// A key of the store held open for one piece of work and closed when it goes out of scope
// (closing is when the file store writes its changes). Like the store, it answers with the
// store's status codes.
class ScopedKey {
public:
    explicit ScopedKey(SettingsStore& store)
        : store_(store) {}
    ScopedKey(const ScopedKey&) = delete;
    ScopedKey& operator=(const ScopedKey&) = delete;
    ~ScopedKey() { close(); }

    long open(SettingsStore::Hive hive, const QString& path);
    long create(SettingsStore::Hive hive, const QString& path, bool* createdNew = nullptr);
    long close();

    bool isOpen() const { return open_; }
    SettingsStore::Key handle() const { return key_; }

private:
    SettingsStore& store_;
    SettingsStore::Key key_ = 0;
    bool open_ = false;
};

// Whether writing one setting may make the settings key when it does not exist.
enum class SettingsKeyUse { CreateIfMissing, OnlyIfPresent };

// Writes one value of the settings key (a dialog saving what the user changed) with the
// set-value primitive's types. The status of the open or create when that fails, else of the
// write, else of closing the key (the moment the file store saves).
long writeSetting(SettingsStore& store, const QString& name, int type, const QVariant& value,
                  SettingsKeyUse use = SettingsKeyUse::CreateIfMissing);
// Reads one value of the settings key with the query-value primitive: 0 read, 2 absent (or no
// settings key), other values failure.
long readSetting(SettingsStore& store, const QString& name, QVariant* value);

// The same for a value of the settings table, named once there with its type.
inline long writeSetting(SettingsStore& store, const Setting& setting, const QVariant& value,
                         SettingsKeyUse use = SettingsKeyUse::CreateIfMissing) {
    return writeSetting(store, setting.name, int(setting.type), value, use);
}
inline long readSetting(SettingsStore& store, const Setting& setting, QVariant* value) {
    return readSetting(store, setting.name, value);
}

} // namespace mivel
