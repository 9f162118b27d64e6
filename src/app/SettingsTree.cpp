#include "SettingsTree.h"

#include <algorithm>

namespace mivel {

namespace {

bool samePath(const QString& a, const QString& b) {
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

// True when `path` lies below `parent` (not equal to it).
bool isBelow(const QString& path, const QString& parent) {
    return path.size() > parent.size() + 1 && path.at(parent.size()) == QLatin1Char('\\') &&
           path.startsWith(parent, Qt::CaseInsensitive);
}

auto byName(const QString& name) {
    return [&name](const SettingsTree::Value& v) { return samePath(v.name, name); };
}

// A rewritten value keeps its place and the spelling of its first name.
void upsert(SettingsTree::Key& key, const QString& name, SettingsTree::Type type,
            const QByteArray& data) {
    const auto it = std::find_if(key.values.begin(), key.values.end(), byName(name));
    if (it == key.values.end())
        key.values.push_back({name, type, data});
    else
        *it = {it->name, type, data};
}

} // namespace

SettingsTree::Key* SettingsTree::find(Hive hive, const QString& path) {
    const auto it = std::find_if(keys_.begin(), keys_.end(), [&](const Key& k) {
        return k.hive == hive && samePath(k.path, path);
    });
    return it == keys_.end() ? nullptr : &*it;
}

const SettingsTree::Key* SettingsTree::find(Hive hive, const QString& path) const {
    return const_cast<SettingsTree*>(this)->find(hive, path);
}

bool SettingsTree::exists(Hive hive, const QString& path) const {
    return std::any_of(keys_.begin(), keys_.end(), [&](const Key& k) {
        return k.hive == hive && (samePath(k.path, path) || isBelow(k.path, path));
    });
}

SettingsTree::Key& SettingsTree::keyAt(Hive hive, const QString& path) {
    if (Key* key = find(hive, path))
        return *key;
    keys_.push_back({hive, path, {}});
    return keys_.back();
}

SettingsTree::Handle SettingsTree::issue(Hive hive, const QString& path) {
    const Handle handle = nextHandle_++;
    handles_.emplace(handle, Place{hive, path});
    return handle;
}

SettingsTree::Key* SettingsTree::keyFor(Handle handle) {
    const auto it = handles_.find(handle);
    if (it == handles_.end())
        return nullptr;
    if (Key* key = find(it->second.hive, it->second.path))
        return key;
    // A parent key that exists only through the keys below it gets its own entry on first use.
    return exists(it->second.hive, it->second.path) ? &keyAt(it->second.hive, it->second.path)
                                                    : nullptr;
}

const SettingsTree::Key* SettingsTree::keyOf(Handle handle) const {
    const auto it = handles_.find(handle);
    return it == handles_.end() ? nullptr : find(it->second.hive, it->second.path);
}

long SettingsTree::open(Hive hive, const QString& path, Handle* handle) {
    if (!exists(hive, path))
        return SettingsStore::NotFound;
    *handle = issue(hive, path);
    return SettingsStore::Success;
}

long SettingsTree::create(Hive hive, const QString& path, Handle* handle, bool* createdNew) {
    const bool isNew = !exists(hive, path);
    keyAt(hive, path);
    if (createdNew)
        *createdNew = isNew;
    *handle = issue(hive, path);
    return SettingsStore::Success;
}

long SettingsTree::close(Handle handle) {
    return handles_.erase(handle) ? SettingsStore::Success : SettingsStore::InvalidHandle;
}

long SettingsTree::remove(Hive hive, const QString& path) {
    const auto gone = std::remove_if(keys_.begin(), keys_.end(), [&](const Key& k) {
        return k.hive == hive && (samePath(k.path, path) || isBelow(k.path, path));
    });
    if (gone == keys_.end())
        return SettingsStore::NotFound;
    keys_.erase(gone, keys_.end());
    return SettingsStore::Success;
}

long SettingsTree::set(Handle handle, const QString& name, Type type, const QByteArray& data) {
    if (!handles_.count(handle))
        return SettingsStore::InvalidHandle;
    Key* key = keyFor(handle);
    if (!key)
        return SettingsStore::Failed; // the key was deleted while open
    upsert(*key, name, type, data);
    return SettingsStore::Success;
}

long SettingsTree::query(Handle handle, const QString& name, Type* type, QByteArray* data) const {
    if (!handles_.count(handle))
        return SettingsStore::InvalidHandle;
    const auto& place = handles_.at(handle);
    if (!exists(place.hive, place.path))
        return SettingsStore::Failed;
    const Key* key = find(place.hive, place.path);
    if (!key)
        return SettingsStore::NotFound;
    const auto it = std::find_if(key->values.begin(), key->values.end(), byName(name));
    if (it == key->values.end())
        return SettingsStore::NotFound;
    *type = it->type;
    *data = it->data;
    return SettingsStore::Success;
}

std::optional<SettingsTree::Value> SettingsTree::value(Hive hive, const QString& path,
                                                       const QString& name) const {
    const Key* key = find(hive, path);
    if (!key)
        return std::nullopt;
    const auto it = std::find_if(key->values.begin(), key->values.end(), byName(name));
    return it == key->values.end() ? std::nullopt : std::optional<Value>(*it);
}

void SettingsTree::put(Hive hive, const QString& path, const QString& name, Type type,
                       const QByteArray& data) {
    upsert(keyAt(hive, path), name, type, data);
}

bool SettingsTree::removeValue(Hive hive, const QString& path, const QString& name) {
    Key* key = find(hive, path);
    if (!key)
        return false;
    const auto it = std::find_if(key->values.begin(), key->values.end(), byName(name));
    if (it == key->values.end())
        return false;
    key->values.erase(it);
    return true;
}

} // namespace mivel
