#pragma once

#include "SettingsStore.h"

#include <QString>

#include <map>
#include <optional>
#include <vector>

namespace mivel {

// The keys and values of a settings store held in memory, with the registry's rules: key paths
// and value names compare without regard to case, a key exists when it or a key below it was
// created, values keep the order they were first written in, and a handle stays valid until it
// is closed. The in-memory and file stores are built on it.
class SettingsTree {
public:
    using Hive = SettingsStore::Hive;
    using Type = SettingsStore::Type;
    using Handle = SettingsStore::Key;

    struct Value {
        QString name; // empty for the key's default value
        Type type = Type::None;
        QByteArray data;
    };
    struct Key {
        Hive hive = Hive::LocalMachine;
        QString path;
        std::vector<Value> values;
    };

    long open(Hive hive, const QString& path, Handle* handle);
    long create(Hive hive, const QString& path, Handle* handle, bool* createdNew);
    long close(Handle handle);
    // Removes the key with everything below it; NotFound when there is no such key.
    long remove(Hive hive, const QString& path);
    long set(Handle handle, const QString& name, Type type, const QByteArray& data);
    long query(Handle handle, const QString& name, Type* type, QByteArray* data) const;

    bool exists(Hive hive, const QString& path) const;
    // The key and path a handle stands for; empty once closed or when its key was removed.
    const Key* keyOf(Handle handle) const;
    std::optional<Value> value(Hive hive, const QString& path, const QString& name) const;
    // Puts a value directly, creating the key: for loading a file and preparing tests.
    void put(Hive hive, const QString& path, const QString& name, Type type,
             const QByteArray& data);
    bool removeValue(Hive hive, const QString& path, const QString& name);
    // The key itself, created if needed (a section of a file that has no values yet).
    Key& keyAt(Hive hive, const QString& path);

    // Every key in the order it was first created.
    const std::vector<Key>& keys() const { return keys_; }
    int openHandles() const { return int(handles_.size()); }

private:
    struct Place {
        Hive hive;
        QString path;
    };
    Key* find(Hive hive, const QString& path);
    const Key* find(Hive hive, const QString& path) const;
    Key* keyFor(Handle handle);
    Handle issue(Hive hive, const QString& path);

    std::vector<Key> keys_;
    std::map<Handle, Place> handles_;
    Handle nextHandle_ = 1;
};

} // namespace mivel
