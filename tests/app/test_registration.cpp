#include "support/MemorySettingsStore.h"

#include "app/Registration.h"

#include <QTest>

using namespace mivel;
using mivel::test::MemorySettingsStore;
using namespace mivel::registration;
using Type = SettingsStore::Type;
using Hive = SettingsStore::Hive;

namespace {

const QString FocuserId = QStringLiteral("{F0C05E00-0000-0000-0000-000000000001}");
const QString RotatorId = QStringLiteral("{0707A700-0000-0000-0000-000000000002}");

QByteArray text(const QString& t) {
    return t.toUtf8() + QByteArray(1, '\0');
}

} // namespace

// The registration repair, over the in-memory store (it runs only on Windows in the program).
class TestRegistration : public QObject {
    Q_OBJECT

    MemorySettingsStore* store = nullptr;
    std::unique_ptr<MemorySettingsStore> owned;

    void put(const QString& key, const QString& name, Type type, const QByteArray& data) {
        store->tree().put(Hive::ClassesRoot, key, name, type, data);
    }
    std::optional<SettingsTree::Value> stored(const QString& key, const QString& name) const {
        return store->tree().value(Hive::ClassesRoot, key, name);
    }

private slots:
    void init() {
        owned = std::make_unique<MemorySettingsStore>();
        store = owned.get();
        put(FocuserClassKey, QString(), Type::String, text(FocuserId));
        put(RotatorClassKey, QString(), Type::String, text(RotatorId));
        store->tree().keyAt(Hive::ClassesRoot, ClassesKey + FocuserId);
    }

    void withoutAppIdTheRotatorClassIsUsed() {
        QVERIFY(!repairRegistration(*store));
        QCOMPARE(stored(ClassesKey + FocuserId, "AppID")->data, text(RotatorId));
        QCOMPARE(stored(AppIdsKey + RotatorId, QString())->data, text(AppDescription));
        QCOMPARE(stored(AppIdsKey + RotatorId, "AuthenticationLevel")->type, Type::Dword);
        QCOMPARE(stored(AppIdsKey + RotatorId, "AuthenticationLevel")->data,
                 QByteArray("\x01\0\0\0", 4));
        QCOMPARE(stored(ExecutableAppIdKey, "AppID")->data, text(RotatorId));
        QCOMPARE(store->tree().openHandles(), 0);

        // A second run writes only the values it always writes.
        store->writes.clear();
        QVERIFY(!repairRegistration(*store));
        QStringList names;
        for (const auto& w : store->writes)
            names << w.name;
        QCOMPARE(names, (QStringList{"AuthenticationLevel", "AppID"}));
    }

    void storedAppIdIsKeptAndItsKeyRepaired() {
        const QString appId = QStringLiteral("{AAAA0000-0000-0000-0000-000000000003}");
        put(ClassesKey + FocuserId, "AppID", Type::String, text(appId));
        put(AppIdsKey + appId, QString(), Type::String, text("Mine"));
        put(AppIdsKey + appId, "AuthenticationLevel", Type::Dword, QByteArray(4, '\0'));
        QVERIFY(!repairRegistration(*store));
        QCOMPARE(stored(ClassesKey + FocuserId, "AppID")->data, text(appId));
        // The description only goes into a new key; the level is put right every time.
        QCOMPARE(stored(AppIdsKey + appId, QString())->data, text("Mine"));
        QCOMPARE(stored(AppIdsKey + appId, "AuthenticationLevel")->data,
                 QByteArray("\x01\0\0\0", 4));
        QCOMPARE(stored(ExecutableAppIdKey, "AppID")->data, text(appId));
        QVERIFY(!store->tree().exists(Hive::ClassesRoot, AppIdsKey + RotatorId));
    }

    void failuresAreNamed() {
        store->failOpen(Hive::ClassesRoot, RotatorClassKey, 2);
        auto error = repairRegistration(*store);
        QVERIFY(error);
        QCOMPARE(std::pair(error->number, error->description),
                 std::pair(qint64(2), QStringLiteral("Unable to read registry value")));
        store->clearFailures();
        store->failCreate(Hive::ClassesRoot, ExecutableAppIdKey, 5);
        error = repairRegistration(*store);
        QVERIFY(error);
        QCOMPARE(std::pair(error->number, error->description),
                 std::pair(qint64(5), QStringLiteral("Unable to create key")));
        QCOMPARE(store->tree().openHandles(), 0);
    }
};

QTEST_GUILESS_MAIN(TestRegistration)
#include "test_registration.moc"
