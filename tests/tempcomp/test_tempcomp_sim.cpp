// The compensation dialog and the calibration window against the simulated unit: what they
// upload is what the unit takes, and what they read back is what was uploaded.

#include "app/AppContext.h"
#include "app/MemorySettingsStore.h"
#include "sim/SimDevice.h"
#include "sim/SimulatedUnit.h"
#include "tempcomp/CalibrationWindow.h"
#include "tempcomp/FocusMoveRule.h"
#include "tempcomp/TempCompDialog.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace mivel;
using namespace mivel::tempcomp;
using sim::Sensor;
using sim::SimulatedUnit;

namespace {

struct SimRig {
    ManualClock clock;
    SimulatedUnit unit{clock};
    ScriptedPrompt* prompt = nullptr;
    QTemporaryDir dir;
    AppContext ctx;
    Connector console;
    TempCompReceiver consoleReceiver{ctx.hub(), ctx.shared().tempComp};

    SimRig()
        : ctx(
              std::make_unique<MemorySettingsStore>(), makePrompt(),
              [this] { return sim::makeSimDevice(unit); }, AppPaths::inDirectory(dir.path()), clock)
        , console(ctx.hub()) {
        ctx.hub().serial()->setConnected(true);
    }
    std::unique_ptr<Prompt> makePrompt() {
        auto p = std::make_unique<ScriptedPrompt>();
        prompt = p.get();
        return p;
    }
    // Lets the unit hear everything sent so far and the replies reach every receiver.
    void settle() {
        for (int i = 0; i < 10; ++i)
            QCoreApplication::processEvents();
    }
};

} // namespace

class TempCompSimTest : public QObject {
    Q_OBJECT
private slots:
    void calibrationThenCompensationMovesTheFocuser();
    void parametersRoundTripThroughTheUnit();
};

void TempCompSimTest::calibrationThenCompensationMovesTheFocuser() {
    SimRig rig;
    rig.unit.setNightSwing(0);
    rig.unit.placeFocuser(20000, true);

    // Calibrate the compensation sensor: 0.01 degree F per raw unit.
    const QString path = rig.dir.filePath(QStringLiteral("coef.dat"));
    {
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("\"date\",\"03/07/24\",\"21:05:09\"\r\n\"T1\",\".010000\",\"-40.000000\"\r\n"
                "\"T2\",\".020000\",\"-30.000000\"\r\n\"T3\",\".030000\",\"-20.500000\"\r\n");
    }
    CalibrationWindow window(rig.ctx);
    QVERIFY(window.loadCoefficientFile(path));
    rig.settle();
    rig.unit.clearReceived();
    auto upload = window.uploadCoefficients();
    for (int i = 0; i < 6; ++i) {
        rig.settle();
        rig.clock.advance(CalibrationWindow::CoefficientPauseMs);
    }
    QVERIFY(upload.isDone() && upload.result());
    rig.settle();
    QByteArray heard = rig.unit.receivedBytes();
    heard.replace(" T ", "");
    QCOMPARE(heard, QByteArray("A0.0100000 B0.0200000 C0.0300000 D-40.0000000 E-30.0000000 "
                               "F-20.5000000 "));
    QCOMPARE(rig.unit.calibration(Sensor::Ambient).slope, 1000);
    QCOMPARE(rig.unit.calibration(Sensor::Ambient).offset, -4000000);
    QCOMPARE(rig.unit.calibration(Sensor::Primary).offset, -3000000);
    QCOMPARE(rig.unit.calibration(Sensor::Secondary).slope, 3000);
    QCOMPARE(rig.unit.mirrorSpacing(), 0);     // "E" with a decimal point is the intercept
    QCOMPARE(rig.unit.tempCompThreshold(), 5); // " F" is not confused with "F"

    // The compensation dialog reads the unit's parameters, the coefficient uploads in the
    // unit's own terms, and the mode goes out when the dialog closes.
    prepareTempCompDialog(rig.ctx);
    {
        TempCompDialog dialog(rig.ctx);
        // The window's read has told the console the parameters already: no wait.
        QVERIFY(!dialog.waitingForUnit());
        QCOMPARE(dialog.threshold(), 5);
        QTRY_COMPARE(rig.ctx.shared().tempComp.sensorSlope, 0.01f);
        dialog.setCoefficientTenths(250); // 25 counts per degree F
        dialog.selectMode(1);
        QVERIFY(dialog.accept());
    }
    const TempCompButtons buttons = finishTempCompDialog(rig.ctx);
    QCOMPARE(buttons.caption, QStringLiteral("Temperature Compensation = AUTO"));
    rig.settle();
    QCOMPARE(rig.unit.tempCompCoefficient(), 250); // 25 counts/F x 0.01 F/raw x 1000
    QCOMPARE(rig.unit.tempCompMode(), 1);
    QVERIFY(focusMoveRefusal(rig.ctx.shared().tempComp, FocusMoveSource::FocuserDriver));

    // The air warms by 10 degrees: 1000 raw units, 250 counts of focus.
    const int before = rig.unit.focusTarget();
    const int rawBefore = rig.unit.rawReading(Sensor::Ambient);
    rig.unit.setAmbient(rig.unit.temperature(Sensor::Ambient) + 10);
    rig.clock.advance(SimulatedUnit::TickMs);
    const int rawChange = rig.unit.rawReading(Sensor::Ambient) - rawBefore;
    QVERIFY(rawChange != 0);
    QCOMPARE(rig.unit.focusTarget() - before, rawChange * 250 / 1000);

    // Manual: the air changes and nothing moves until the console's synch sends " +2 " again.
    const QByteArray synch = wire::command(wire::Cmd::TempCompMode, 2, wire::Lead::Space);
    rig.ctx.hub().serial()->transmit(synch);
    rig.settle();
    const int manualBefore = rig.unit.focusTarget();
    rig.unit.setAmbient(rig.unit.temperature(Sensor::Ambient) - 10);
    rig.clock.advance(10 * SimulatedUnit::TickMs);
    QCOMPARE(rig.unit.focusTarget(), manualBefore);
    rig.ctx.hub().serial()->transmit(synch);
    rig.settle();
    QVERIFY(rig.unit.focusTarget() < manualBefore);
}

void TempCompSimTest::parametersRoundTripThroughTheUnit() {
    SimRig rig;
    CalibrationWindow first(rig.ctx);
    QTRY_COMPARE(first.value(Param::Kp), QStringLiteral("40")); // the unit's own values
    QTRY_COMPARE(first.value(Param::HeaterILimit), QStringLiteral("50"));
    QCOMPARE(first.value(Param::IntFanMode), QStringLiteral("2"));
    QCOMPARE(first.value(Param::Velocity), QStringLiteral("1.5000"));

    const std::pair<Param, const char*> edits[] = {
        {Param::IntFanMode, "1"},       {Param::IntFanSet, "18"},       {Param::Kp, "35.5"},
        {Param::Velocity, "2.25"},      {Param::AutoCurrent, "0"},      {Param::DeadbandOn, "1"},
        {Param::Deadband, "7"},         {Param::DeadbandSettle, "250"}, {Param::HeaterKp, "1.25"},
        {Param::HeaterDerivTime, "12"},
    };
    for (const auto& [param, text] : edits)
        QVERIFY(first.edit(param, QString::fromLatin1(text)));
    rig.settle();
    rig.unit.clearReceived();
    QVERIFY(first.uploadParameters());
    rig.settle();
    QByteArray heard = rig.unit.receivedBytes();
    heard.replace(" T ", "");
    QCOMPARE(heard, QByteArray("{255 [18 ]2 @20 z50 p35.5 d300 e4 i1 j100 v147456 a655 "
                               " N0  K255  X255 Y7 W250 L125 ^100 ?12 #10 ~50 u"));
    QVERIFY(!rig.unit.uploading());
    QCOMPARE(rig.unit.parameter(wire::Tag::ParamP), QByteArray("35.5"));
    QCOMPARE(rig.unit.parameter(wire::Tag::IntFanOn), QByteArray("255"));
    QCOMPARE(rig.unit.parameter(wire::Tag::IntFanAuto), QByteArray("0"));

    CalibrationWindow second(rig.ctx);
    QTRY_COMPARE(second.value(Param::HeaterDerivTime), QStringLiteral("12"));
    for (const ParamInfo& info : params())
        if (info.fileKey.size() && !QByteArray(info.fileKey.data()).startsWith('T'))
            QCOMPARE(second.value(info.param), first.value(info.param));
}

QTEST_GUILESS_MAIN(TempCompSimTest)
#include "test_tempcomp_sim.moc"
