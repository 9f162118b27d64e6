#include "support/MemorySettingsStore.h"
#include "support/ScriptedPrompt.h"

#include "app/AppContext.h"
#include "app/CheckRegistry.h"
#include "app/FileSettingsStore.h"
#include "app/SettingsStoreFactory.h"
#include "app/SettingsTable.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace mivel;
using mivel::test::MemorySettingsStore;
using mivel::test::ScriptedPrompt;
using Type = SettingsStore::Type;
using Hive = SettingsStore::Hive;
Q_DECLARE_METATYPE(mivel::SettingsStore::Type)

namespace {

const QString ReadError = QStringLiteral("Error in module CheckRegistry.  Line Number: 4 Error "
                                         "Number: %1 Error Description: %2");

QByteArray dword(qint32 v) {
    return QByteArray(reinterpret_cast<const char*>(&v), 4);
}
QByteArray text(const char* t) {
    return QByteArray(t) + QByteArray(1, '\0');
}
QByteArray readAll(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
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

    void firstRunWritesTheWholeTableAndSecondNothing() {
        settings.port = 9;
        settings.detector = "old";
        QVERIFY(!check());
        QVERIFY(prompt.shown.empty());
        QCOMPARE(store->tree().keys().size(), 1u);
        QStringList names;
        for (const auto& v : store->tree().keys().front().values)
            names << v.name;
        QCOMPARE(
            names.join(' '),
            QStringLiteral(
                " Absolute PORT Prompt ControlConsole ErrorMessage StepSize FocusStep RotateStep "
                "RotateStepOption MainPosX MainPosY MiniPosX MiniPosY CheckTelescope PromptTheSky "
                "DornaSynchedToTelescope ImageScale MaxPosErr MaxRotErr MaxItterations "
                "LargeStepSize SmallStepSize DornaLimit AutoReverse Detector"));
        QCOMPARE(stored("ErrorMessage")->type, Type::String);
        QCOMPARE(stored("ErrorMessage")->data, text("0"));
        QCOMPARE(settings.port, 1); // the copies take the same contents
        QCOMPARE(settings.detector, QString());
        QCOMPARE(store->tree().openHandles(), 0);

        store->writes.clear();
        settings = Settings();
        settings.port = 3;
        settings.errorMessage = 2;
        QVERIFY(!check());
        QVERIFY(store->writes.empty());
        QCOMPARE(settings.port, 1);
        QCOMPARE(settings.errorMessage, 0); // the text "0"
    }

    // Of the values deleted, only the repaired ones come back.
    void onlyTheDeletedValueIsRepaired() {
        installed();
        store->tree().removeValue(Hive::LocalMachine, SettingsKeyPath, "Detector");
        store->tree().removeValue(Hive::LocalMachine, SettingsKeyPath, "ImageScale");
        settings.detector = "FOV 1";
        QVERIFY(!check());
        QCOMPARE(store->writes.size(), 1u);
        QCOMPARE(store->writes[0].name, QStringLiteral("Detector"));
        QCOMPARE(store->writes[0].data, text(""));
        QCOMPARE(settings.detector, QString());
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
        put(setting::PortDevice.name, Type::String, text("/dev/ttyUSB1"));
        QVERIFY(!check());
        QVERIFY(store->writes.empty());
        QCOMPARE(settings.port, 4);
        QCOMPARE(settings.absolute, true);
        QCOMPARE(settings.checkTelescope, false); // only a stored 1 sets it
        QCOMPARE(settings.promptTheSky, true);
        QCOMPARE(settings.errorMessage, 3);
        QCOMPARE(settings.stepSize, 1.5f);
        QCOMPARE(settings.rotateStepOption, QStringLiteral("2"));
        QCOMPARE(settings.portDevice, QStringLiteral("/dev/ttyUSB1"));

        // A step size that is not a number keeps both the copy and the stored text.
        put("StepSize", Type::String, text("fine"));
        QVERIFY(!check());
        QCOMPARE(settings.stepSize, 1.5f);
        QCOMPARE(stored("StepSize")->data, text("fine"));
        QVERIFY(store->writes.empty());
    }

    void legacyKeyGoesFromTheSecondRun() {
        store->tree().keyAt(Hive::LocalMachine, LegacySettingsKeyPath);
        QVERIFY(!check());
        QVERIFY(store->tree().exists(Hive::LocalMachine, LegacySettingsKeyPath));
        QVERIFY(!check());
        QVERIFY(!store->tree().exists(Hive::LocalMachine, LegacySettingsKeyPath));
    }

    void failureStopsTheRoutineWithItsMessage_data() {
        QTest::addColumn<QString>("faulty");
        QTest::addColumn<Type>("type"); // None: the query itself fails
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("message");
        QTest::newRow("query fails") << "RotateStep" << Type::None << QByteArray()
                                     << ReadError.arg(5).arg("Unable to read registry value");
        QTest::newRow("text in a number")
            << "PORT" << Type::String << text("COM3") << ReadError.arg(13).arg("Type mismatch");
        QTest::newRow("too large for 16 bits")
            << "FocusStep" << Type::Dword << dword(40000) << ReadError.arg(6).arg("Overflow");
    }
    void failureStopsTheRoutineWithItsMessage() {
        QFETCH(QString, faulty);
        QFETCH(Type, type);
        QFETCH(QByteArray, content);
        QFETCH(QString, message);
        installed();
        put("Prompt", Type::Dword, dword(1));
        if (type == Type::None)
            store->failQuery(faulty, 5);
        else
            put(faulty, type, content);
        settings.mainPosX = -7;
        const auto error = check();
        QVERIFY(error);
        QCOMPARE(prompt.texts(), QStringList{message});
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

    // The program's own store: a file in the config folder that a restart reads back unchanged;
    // spoilt by hand, it is reported once, each run fails, and the file is left as it is.
    // In the program the copy is read from the store once: later runs (each console and driver
    // object start) repair the store but keep the choices the run has made in the copy.
    void laterRunsInTheProgramRepairTheStoreAndKeepTheCopy() {
        QTemporaryDir dir;
        auto owned = std::make_unique<MemorySettingsStore>();
        MemorySettingsStore& memory = *owned;
        AppContext context(
            std::move(owned), std::make_unique<ScriptedPrompt>(), [] { return nullptr; },
            AppPaths::inDirectory(dir.path()));
        QVERIFY(!checkRegistry(context));
        memory.tree().put(Hive::LocalMachine, SettingsKeyPath, "FocusStep", Type::Dword, dword(2));
        QVERIFY(!checkRegistry(context));
        QCOMPARE(context.settings().focusStep, 0);
        context.settings().focusStep = 5;
        context.settings().portDevice = QStringLiteral("/dev/ttyRUN");
        memory.tree().removeValue(Hive::LocalMachine, SettingsKeyPath, "Detector");
        memory.writes.clear();
        QVERIFY(!checkRegistry(context));
        QCOMPARE(context.settings().focusStep, 5);
        QCOMPARE(context.settings().portDevice, QStringLiteral("/dev/ttyRUN"));
        QCOMPARE(memory.writes.size(), 1u); // the repair, and nothing written back
        QCOMPARE(memory.writes[0].name, QStringLiteral("Detector"));
    }

    void programStoreSurvivesARestartOrReportsItsFile() {
        QTemporaryDir dir;
        const AppPaths paths = AppPaths::inDirectory(dir.filePath("cfg"));
        const QString path = dir.filePath("cfg/settings.reg");
        const auto run = [&](int times) {
            auto shown = std::make_unique<ScriptedPrompt>();
            ScriptedPrompt& messages = *shown;
            AppContext context(
                openSettingsStore(paths), std::move(shown), [] { return nullptr; }, paths);
            context.settings().dornaLimit = 1;
            for (int i = 0; i < times; ++i)
                checkRegistry(context);
            return std::pair{context.settings().dornaLimit, messages.texts()};
        };
        QCOMPARE(run(1), std::pair(540, QStringList()));
        const QByteArray first = readAll(path);
        QCOMPARE(run(1), std::pair(540, QStringList()));
        QCOMPARE(readAll(path), first);
        QVERIFY(first.contains("\"ErrorMessage\"=\"0\"\n"));
        QVERIFY(first.contains("\"MaxItterations\"=dword:00000005\n"));

        const QByteArray corrupt = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\X]\n\"PORT\"=dword:xyz\n";
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly) && f.write(corrupt) == corrupt.size());
        f.close();
        const QStringList texts = run(2).second;
        QCOMPARE(texts.size(), 3); // the problem once, the error at each run
        QVERIFY(texts[0].contains(path) && texts[0].contains("line 2"));
        QVERIFY(texts[1].contains("Line Number: 2"));
        QCOMPARE(readAll(path), corrupt);
    }
};

QTEST_GUILESS_MAIN(TestCheckRegistry)
#include "test_check_registry.moc"
