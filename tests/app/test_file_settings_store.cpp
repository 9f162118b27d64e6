#include "support/FileSizeLimit.h"

#include "app/FileSave.h"
#include "app/FileSettingsStore.h"
#include "app/SettingsFileFormat.h"
#include "app/SettingsKey.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace mivel;
using Type = SettingsStore::Type;
using Hive = SettingsStore::Hive;

namespace {

QByteArray readAll(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void writeAll(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write(bytes);
}

struct Sample {
    Hive hive;
    QString path;
    QString name;
    Type type;
    QByteArray data;
};

// Values whose types and bytes must come back exactly, in this order.
const std::vector<Sample> Samples{
    {Hive::LocalMachine, "SOFTWARE\\Mivel", "", Type::String, QByteArray("Vark Mivel\0", 11)},
    {Hive::LocalMachine, "SOFTWARE\\Mivel", "ErrorMessage", Type::Dword, QByteArray(4, '\0')},
    {Hive::LocalMachine, "SOFTWARE\\Mivel", "Zero", Type::String, QByteArray("0\0", 2)},
    {Hive::LocalMachine, "SOFTWARE\\Mivel", "Negative", Type::Dword, QByteArray(4, '\xff')},
    {Hive::LocalMachine, "SOFTWARE\\Mivel", "Single", Type::DwordBigEndian,
     QByteArray("\0\0\x80\x3e", 4)},
    {Hive::LocalMachine, "SOFTWARE\\Mivel", "Say \"hi\"\\\n", Type::String,
     QByteArray("a\\\"b\"\r\n\xc2\xb0\0", 10)},
    {Hive::LocalMachine, "SOFTWARE\\Mivel", "No zero", Type::String, QByteArray("ab")},
    {Hive::LocalMachine, "SOFTWARE\\Mivel", "Binary", Type(3), QByteArray("\x01\x00\xfe", 3)},
    {Hive::LocalMachine, "SOFTWARE\\Mivel", "Empty binary", Type(11), QByteArray()},
    {Hive::ClassesRoot, "AppID\\{A}", "AuthenticationLevel", Type::Dword,
     QByteArray("\x01\0\0\0", 4)},
};

} // namespace

class TestFileSettingsStore : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    QString path;

private slots:
    void init() {
        path = dir.filePath(QStringLiteral("%1/settings.reg").arg(QTest::currentTestFunction()));
    }

    void typesAndOrderSurviveARoundTrip() {
        {
            FileSettingsStore store(path);
            for (const Sample& s : Samples) {
                SettingsStore::Key key = 0;
                QCOMPARE(store.createKey(s.hive, s.path, &key, nullptr), 0);
                QCOMPARE(store.setValue(key, s.name, s.type, s.data), 0);
                QCOMPARE(store.closeKey(key), 0);
            }
            SettingsStore::Key key = 0;
            QCOMPARE(store.createKey(Hive::LocalMachine, "SOFTWARE\\Empty", &key, nullptr), 0);
            QCOMPARE(store.closeKey(key), 0);
        }
        const QByteArray written = readAll(path);
        QVERIFY(written.contains("\"ErrorMessage\"=dword:00000000\n\"Zero\"=\"0\"\n"));
        FileSettingsStore store(path);
        QVERIFY2(store.problem().isEmpty(), qPrintable(store.problem()));
        for (const Sample& s : Samples) {
            SettingsStore::Key key = 0;
            QCOMPARE(store.openKey(s.hive, s.path, &key), 0);
            Type type = Type::None;
            QByteArray data;
            QCOMPARE(store.queryValue(key, s.name, &type, &data), 0);
            QCOMPARE(type, s.type);
            QCOMPARE(data, s.data);
            store.closeKey(key);
        }
        // Rewriting a value keeps its place, and the empty key is kept: the file comes out the
        // same.
        SettingsStore::Key key = 0;
        QCOMPARE(store.openKey(Hive::LocalMachine, "SOFTWARE\\Mivel", &key), 0);
        QCOMPARE(store.setValue(key, "ErrorMessage", Type::Dword, QByteArray(4, '\0')), 0);
        store.closeKey(key);
        QCOMPARE(readAll(path), written);
    }

    void writesWhenAKeyIsClosedOrTheStoreEnds() {
        {
            FileSettingsStore store(path);
            SettingsStore::Key key = 0;
            store.createKey(Hive::LocalMachine, "K", &key, nullptr);
            store.setValue(key, "PORT", Type::Dword, QByteArray(4, '\x02'));
            QVERIFY(!QFileInfo::exists(path));
            QCOMPARE(store.closeKey(key), 0);
            QVERIFY(readAll(path).contains("\"PORT\"=dword:02020202"));
            QCOMPARE(store.deleteKey(Hive::LocalMachine, "K"), 0);
            QVERIFY(!readAll(path).contains("PORT"));
            store.createKey(Hive::LocalMachine, "K", &key, nullptr);
            store.setValue(key, "Detector", Type::String, QByteArray("FOV\0", 4));
        }
        QVERIFY(readAll(path).contains("\"Detector\"=\"FOV\""));
    }

    void handEditedFileIsRead() {
        writeAll(path, "\xEF\xBB\xBFWindows Registry Editor Version 5.00\r\n\r\n"
                       "; a comment\r\n[HKLM\\SOFTWARE\\Mivel]\r\n"
                       "\"Big\" = hex(5):00,00,\\\r\n  80,3e\r\n@=\"Name\"\r\n");
        FileSettingsStore store(path);
        QVERIFY2(store.problem().isEmpty(), qPrintable(store.problem()));
        SettingsStore::Key key = 0;
        QCOMPARE(store.openKey(Hive::LocalMachine, "software\\mivel", &key), 0);
        Type type = Type::None;
        QByteArray data;
        QCOMPARE(store.queryValue(key, "big", &type, &data), 0);
        QCOMPARE(type, Type::DwordBigEndian);
        QCOMPARE(data, QByteArray("\0\0\x80\x3e", 4));
    }

    void corruptFileIsNeverOverwritten_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("reason");
        QTest::newRow("bad dword") << QByteArray("[HKLM\\K]\n\"A\"=dword:1\n\"B\"=dword:xyz\n")
                                   << "line 3: dword: needs 1 to 8 hexadecimal digits";
        QTest::newRow("unknown hive") << QByteArray("[HKCU\\K]\n") << "line 1: unknown hive";
        QTest::newRow("value first")
            << QByteArray("\"A\"=\"b\"\n") << "line 1: a value comes before the first [key] line";
        QTest::newRow("open quote")
            << QByteArray("[HKLM\\K]\n\"A\"=\"b\n") << "line 2: the quoted text has no closing";
        QTest::newRow("bad byte") << QByteArray("[HKLM\\K]\n\"A\"=hex(5):0g\n")
                                  << "line 2: \"0g\" is not a byte";
        QTest::newRow("not utf-8")
            << QByteArray("[HKLM\\K]\n\"A\"=\"\xff\"\n") << "line 2: the line is not UTF-8 text";
        QTest::newRow("twice") << QByteArray("[HKLM\\K]\n\"A\"=\"1\"\n\"a\"=\"2\"\n")
                               << "line 3: the value \"a\" appears twice";
        QTest::newRow("garbage") << QByteArray("[HKLM\\K]\nPORT=1\n") << "line 2: expected";
    }
    void corruptFileIsNeverOverwritten() {
        QFETCH(QByteArray, content);
        QFETCH(QString, reason);
        writeAll(path, content);
        {
            FileSettingsStore store(path);
            QVERIFY2(store.problem().contains(reason), qPrintable(store.problem()));
            QVERIFY(store.problem().contains(path));
            SettingsStore::Key key = 0;
            QCOMPARE(store.openKey(Hive::LocalMachine, "K", &key), SettingsStore::Failed);
            QCOMPARE(store.createKey(Hive::LocalMachine, "N", &key, nullptr),
                     SettingsStore::Failed);
            QCOMPARE(store.deleteKey(Hive::LocalMachine, "K"), SettingsStore::Failed);
        }
        QCOMPARE(readAll(path), content);
    }

    void unreadableOrUnwritableFile() {
        QDir().mkpath(path); // a folder where the file should be
        FileSettingsStore unreadable(path);
        QVERIFY(unreadable.problem().contains(path));
        SettingsStore::Key key = 0;
        QCOMPARE(unreadable.createKey(Hive::LocalMachine, "K", &key, nullptr),
                 SettingsStore::Failed);

        // A file where its folder should be: the write fails, is reported, and is retried.
        const QString blocker = dir.filePath("blocker");
        writeAll(blocker, "not a folder");
        FileSettingsStore store(blocker + "/inner/settings.reg");
        QCOMPARE(store.createKey(Hive::LocalMachine, "K", &key, nullptr), 0);
        QCOMPARE(store.closeKey(key), SettingsStore::Failed);
        QVERIFY(store.problem().contains("could not be saved"));
        QFile::remove(blocker);
        QCOMPARE(store.flush(), 0);
        QVERIFY(store.problem().isEmpty());
        QVERIFY(QFileInfo::exists(blocker + "/inner/settings.reg"));
    }

#ifdef Q_OS_UNIX
    void aFullDiskKeepsTheOldFile() {
        const QString folder = QFileInfo(path).absolutePath();
        FileSettingsStore store(path);
        QCOMPARE(writeSetting(store, "DornaLimit", 4, 270), 0);
        const QByteArray saved = readAll(path);
        QVERIFY(!saved.isEmpty());
        {
            test::FileSizeLimit full(16);
            QVERIFY(full.active());
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression("could not save .*settings.reg"));
            QCOMPARE(writeSetting(store, "DornaLimit", 4, 90), SettingsStore::Failed);
            QVERIFY2(store.problem().contains("could not be saved"), qPrintable(store.problem()));
            QCOMPARE(readAll(path), saved);
            // Nothing is left behind, not even the temporary.
            QCOMPARE(QDir(folder).entryList(QDir::Files), QStringList{"settings.reg"});
        }
        // The change is still pending, and the next write saves it.
        QCOMPARE(store.flush(), 0);
        QVERIFY(store.problem().isEmpty());
        FileSettingsStore reread(path);
        QVariant limit;
        QCOMPARE(readSetting(reread, "DornaLimit", &limit), 0);
        QCOMPARE(limit.toInt(), 90);
    }

    void aFullDiskOnFirstWriteLeavesNoFile() {
        QDir().mkpath(QFileInfo(path).absolutePath());
        test::FileSizeLimit full(0);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("could not save"));
        QCOMPARE(describe(replaceFile(path, "[HKLM\\K]\n")), QStringLiteral("File too large"));
        QVERIFY(QDir(QFileInfo(path).absolutePath()).entryList(QDir::Files).isEmpty());
    }
#endif

    void temporariesOfAKilledSaveAreRemoved() {
        writeAll(path, "[HKLM\\K]\n");
        const QString folder = QFileInfo(path).absolutePath();
        const QDateTime old = QDateTime::currentDateTime().addSecs(-3600);
        for (const char* name :
             {"settings.reg.Ab12Cd", "settings.reg.zzzzzz", "settings.reg.fresh1",
              "settings.reg.toolong7", "settings.reg.bak!!!", "other.reg.Ab12Cd"}) {
            QFile f(QDir(folder).filePath(name));
            QVERIFY(f.open(QIODevice::WriteOnly));
            if (QByteArray(name) != "settings.reg.fresh1") // one from a save under way now
                QVERIFY(f.setFileTime(old, QFileDevice::FileModificationTime));
        }
        FileSettingsStore store(path);
        QVERIFY(store.problem().isEmpty());
        QDir listing(folder);
        listing.setSorting(QDir::Name);
        QCOMPARE(listing.entryList(QDir::Files),
                 (QStringList{"other.reg.Ab12Cd", "settings.reg", "settings.reg.bak!!!",
                              "settings.reg.fresh1", "settings.reg.toolong7"}));
    }
};

QTEST_GUILESS_MAIN(TestFileSettingsStore)
#include "test_file_settings_store.moc"
