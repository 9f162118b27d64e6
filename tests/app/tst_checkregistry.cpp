#include "app/AppContext.h"
#include "app/CheckRegistry.h"
#include "app/FileSettingsStore.h"
#include "app/MemorySettingsStore.h"
#include "app/SettingsStoreFactory.h"
#include "app/SettingsTable.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace mivel;
using Type = SettingsStore::Type;
using Hive = SettingsStore::Hive;

namespace {

const QStringList TableNames{
    "Absolute",         "PORT",           "Prompt",       "ControlConsole",
    "ErrorMessage",     "StepSize",       "FocusStep",    "RotateStep",
    "RotateStepOption", "MainPosX",       "MainPosY",     "MiniPosX",
    "MiniPosY",         "CheckTelescope", "PromptTheSky", "DornaSynchedToTelescope",
    "ImageScale",       "MaxPosErr",      "MaxRotErr",    "MaxItterations",
    "LargeStepSize",    "SmallStepSize",  "DornaLimit",   "AutoReverse",
    "Detector"};

const QString ReadError = QStringLiteral("Error in module CheckRegistry.  Line Number: 4 Error "
                                         "Number: %1 Error Description: %2");

QByteArray dword(qint32 v) {
    return QByteArray(reinterpret_cast<const char*>(&v), 4);
}
QByteArray text(const char* t) {
    return QByteArray(t) + QByteArray(1, '\0');
}

} // namespace

class TestCheckRegistry : public QObject {
    Q_OBJECT

    std::unique_ptr<MemorySettingsStore> store;
    Settings settings;
    ScriptedPrompt prompt;
    QString problemShown;

    std::optional<RegistryCheckError> check() {
        return checkRegistry(*store, settings, prompt, problemShown);
    }
    void put(const QString& name, Type type, const QByteArray& data) {
        store->tree().put(Hive::LocalMachine, SettingsKeyPath, name, type, data);
    }
    std::optional<SettingsTree::Value> stored(const QString& name) const {
        return store->tree().value(Hive::LocalMachine, SettingsKeyPath, name);
    }
    // A store as a first run leaves it, with the record of writes cleared.
    void installed() {
        QVERIFY(!check());
        store->writes.clear();
    }

private slots:
    void init() {
        store = std::make_unique<MemorySettingsStore>();
        settings = Settings();
        prompt.shown.clear();
        problemShown.clear();
    }

    void firstRunWritesTheWholeTable() {
        settings.port = 9;
        settings.detector = "old";
        QVERIFY(!check());
        QVERIFY(prompt.shown.empty());
        const auto* key = store->tree().keys().data();
        QCOMPARE(store->tree().keys().size(), 1u);
        QStringList names;
        for (const auto& v : key->values)
            names << v.name;
        QCOMPARE(names, QStringList{QString()} + TableNames);
        QCOMPARE(stored(QString())->data, text("Vark Mivel"));
        QCOMPARE(stored("ErrorMessage")->type, Type::String);
        QCOMPARE(stored("ErrorMessage")->data, text("0"));
        QCOMPARE(stored("StepSize")->data, text("0.25"));
        QCOMPARE(stored("MaxItterations")->data, dword(5));
        QCOMPARE(stored("DornaLimit")->data, dword(540));
        // The copies take the same contents.
        QCOMPARE(settings.port, 1);
        QCOMPARE(settings.detector, QString());
        QCOMPARE(settings.errorMessage, 0);
        QCOMPARE(store->tree().openHandles(), 0);
    }

    void secondRunChangesNothing() {
        installed();
        const auto before = store->tree().keys().front().values.size();
        Settings loaded = settings;
        settings = Settings();
        settings.port = 3;
        QVERIFY(!check());
        QVERIFY(store->writes.empty());
        QCOMPARE(store->tree().keys().front().values.size(), before);
        QCOMPARE(settings.port, loaded.port);
        QCOMPARE(settings.stepSize, 0.25f);
        QCOMPARE(settings.errorMessage, 0); // the text "0"
    }

    void onlyTheDeletedValueIsRepaired() {
        installed();
        store->tree().removeValue(Hive::LocalMachine, SettingsKeyPath, "Detector");
        settings.detector = "FOV 1";
        QVERIFY(!check());
        QCOMPARE(store->writes.size(), 1u);
        QCOMPARE(store->writes[0].name, QStringLiteral("Detector"));
        QCOMPARE(store->writes[0].data, text(""));
        QCOMPARE(settings.detector, QString());
    }

    void alignmentValuesAreNotRepaired() {
        installed();
        store->tree().removeValue(Hive::LocalMachine, SettingsKeyPath, "ImageScale");
        QVERIFY(!check());
        QVERIFY(store->writes.empty());
        QVERIFY(!stored("ImageScale"));
    }

    void storedValuesReachTheirCopies() {
        installed();
        put("PORT", Type::Dword, dword(4));
        put("Absolute", Type::Dword, dword(2)); // a flag: any number but 0
        put("CheckTelescope", Type::Dword, dword(2));
        put("PromptTheSky", Type::Dword, dword(1));
        put("ErrorMessage", Type::Dword, dword(3));
        put("StepSize", Type::String, text(" 1.5"));
        put("RotateStepOption", Type::Dword, dword(2)); // text copy of a number
        put("DornaLimit", Type::String, text("720"));
        put(PortDeviceValueName, Type::String, text("/dev/ttyUSB1"));
        QVERIFY(!check());
        QVERIFY(store->writes.empty());
        QCOMPARE(settings.port, 4);
        QCOMPARE(settings.absolute, true);
        QCOMPARE(settings.checkTelescope, false);
        QCOMPARE(settings.promptTheSky, true);
        QCOMPARE(settings.errorMessage, 3);
        QCOMPARE(settings.stepSize, 1.5f);
        QCOMPARE(settings.rotateStepOption, QStringLiteral("2"));
        QCOMPARE(settings.dornaLimit, 720);
        QCOMPARE(settings.portDevice, QStringLiteral("/dev/ttyUSB1"));
    }

    void nonNumericStepSizeKeepsBothCopies() {
        installed();
        put("StepSize", Type::String, text("fine"));
        settings.stepSize = 0.5f;
        QVERIFY(!check());
        QCOMPARE(settings.stepSize, 0.5f);
        QCOMPARE(stored("StepSize")->data, text("fine"));
        QVERIFY(store->writes.empty());
    }

    void legacyKeyGoesFromTheSecondRun() {
        store->tree().keyAt(Hive::LocalMachine, LegacySettingsKeyPath);
        QVERIFY(!check());
        QVERIFY(store->tree().exists(Hive::LocalMachine, LegacySettingsKeyPath));
        QVERIFY(!check());
        QVERIFY(!store->tree().exists(Hive::LocalMachine, LegacySettingsKeyPath));
        QCOMPARE(store->deletedKeys, QStringList{LegacySettingsKeyPath});
    }

    void failureStopsTheRoutineWithItsMessage_data() {
        QTest::addColumn<QString>("faulty");
        QTest::addColumn<QString>("message");
        QTest::newRow("query fails")
            << "RotateStep" << ReadError.arg(5).arg("Unable to read registry value");
        QTest::newRow("text in a number") << "PORT" << ReadError.arg(13).arg("Type mismatch");
        QTest::newRow("too large for 16 bits") << "FocusStep" << ReadError.arg(6).arg("Overflow");
    }
    void failureStopsTheRoutineWithItsMessage() {
        QFETCH(QString, faulty);
        QFETCH(QString, message);
        installed();
        put("Prompt", Type::Dword, dword(1));
        put("MainPosX", Type::Dword, dword(100));
        if (faulty == "PORT")
            put("PORT", Type::String, text("COM3"));
        else if (faulty == "FocusStep")
            put("FocusStep", Type::Dword, dword(40000));
        else
            store->failQuery(faulty, 5);
        settings.mainPosX = -7;
        const auto error = check();
        QVERIFY(error);
        QCOMPARE(error->step, 4);
        QCOMPARE(prompt.texts(), QStringList{message});
        QCOMPARE(prompt.shown[0].title, QStringLiteral("Mivel"));
        QCOMPARE(settings.mainPosX, -7);             // not reached
        QCOMPARE(settings.prompt, faulty != "PORT"); // read before, when after PORT
        QCOMPARE(store->tree().openHandles(), 0);
    }

    void noRightToTheMachineHive() {
        store->denyWriteAccess(Hive::LocalMachine);
        settings.port = 6;
        QVERIFY(check());
        QCOMPARE(prompt.texts(),
                 QStringList{"Error in module CheckRegistry.  Line Number: 2 Error Number: 5 "
                             "Error Description: Unable to create key"});
        QCOMPARE(settings.port, 6);
    }

    void storeProblemIsShownOnce() {
        store->setProblem("The settings file is broken.");
        QVERIFY(!check());
        QVERIFY(!check());
        QCOMPARE(prompt.texts(), QStringList{"The settings file is broken."});
    }

    void corruptFileIsReportedAndLeftAlone() {
        QTemporaryDir dir;
        const QString path = dir.filePath("settings.reg");
        const QByteArray corrupt = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\X]\n\"PORT\"=dword:xyz\n";
        {
            QFile f(path);
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write(corrupt);
        }
        {
            FileSettingsStore file(path);
            QVERIFY(checkRegistry(file, settings, prompt, problemShown));
            QVERIFY(checkRegistry(file, settings, prompt, problemShown));
        }
        QCOMPARE(prompt.shown.size(), 3u); // the problem once, the error at each run
        QVERIFY(prompt.shown[0].text.contains(path));
        QVERIFY(prompt.shown[0].text.contains("line 2"));
        QVERIFY(prompt.shown[1].text.contains("Line Number: 2"));
        QFile f(path);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(f.readAll(), corrupt);
    }

    void fileStoreSurvivesARestart() {
        QTemporaryDir dir;
        const QString path = dir.filePath("config/settings.reg");
        {
            FileSettingsStore file(path);
            QVERIFY(!checkRegistry(file, settings, prompt, problemShown));
        }
        QFile f(path);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QByteArray first = f.readAll();
        f.close();
        FileSettingsStore again(path);
        QVERIFY(!checkRegistry(again, settings, prompt, problemShown));
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(f.readAll(), first);
        QVERIFY(first.contains("\"ErrorMessage\"=\"0\"\n"));
        QVERIFY(first.contains("\"MaxItterations\"=dword:00000005\n"));
        QVERIFY(prompt.shown.empty());
    }

    void programStoreLivesInTheConfigFolder() {
        QTemporaryDir dir;
        const AppPaths paths = AppPaths::inDirectory(dir.filePath("cfg"));
        auto shown = std::make_unique<ScriptedPrompt>();
        ScriptedPrompt& messages = *shown;
        AppContext context(
            openSettingsStore(paths), std::move(shown), [] { return nullptr; }, paths);
        context.settings().dornaLimit = 1;
        QVERIFY(!checkRegistry(context));
        QCOMPARE(context.settings().dornaLimit, 540);
        QVERIFY(QFile::exists(dir.filePath("cfg/settings.reg")));
        QVERIFY(messages.shown.empty());
    }
};

QTEST_GUILESS_MAIN(TestCheckRegistry)
#include "tst_checkregistry.moc"
