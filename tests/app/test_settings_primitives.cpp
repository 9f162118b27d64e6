#include "support/MemorySettingsStore.h"

#include "app/SettingsKey.h"

#include <QTest>

using namespace mivel;
using mivel::test::MemorySettingsStore;
using Type = SettingsStore::Type;
using Hive = SettingsStore::Hive;

namespace {
const QString KeyPath = QStringLiteral("SOFTWARE\\Test");
}

// The two primitives every settings read and write goes through, over the in-memory store.
class TestSettingsPrimitives : public QObject {
    Q_OBJECT

    MemorySettingsStore store;
    SettingsStore::Key key = 0;

    std::optional<SettingsTree::Value> stored(const QString& name) const {
        return store.tree().value(Hive::LocalMachine, KeyPath, name);
    }

private slots:
    void init() {
        store = MemorySettingsStore();
        QCOMPARE(store.createKey(Hive::LocalMachine, KeyPath, &key, nullptr), 0);
    }

    // What each registry type writes; a row without bytes is refused and writes nothing.
    void writesEachTypeAsTheRegistryHoldsIt_data() {
        QTest::addColumn<int>("type");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("text keeps its zero") << 1 << QVariant("0.25") << QByteArray("0.25\0", 5);
        QTest::newRow("empty text") << 1 << QVariant(QString()) << QByteArray(1, '\0');
        QTest::newRow("utf-8 text")
            << 1 << QVariant(QStringLiteral("\u00b0")) << QByteArray("\xc2\xb0\0", 3);
        QTest::newRow("dword") << 4 << QVariant(540) << QByteArray("\x1c\x02\0\0", 4);
        QTest::newRow("dword negative") << 4 << QVariant(-1) << QByteArray(4, '\xff');
        QTest::newRow("dword from text, halves to even")
            << 4 << QVariant(" 2.5 ") << QByteArray("\x02\0\0\0", 4);
        QTest::newRow("dword from true") << 4 << QVariant(true) << QByteArray("\x01\0\0\0", 4);
        QTest::newRow("float under type 5") << 5 << QVariant(0.25) << QByteArray("\0\0\x80\x3e", 4);
        QTest::newRow("binary type refused") << 3 << QVariant(1) << QByteArray();
        QTest::newRow("dword from words refused") << 4 << QVariant("abc") << QByteArray();
        QTest::newRow("dword too large refused") << 4 << QVariant(5e9) << QByteArray();
        QTest::newRow("float from words refused") << 5 << QVariant("x") << QByteArray();
    }
    void writesEachTypeAsTheRegistryHoldsIt() {
        QFETCH(int, type);
        QFETCH(QVariant, value);
        QFETCH(QByteArray, bytes);
        const long status = setSettingValue(store, key, "V", type, value);
        if (bytes.isNull()) {
            QCOMPARE(status, SettingsStore::InvalidParameter);
            QVERIFY(!stored("V"));
            return;
        }
        QCOMPARE(status, 0);
        QCOMPARE(int(stored("V")->type), type);
        QCOMPARE(stored("V")->data, bytes);
    }

    void readsBackWhatItWroteWithItsStatus() {
        QVariant v;
        for (const QVariant& value :
             {QVariant(QStringLiteral("Vark Mivel")), QVariant(-72000), QVariant(1.7f)}) {
            const int type = value.typeId() == QMetaType::QString ? 1
                             : value.typeId() == QMetaType::Int   ? 4
                                                                  : 5;
            QCOMPARE(setSettingValue(store, key, "V", type, value), 0);
            QCOMPARE(querySettingValue(store, key, "V", &v), 0);
            QCOMPARE(v, value); // the same type and contents
        }
        QCOMPARE(querySettingValue(store, key, "Absent", &v), SettingsStore::NotFound);
        store.tree().put(Hive::LocalMachine, KeyPath, "Binary", Type(3), "xy");
        QCOMPARE(querySettingValue(store, key, "Binary", &v), -1);
        // Text stored without its zero still loses its last character.
        store.tree().put(Hive::LocalMachine, KeyPath, "Bare", Type::String, "abc");
        QCOMPARE(querySettingValue(store, key, "Bare", &v), 0);
        QCOMPARE(v.toString(), QStringLiteral("ab"));
        store.failQuery("PORT", 5);
        QCOMPARE(querySettingValue(store, key, "PORT", &v), 5);
    }

    void writeSettingCreatesTheKeyAndClosesIt() {
        QCOMPARE(writeSetting(store, "DornaLimit", 4, 2000, SettingsKeyUse::OnlyIfPresent),
                 SettingsStore::NotFound);
        QVERIFY(!store.tree().exists(Hive::LocalMachine, SettingsKeyPath));
        QCOMPARE(writeSetting(store, "DornaLimit", 4, 2000), 0);
        QCOMPARE(writeSetting(store, "DornaLimit", 4, 1999, SettingsKeyUse::OnlyIfPresent), 0);
        QVariant v;
        QCOMPARE(readSetting(store, "DornaLimit", &v), 0);
        QCOMPARE(v.toInt(), 1999);
        QCOMPARE(store.tree().openHandles(), 1); // only the test's own key
        store.failSet("StepSize", 8);
        QCOMPARE(writeSetting(store, "StepSize", 1, "0.5"), 8);
        QCOMPARE(store.tree().openHandles(), 1);
    }

    void keysFollowTheRegistryRules() {
        SettingsStore::Key k = 0;
        bool createdNew = false;
        QCOMPARE(store.createKey(Hive::LocalMachine, "A\\B\\C", &k, &createdNew), 0);
        QVERIFY(createdNew);
        QCOMPARE(store.createKey(Hive::LocalMachine, "a\\b", &k, &createdNew), 0);
        QVERIFY(!createdNew); // a parent of an existing key exists
        QCOMPARE(store.openKey(Hive::ClassesRoot, "A", &k), SettingsStore::NotFound);
        QCOMPARE(store.deleteKey(Hive::LocalMachine, "A"), 0);
        QCOMPARE(store.openKey(Hive::LocalMachine, "A\\B\\C", &k), SettingsStore::NotFound);
        QCOMPARE(store.closeKey(12345), SettingsStore::InvalidHandle);
    }
};

QTEST_GUILESS_MAIN(TestSettingsPrimitives)
#include "test_settings_primitives.moc"
