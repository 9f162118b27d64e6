#pragma once

#include "SettingsStore.h"
#include "SettingsTree.h"

#include <QString>

namespace mivel {

// The settings store on Linux: one text file (see SettingsFileFormat.h), read once when the
// store is made and rewritten whole, atomically, when a changed key is closed or a key is
// deleted (and when the store goes away with changes not yet written).
//
// A missing file is an empty store; its folder is made on the first write. A write that fails
// (a full disk) leaves the file as it was and the change unsaved; temporaries that a killed
// write left beside the file are removed when the store is made. A file that cannot
// be read or does not parse is never overwritten: every open, create and write is refused and
// problem() says which file, which line and what is wrong.
class FileSettingsStore final : public SettingsStore {
public:
    explicit FileSettingsStore(QString filePath);
    ~FileSettingsStore() override;

    long openKey(Hive hive, const QString& path, Key* key) override;
    long createKey(Hive hive, const QString& path, Key* key, bool* createdNew) override;
    long closeKey(Key key) override;
    long deleteKey(Hive hive, const QString& path) override;
    long setValue(Key key, const QString& name, Type type, const QByteArray& data) override;
    long queryValue(Key key, const QString& name, Type* type, QByteArray* data) override;
    // The reason the file was refused, else the last failure to write it (cleared by the
    // next successful write); empty when all is well.
    QString problem() const override;

    const QString& filePath() const { return path_; }
    // Writes pending changes now. Success, or Failed with problem() saying why.
    long flush();

private:
    void load();
    bool usable() const { return loadProblem_.isEmpty(); }

    QString path_;
    SettingsTree tree_;
    QString loadProblem_;
    QString saveProblem_;
    bool dirty_ = false;
};

} // namespace mivel
