#include "support/MemorySettingsStore.h"

#include <algorithm>

namespace mivel::test {

namespace {

long failureFor(const std::vector<std::pair<QString, long>>& list, const QString& name) {
    const auto it = std::find_if(list.begin(), list.end(), [&](const auto& f) {
        return f.first.compare(name, Qt::CaseInsensitive) == 0;
    });
    return it == list.end() ? SettingsStore::Success : it->second;
}

} // namespace

const MemorySettingsStore::Failure* MemorySettingsStore::match(const std::vector<Failure>& list,
                                                               Hive hive, const QString& what) {
    const auto it = std::find_if(list.begin(), list.end(), [&](const Failure& f) {
        return f.hive == hive && f.what.compare(what, Qt::CaseInsensitive) == 0;
    });
    return it == list.end() ? nullptr : &*it;
}

void MemorySettingsStore::failOpen(Hive hive, const QString& path, long status) {
    openFailures_.push_back({hive, path, status});
}

void MemorySettingsStore::failCreate(Hive hive, const QString& path, long status) {
    createFailures_.push_back({hive, path, status});
}

void MemorySettingsStore::failSet(const QString& valueName, long status) {
    setFailures_.emplace_back(valueName, status);
}

void MemorySettingsStore::failQuery(const QString& valueName, long status) {
    queryFailures_.emplace_back(valueName, status);
}

void MemorySettingsStore::clearFailures() {
    openFailures_.clear();
    createFailures_.clear();
    setFailures_.clear();
    queryFailures_.clear();
    deniedHives_.clear();
}

long MemorySettingsStore::openKey(Hive hive, const QString& path, Key* key) {
    if (denied(hive))
        return AccessDenied;
    if (const Failure* f = match(openFailures_, hive, path))
        return f->status;
    return tree_.open(hive, path, key);
}

long MemorySettingsStore::createKey(Hive hive, const QString& path, Key* key, bool* createdNew) {
    if (denied(hive))
        return AccessDenied;
    if (const Failure* f = match(createFailures_, hive, path))
        return f->status;
    return tree_.create(hive, path, key, createdNew);
}

long MemorySettingsStore::closeKey(Key key) {
    return tree_.close(key);
}

long MemorySettingsStore::deleteKey(Hive hive, const QString& path) {
    if (denied(hive))
        return AccessDenied;
    const long status = tree_.remove(hive, path);
    if (status == Success)
        deletedKeys << path;
    return status;
}

long MemorySettingsStore::setValue(Key key, const QString& name, Type type,
                                   const QByteArray& data) {
    if (const long status = failureFor(setFailures_, name))
        return status;
    const long status = tree_.set(key, name, type, data);
    if (status == Success) {
        const SettingsTree::Key* where = tree_.keyOf(key);
        writes.push_back({where->hive, where->path, name, type, data});
    }
    return status;
}

long MemorySettingsStore::queryValue(Key key, const QString& name, Type* type, QByteArray* data) {
    if (const long status = failureFor(queryFailures_, name))
        return status;
    return tree_.query(key, name, type, data);
}

} // namespace mivel::test
