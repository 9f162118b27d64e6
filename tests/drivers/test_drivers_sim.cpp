// The driver objects against the simulated unit: the exact bytes the unit receives, and motion
// and readings arriving over time as the unit reports them.

#include "DriverRig.h"

#include "drivers/DriverErrors.h"
#include "drivers/DriverSet.h"
#include "sim/SimDevice.h"
#include "sim/SimulatedUnit.h"

#include <QTest>

using namespace mivel;
using namespace mivel::test;

namespace {

struct SimRig : DriverRig {
    SimRig()
        : DriverRig([this] { return sim::makeSimDevice(*sim); }) {}
    ~SimRig() { ctx.reset(); } // the line goes before the unit at its other end
    std::unique_ptr<sim::SimulatedUnit> sim = std::make_unique<sim::SimulatedUnit>(clock);

    // Moves time on in steps until `done` holds; false when it never does.
    template <class Done> bool advanceUntil(Done done, qint64 limitMs = 120'000) {
        for (qint64 t = 0; t < limitMs; t += 250) {
            if (done())
                return true;
            advance(250);
        }
        return done();
    }
};

} // namespace

class DriversOnSimulatedUnitTest : public QObject {
    Q_OBJECT
private slots:
    void focuserLinksMovesAndArrives();
    void focuserLinkFailsOnASilentUnit();
    void splitRepliesParseAsWhole();
    void rotatorMovesWithinTheWrapLimit();
    void temperatureSettersReachTheUnit();
};

void DriversOnSimulatedUnitTest::focuserLinksMovesAndArrives() {
    SimRig rig;
    DriverSet set(*rig.ctx);
    Focuser& focuser = set.focuser();
    rig.sim->placeFocuser(1000, true);
    QCOMPARE(rig.run(focuser.setLink(true)), Status());
    QCOMPARE(rig.sim->receivedBytes(), QByteArray("! V  T l "));
    rig.sim->clearReceived();

    QCOMPARE(focuser.move(12500), Status());
    rig.settle(); // the line carries the bytes from the event loop
    QCOMPARE(rig.sim->receivedBytes(), QByteArray("b12500 "));
    rig.advance(501);
    QVERIFY(rig.run(focuser.isMoving()));
    QVERIFY(rig.advanceUntil([&] { return rig.run(focuser.position()) == 12500; }));
    QVERIFY(!rig.run(focuser.isMoving()));
    QCOMPARE(rig.run(focuser.setPosition()), 12500);
    QVERIFY(rig.sim->receivedBytes().contains(" Q "));
}

void DriversOnSimulatedUnitTest::focuserLinkFailsOnASilentUnit() {
    SimRig rig;
    rig.sim->setSilent(true);
    DriverSet set(*rig.ctx);
    QCOMPARE(rig.run(set.focuser().setLink(true)), Status(errors::NoResponseFromFocuser.error));
    QCOMPARE(rig.sim->receivedBytes(), QByteArray("! ! ! ! "));
    QVERIFY(rig.serial().connected());
}

void DriversOnSimulatedUnitTest::splitRepliesParseAsWhole() {
    SimRig rig;
    rig.sim->setSplitReplies(true);
    rig.sim->setRandomSeed(7);
    rig.sim->placeRotator(36000, true, 5000);
    DriverSet set(*rig.ctx);
    Rotator& rotator = set.rotator();
    QCOMPARE(rig.run(rotator.setLink(true)), Status());
    rig.advance(501);
    QCOMPARE(rig.run(rotator.position()), 180.0);
    QCOMPARE(rig.run(rotator.wrap()), 25.0);
    QVERIFY(rotator.absolute());
}

void DriversOnSimulatedUnitTest::rotatorMovesWithinTheWrapLimit() {
    SimRig rig;
    rig.sim->placeRotator(0, true, 0);
    DriverSet set(*rig.ctx);
    Rotator& rotator = set.rotator();
    QCOMPARE(rig.run(rotator.setLink(true)), Status());
    QCOMPARE(rig.sim->receivedBytes(), QByteArray("! H R "));
    rig.sim->clearReceived();

    rig.ctx->settings().dornaLimit = 100;
    QCOMPARE(rotator.move(90), Status());
    QVERIFY(rig.advanceUntil([&] { return rig.run(rotator.wrap()) == 90.0; }));
    // Another 90 degrees would take the wrap to 180, past 100: the rotator goes back instead.
    QCOMPARE(rotator.move(90), Status());
    QVERIFY(rig.advanceUntil([&] { return rig.run(rotator.wrap()) == -180.0; }));
    QVERIFY(rig.sim->receivedBytes().startsWith("q18000 "));
    QVERIFY(rig.sim->receivedBytes().contains("j-54000 "));
}

void DriversOnSimulatedUnitTest::temperatureSettersReachTheUnit() {
    SimRig rig;
    DriverSet set(*rig.ctx);
    Temperature& temperature = set.temperature();
    QCOMPARE(rig.run(temperature.setConnected(true)), Status());
    rig.sim->clearReceived();
    // Manual mode runs the fan at the speed the unit last reported.
    const QByteArray reported = QByteArray::number(rig.sim->fanPower());
    QCOMPARE(temperature.setFanMode(0), Status());
    QCOMPARE(temperature.setFanSpeed(50), Status());
    QCOMPARE(temperature.setSecondaryHeaterSetpoint(2.5f), Status());
    QCOMPARE(temperature.setDewHeater1Power(30), Status());
    rig.settle();
    QCOMPARE(rig.sim->receivedBytes(), "y" + reported + " y50 P2.5 c30 ");
    QCOMPARE(rig.sim->fanPower(), 50);
    QCOMPARE(rig.sim->dewPower(1), 30);

    rig.advance(1001);
    const double ambient = rig.run(temperature.ambientTemp());
    QCOMPARE(ambient, rig.sim->reportedTemperature(sim::Sensor::Ambient) / 100.0);
    QCOMPARE(rig.run(temperature.fanSpeed()), qint16(50));
    QCOMPARE(rig.run(temperature.dewHeater1Power()), qint16(30));
    QCOMPARE(rig.run(temperature.secondaryHeaterSetpoint()),
             float(rig.sim->heaterSetPoint() / 10.0));
}

QTEST_GUILESS_MAIN(DriversOnSimulatedUnitTest)
#include "test_drivers_sim.moc"
