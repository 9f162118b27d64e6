#pragma once

#include "app/SettingsStore.h"
#include "app/SettingsTree.h"

#include <QString>
#include <QStringList>

#include <set>
#include <utility>
#include <vector>

namespace mivel::test {

// A settings store held in memory, for tests: both hives, every write recorded, and failures
// that can be switched on for a key, a value or a whole hive.
class MemorySettingsStore final : public SettingsStore {
public:
    struct Write {
        Hive hive;
        QString path;
        QString name;
        Type type;
        QByteArray data;
    };

    long openKey(Hive hive, const QString& path, Key* key) override;
    long createKey(Hive hive, const QString& path, Key* key, bool* createdNew) override;
    long closeKey(Key key) override;
    long deleteKey(Hive hive, const QString& path) override;
    long setValue(Key key, const QString& name, Type type, const QByteArray& data) override;
    long queryValue(Key key, const QString& name, Type* type, QByteArray* data) override;
    QString problem() const override { return problem_; }

    // Failures: the call returns `status` instead of doing its work.
    void failOpen(Hive hive, const QString& path, long status = Failed);
    void failCreate(Hive hive, const QString& path, long status = Failed);
    void failSet(const QString& valueName, long status = Failed);   // under any key
    void failQuery(const QString& valueName, long status = Failed); // under any key
    // Without write rights every open or create (they ask for write access) and every delete
    // in the hive is refused, as the machine-wide hive is for an ordinary user.
    void denyWriteAccess(Hive hive) { deniedHives_.insert(hive); }
    void setProblem(const QString& text) { problem_ = text; }
    void clearFailures();

    SettingsTree& tree() { return tree_; }
    const SettingsTree& tree() const { return tree_; }
    // Every value written through setValue, in order; tests may clear it between runs.
    std::vector<Write> writes;
    QStringList deletedKeys;

private:
    struct Failure {
        Hive hive;
        QString what;
        long status;
    };
    static const Failure* match(const std::vector<Failure>& list, Hive hive, const QString& what);
    bool denied(Hive hive) const { return deniedHives_.count(hive) > 0; }

    SettingsTree tree_;
    std::vector<Failure> openFailures_;
    std::vector<Failure> createFailures_;
    std::vector<std::pair<QString, long>> setFailures_;
    std::vector<std::pair<QString, long>> queryFailures_;
    std::set<Hive> deniedHives_;
    QString problem_;
};

} // namespace mivel::test
