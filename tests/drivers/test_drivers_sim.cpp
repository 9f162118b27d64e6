// The driver objects against the simulated unit: the exact bytes the unit receives, and motion
// and readings arriving over time, whole or split anywhere, as the unit reports them.

#include "DriverRig.h"

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
        for (qint64 t = 0; t < limitMs && !done(); t += 250)
            advance(250);
        return done();
    }
};

} // namespace

class DriversOnSimulatedUnitTest : public QObject {
    Q_OBJECT
private slots:
    void focuserLinksMovesAndArrives() {
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
    }

    void rotatorMovesWithinTheWrapLimitOnSplitReplies() {
        SimRig rig;
        rig.sim->setSplitReplies(true);
        rig.sim->setRandomSeed(7);
        rig.sim->placeRotator(36000, true, 0);
        DriverSet set(*rig.ctx);
        Rotator& rotator = set.rotator();
        QCOMPARE(rig.run(rotator.setLink(true)), Status());
        QCOMPARE(rig.sim->receivedBytes(), QByteArray("! H R "));
        rig.advance(501);
        QCOMPARE(rig.run(rotator.position()), 180.0);
        QVERIFY(rotator.absolute());
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
};

QTEST_GUILESS_MAIN(DriversOnSimulatedUnitTest)
#include "test_drivers_sim.moc"
