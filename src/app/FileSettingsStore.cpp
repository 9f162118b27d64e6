#include "FileSettingsStore.h"

#include "FileSave.h"
#include "SettingsFileFormat.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace mivel {

namespace {

QString leftAsIs(const QString& path, const QString& reason) {
    return QStringLiteral("The settings file \"%1\" could not be used: %2. The file was left as "
                          "it is; settings will not be saved until it is corrected or removed.")
        .arg(QDir::toNativeSeparators(path), reason);
}

} // namespace

FileSettingsStore::FileSettingsStore(QString filePath)
    : path_(std::move(filePath)) {
    removeStaleTemporaries(path_);
    load();
}

FileSettingsStore::~FileSettingsStore() {
    if (dirty_)
        flush();
}

void FileSettingsStore::load() {
    if (!QFileInfo::exists(path_))
        return;
    QFile file(path_);
    if (!file.open(QIODevice::ReadOnly)) {
        loadProblem_ = leftAsIs(path_, file.errorString());
        return;
    }
    SettingsTree read;
    if (const auto error = parseSettingsFile(file.readAll(), &read)) {
        loadProblem_ =
            leftAsIs(path_, QStringLiteral("line %1: %2").arg(error->line).arg(error->what));
        return;
    }
    if (file.error() != QFileDevice::NoError) {
        loadProblem_ = leftAsIs(path_, file.errorString());
        return;
    }
    tree_ = std::move(read);
}

QString FileSettingsStore::problem() const {
    return usable() ? saveProblem_ : loadProblem_;
}

long FileSettingsStore::flush() {
    if (!usable())
        return Failed;
    if (!dirty_)
        return Success;
    const QString folder = QFileInfo(path_).absolutePath();
    if (!QDir().mkpath(folder)) {
        saveProblem_ = QStringLiteral("The settings could not be saved: the folder \"%1\" "
                                      "could not be made.")
                           .arg(QDir::toNativeSeparators(folder));
        return Failed;
    }
    if (const Status saved = replaceFile(path_, writeSettingsFile(tree_))) {
        saveProblem_ = QStringLiteral("The settings could not be saved to \"%1\": %2.")
                           .arg(QDir::toNativeSeparators(path_), saved->description);
        return Failed;
    }
    saveProblem_.clear();
    dirty_ = false;
    return Success;
}

long FileSettingsStore::openKey(Hive hive, const QString& path, Key* key) {
    return usable() ? tree_.open(hive, path, key) : Failed;
}

long FileSettingsStore::createKey(Hive hive, const QString& path, Key* key, bool* createdNew) {
    if (!usable())
        return Failed;
    bool isNew = false;
    const long status = tree_.create(hive, path, key, &isNew);
    if (createdNew)
        *createdNew = isNew;
    if (status == Success && isNew)
        dirty_ = true; // an empty key is kept too
    return status;
}

long FileSettingsStore::closeKey(Key key) {
    const long status = tree_.close(key);
    return status == Success ? flush() : status;
}

long FileSettingsStore::deleteKey(Hive hive, const QString& path) {
    if (!usable())
        return Failed;
    const long status = tree_.remove(hive, path);
    if (status != Success)
        return status;
    dirty_ = true;
    return flush();
}

long FileSettingsStore::setValue(Key key, const QString& name, Type type, const QByteArray& data) {
    if (!usable())
        return Failed;
    const long status = tree_.set(key, name, type, data);
    if (status == Success)
        dirty_ = true;
    return status;
}

long FileSettingsStore::queryValue(Key key, const QString& name, Type* type, QByteArray* data) {
    return usable() ? tree_.query(key, name, type, data) : Failed;
}

} // namespace mivel
