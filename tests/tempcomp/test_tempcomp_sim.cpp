// The calibration window and the compensation dialog against the simulated unit: the sensor
// coefficients and the compensation coefficient they upload are what the unit works with.

#include "TempCompRig.h"

#include "sim/SimDevice.h"
#include "sim/SimulatedUnit.h"
#include "tempcomp/CalibrationWindow.h"
#include "tempcomp/TempCompDialog.h"

#include <QTest>

using namespace mivel;
using namespace mivel::tempcomp;
using namespace mivel::test;
using sim::Sensor;
using sim::SimulatedUnit;

namespace {

// A rig whose serial device is the simulated unit, on the rig's clock.
struct SimRig {
    std::unique_ptr<SimulatedUnit> unit;
    TempCompRig rig{true, [this](Clock& clock) {
                        unit = std::make_unique<SimulatedUnit>(clock);
                        return sim::makeSimDevice(*unit);
                    }};
    ~SimRig() { unit.reset(); } // its timers run on the rig's clock
    // What the unit heard since the last call, apart from the window's reading polls.
    QByteArray heard() {
        TempCompRig::settle();
        QByteArray bytes = unit->receivedBytes().replace(" T ", "");
        unit->clearReceived();
        return bytes;
    }
};

} // namespace

class TempCompSimTest : public QObject {
    Q_OBJECT
private slots:
    void calibrationThenCompensationMovesTheFocuser() {
        SimRig s;
        SimulatedUnit& unit = *s.unit;
        unit.setNightSwing(0);
        unit.placeFocuser(20000, true);

        // Calibrate the compensation sensor: 0.01 degree F per raw unit.
        const QString path = s.rig.path("coef.dat");
        QVERIFY(writeAll(path, "\"T1\",\".010000\",\"-40.000000\"\r\n\"T2\",\".020000\",\"-30\"\r\n"
                               "\"T3\",\".030000\",\"-20.500000\"\r\n"));
        CalibrationWindow window(*s.rig.ctx);
        QVERIFY(window.loadCoefficientFile(path));
        s.heard();
        auto upload = window.uploadCoefficients();
        for (int i = 0; i < 6; ++i) {
            TempCompRig::settle();
            s.rig.clock.advance(CalibrationWindow::CoefficientPauseMs);
        }
        QVERIFY(upload.isDone() && upload.result());
        QCOMPARE(s.heard(), QByteArray("A0.0100000 B0.0200000 C0.0300000 D-40.0000000 E-30.0000000 "
                                       "F-20.5000000 "));
        QCOMPARE(unit.calibration(Sensor::Ambient).slope, 1000);
        QCOMPARE(unit.calibration(Sensor::Primary).offset, -3000000);
        QCOMPARE(unit.mirrorSpacing(), 0);     // "E" with a decimal point is the intercept
        QCOMPARE(unit.tempCompThreshold(), 5); // " F" is not confused with "F"

        // The compensation dialog reads the unit's parameters, the coefficient uploads in the
        // unit's own terms, and the mode goes out when the dialog closes.
        prepareTempCompDialog(*s.rig.ctx);
        {
            TempCompDialog dialog(*s.rig.ctx);
            // The window's read has told the console the parameters already: no wait.
            QVERIFY(!dialog.waitingForUnit());
            QTRY_COMPARE(s.rig.tempComp().sensorSlope, 0.01f);
            dialog.setCoefficientTenths(250); // 25 counts per degree F
            dialog.selectMode(1);
            QVERIFY(dialog.accept());
        }
        finishTempCompDialog(*s.rig.ctx);
        TempCompRig::settle();
        QCOMPARE(unit.tempCompCoefficient(), 250); // 25 counts/F x 0.01 F/raw x 1000
        QCOMPARE(unit.tempCompMode(), 1);

        // The air warms by 10 degrees: 1000 raw units, 250 counts of focus.
        const int before = unit.focusTarget();
        const int rawBefore = unit.rawReading(Sensor::Ambient);
        unit.setAmbient(unit.temperature(Sensor::Ambient) + 10);
        s.rig.clock.advance(SimulatedUnit::TickMs);
        const int rawChange = unit.rawReading(Sensor::Ambient) - rawBefore;
        QVERIFY(rawChange != 0);
        QCOMPARE(unit.focusTarget() - before, rawChange * 250 / 1000);
    }

    // The window closes just after the first coefficient went out: the other five follow, so
    // the unit never holds new slopes with old intercepts.
    void closingDuringTheUploadLeavesAWholeCalibration() {
        SimRig s;
        SimulatedUnit& unit = *s.unit;
        const QString path = s.rig.path("coef.dat");
        QVERIFY(writeAll(path, "\"T1\",\".010000\",\"-40\"\r\n\"T2\",\".020000\",\"-30\"\r\n"
                               "\"T3\",\".030000\",\"-20.5\"\r\n"));
        std::optional<Task<bool>> upload;
        {
            CalibrationWindow window(*s.rig.ctx);
            QVERIFY(window.loadCoefficientFile(path));
            s.heard();
            upload = window.uploadCoefficients();
            TempCompRig::settle();
        }
        for (int i = 0; i < 6; ++i) {
            s.rig.clock.advance(CalibrationWindow::CoefficientPauseMs);
            TempCompRig::settle();
        }
        QVERIFY(upload->isDone() && upload->result());
        QCOMPARE(s.heard(), QByteArray("A0.0100000 B0.0200000 C0.0300000 D-40.0000000 E-30.0000000 "
                                       "F-20.5000000 "));
        QCOMPARE(unit.calibration(Sensor::Secondary).slope, 3000);
        QCOMPARE(unit.calibration(Sensor::Secondary).offset, -2050000);
    }

    // With the night sped up, compensation follows the cooling air within a minute of clock.
    void spedUpNightShowsCompensation() {
        SimRig s;
        SimulatedUnit& unit = *s.unit;
        unit.setThermalSpeed(600);
        unit.placeFocuser(20000, true);
        s.rig.ctx->hub().serial()->transmit(QByteArray(" =-1758  F5  +1 ")); // -10 counts a degree
        TempCompRig::settle();
        QCOMPARE(unit.tempCompMode(), 1);
        const int rawBefore = unit.rawReading(Sensor::Ambient);
        for (int i = 0; i < 60; ++i)
            s.rig.clock.advance(1000);
        const int cooled = rawBefore - unit.rawReading(Sensor::Ambient);
        QVERIFY2(cooled >= 5, qPrintable(QString::number(cooled)));
        QVERIFY(unit.focusTarget() > 20000); // colder: the focus moves out
    }
};

QTEST_GUILESS_MAIN(TempCompSimTest)
#include "test_tempcomp_sim.moc"
