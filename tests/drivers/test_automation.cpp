// The driver objects as automation clients reach them: every member through its table,
// argument conversion, trapped errors and their kinds, the console windows, the set of objects,
// and waits that overlap or outlive their object.

#include "DriverRig.h"

#include "drivers/DriverErrors.h"
#include "drivers/DriverSet.h"

#include <QTest>

using namespace mivel;
using namespace mivel::test;

using Kind = DeviceProvider::Kind;

class AutomationTest : public QObject {
    Q_OBJECT
private slots:
    // Every property reads, every writable property takes a value of its type and every method
    // runs, each through the table and without "no such member".
    void everyMemberAnswersThroughItsTable() {
        DriverRig rig;
        rig.respond = answerProbe;
        DriverSet set(*rig.ctx);
        const auto sample = [](const MemberInfo& m) {
            return m.type == QMetaType::Bool      ? QVariant(false)
                   : m.type == QMetaType::QString ? QVariant(QString())
                                                  : QVariant(1);
        };
        for (const Kind kind : {Kind::Focuser, Kind::Rotator, Kind::Temperature}) {
            AutomationDevice& device = set.device(kind);
            for (const MemberInfo& m : device.members()) {
                const QString name = QString::fromLatin1(m.name);
                std::vector<CallResult> results;
                if (m.readable)
                    results.push_back(rig.run(device.get(name.toLower())));
                if (m.writable)
                    results.push_back(rig.run(device.set(name, sample(m))));
                if (m.kind == MemberInfo::Kind::Method)
                    results.push_back(rig.run(device.call(name, {sample(m)})));
                for (const CallResult& r : results)
                    QVERIFY2(!r.error || r.error->kind != ErrorKind::NotImplemented ||
                                 name == "SetupDialog" || name == "ShowForm",
                             qPrintable(name));
            }
            QCOMPARE(rig.run(device.get("NoSuchThing")).error->number, 0x400);
            QCOMPARE(rig.run(device.get("NoSuchThing")).error->kind, ErrorKind::NotImplemented);
            QVERIFY(rig.run(device.set("AppVersion", 1)).error); // read-only
        }
    }

    void argumentsAreConvertedBeforeTheMemberRuns() {
        DriverRig rig;
        DriverSet set(*rig.ctx);
        AutomationDevice& focuser = set.device(Kind::Focuser);
        rig.openPortAsConsole();
        const auto error = [&](Task<CallResult> t) { return rig.run(std::move(t)).error; };
        QCOMPARE(error(focuser.set("TempCompCoefficient", "steep")), Status(errors::TypeMismatch));
        QCOMPARE(error(focuser.set("TempCompMovementThreshold", 40000)), Status(errors::Overflow));
        QCOMPARE(error(focuser.call("Move", {})), Status(errors::TypeMismatch));
        QCOMPARE(error(focuser.set("TempComp", "True")), Status());
        QVERIFY(rig.run(focuser.get("TempComp")).value.toBool());
        // Halves go to the even neighbour: 12.5 -> 12 and 13.5 -> 14.
        QCOMPARE(error(focuser.set("TempCompMovementThreshold", 12.5)), Status());
        QCOMPARE(rig.ctx->shared().tempComp.movementThreshold, 12);
        QCOMPARE(error(focuser.set("TempCompMovementThreshold", " 13.5 ")), Status());
        QCOMPARE(rig.ctx->shared().tempComp.movementThreshold, 14);
        // A single reads back as its shortest decimal.
        AutomationDevice& temperature = set.device(Kind::Temperature);
        QCOMPARE(error(temperature.set("FanDeadband", 0.3)), Status());
        QCOMPARE(rig.run(temperature.get("FanDeadband")).value, QVariant(0.3));
        QVERIFY(rig.sent().endsWith(" O3 "));
    }

    void linkLetTreatsFalseAndZeroAsUnlink() {
        DriverRig rig;
        rig.respond = answerProbe;
        Connector console(rig.ctx->hub()); // keeps the link when the client lets go
        DriverSet set(*rig.ctx);
        AutomationDevice& rotator = set.device(Kind::Rotator);
        for (const QVariant& off : {QVariant(false), QVariant(0), QVariant("False")}) {
            QCOMPARE(rig.run(rotator.set("Link", "yes")).error, Status());
            QVERIFY(rotator.linked());
            QCOMPARE(rig.run(rotator.set("Link", off)).error, Status());
            QVERIFY(!rotator.linked());
            QVERIFY(!rig.serial().connected());
        }
    }

    void errorsTravelBesideTheValue() {
        DriverRig rig;
        DriverSet set(*rig.ctx);
        AutomationDevice& focuser = set.device(Kind::Focuser);
        const CallResult r = rig.run(focuser.get("TempCompCoefficient"));
        QCOMPARE(r.value, QVariant(0.0));
        QCOMPARE(r.error, Status(errors::CoefficientUnavailable));
        QCOMPARE(r.error->source, QStringLiteral("Mivel"));
        const CallResult link = rig.run(focuser.set("Connected", true));
        QCOMPARE(link.error->number, 1);
        QCOMPARE(link.error->source, QStringLiteral("0"));
        QCOMPARE(link.error->description, QStringLiteral("No response from focuser"));
        QCOMPARE(rig.run(focuser.get("Connected")).value, QVariant(false));
        // Before any temperature came, the value is empty.
        QVERIFY(!rig.run(focuser.get("Temperature")).value.isValid());
    }

    void windowsOnlyWhenTheConsoleRuns() {
        DriverRig rig;
        DriverSet set(*rig.ctx);
        QCOMPARE(set.focuser().setupDialog(), Status(errors::SetupDialogUnavailable));
        QCOMPARE(set.rotator().showForm(1), Status(errors::ShowFormUnavailable));
        CountedWindows windows;
        rig.ctx->setWindows(&windows);
        QCOMPARE(set.focuser().showForm(1), Status());
        QCOMPARE(set.rotator().showForm(2), Status());
        QCOMPARE(set.rotator().setupDialog(), Status());
        windows.mainOpen = true; // nothing more while the main console is open
        QCOMPARE(set.focuser().showForm(1), Status());
        QCOMPARE(set.focuser().showForm(2), Status());
        QCOMPARE(windows.miniShown, 1);
        QCOMPARE(windows.mainShown, 1);
        QCOMPARE(windows.rotatorSetups, 1);
    }

    void driverSetCreatesOnFirstUse() {
        DriverRig rig;
        DriverSet set(*rig.ctx);
        QVERIFY(!set.existing(Kind::Focuser));
        QVERIFY(!rig.store->tree().exists(SettingsStore::Hive::LocalMachine, SettingsKeyPath));
        AutomationDevice& focuser = set.device(Kind::Focuser);
        QCOMPARE(set.existing(Kind::Focuser), &focuser);
        QCOMPARE(&set.device(Kind::Focuser), &focuser);
        QVERIFY(rig.store->tree().exists(SettingsStore::Hive::LocalMachine, SettingsKeyPath));
        set.device(Kind::Rotator);
        set.device(Kind::Temperature);
        QCOMPARE(rig.ctx->hub().receiverCount(), 3); // one each, however often asked for
    }

    // Waits are not nested: twenty temperature reads started 50 ms apart on a silent unit each
    // end 1001 ms after their own start.
    void overlappingWaitsEndOnTheirOwnDeadlines() {
        DriverRig rig;
        Focuser focuser(*rig.ctx);
        rig.openPortAsConsole();
        std::vector<qint64> started, ended;
        std::vector<Task<std::optional<double>>> reads;
        for (int i = 0; i < 20; ++i) {
            started.push_back(rig.now());
            reads.push_back(focuser.temperature());
            reads.back().then([&](const auto&) { ended.push_back(rig.now()); });
            rig.advance(50);
        }
        rig.advance(1100);
        QCOMPARE(ended.size(), std::size_t(20));
        for (int i = 0; i < 20; ++i)
            QCOMPARE(ended[i] - started[i], Focuser::TemperatureWaitMs);
    }

    void waitOutlivingItsObjectEndsQuietly() {
        DriverRig rig;
        Connector console(rig.ctx->hub());
        rig.openPortAsConsole();
        auto rotator = std::make_unique<Rotator>(*rig.ctx);
        rig.advance(501);
        Task<double> wrap = rotator->wrap();
        Task<Status> link = rotator->setLink(true);
        rig.advance(100);
        QVERIFY(!wrap.isDone() && !link.isDone());
        rotator.reset();
        rig.advance(1000);
        QVERIFY(wrap.isDone() && link.isDone());
        QCOMPARE(rig.ctx->hub().waits().pendingCount(), 0);
    }
};

QTEST_GUILESS_MAIN(AutomationTest)
#include "test_automation.moc"
