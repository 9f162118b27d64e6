// When the driver reports a move as ended, and how the rotator's angle looks to INDI clients.

#include "indi/MotionWatch.h"
#include "indi/RotatorFrame.h"

#include <QTest>

using namespace mivel::indi;
using Outcome = MotionWatch::Outcome;

class TestIndiMotion : public QObject {
    Q_OBJECT
private slots:
    void aMoveRunsUntilTheUnitStandsAtItsTarget() {
        MotionWatch watch;
        QCOMPARE(watch.update(false, false), Outcome::None);
        watch.start(1200.0);
        QCOMPARE(watch.target(), std::optional<double>(1200.0));
        // The status that predates the command shows the unit still, away from the target.
        QCOMPARE(watch.update(false, false), Outcome::Running);
        QCOMPARE(watch.update(true, false), Outcome::Running);
        QCOMPARE(watch.update(true, true), Outcome::Running); // passing through, still moving
        QCOMPARE(watch.update(false, true), Outcome::Arrived);
        QVERIFY(!watch.active());
        QCOMPARE(watch.target(), std::nullopt);
        QCOMPARE(watch.update(false, true), Outcome::None);
    }

    void aMoveTheUnitStopsShortOfEndsAsStopped() {
        MotionWatch watch;
        watch.start(500.0);
        QCOMPARE(watch.update(true, false), Outcome::Running);
        for (int i = 1; i < MotionWatch::StillPolls; ++i)
            QCOMPARE(watch.update(false, false), Outcome::Running);
        QCOMPARE(watch.update(false, false), Outcome::Stopped);
    }

    // Any motion starts the count of still polls again.
    void motionRestartsTheStillCount() {
        MotionWatch watch;
        watch.start(std::nullopt);
        for (int i = 1; i < MotionWatch::StillPolls; ++i)
            QCOMPARE(watch.update(false, false), Outcome::Running);
        QCOMPARE(watch.update(true, false), Outcome::Running);
        for (int i = 1; i < MotionWatch::StillPolls; ++i)
            QCOMPARE(watch.update(false, false), Outcome::Running);
        // Homing has no target: standing still long enough is arriving.
        QCOMPARE(watch.update(false, false), Outcome::Arrived);
    }

    void anAbortedMoveIsNoLongerWatched() {
        MotionWatch watch;
        watch.start(10.0);
        watch.stop();
        QCOMPARE(watch.update(false, true), Outcome::None);
    }

    void anglesAreBroughtIntoOneTurn() {
        QCOMPARE(normalised(0.0), 0.0);
        QCOMPARE(normalised(360.0), 0.0);
        QCOMPARE(normalised(-90.0), 270.0);
        QCOMPARE(normalised(725.0), 5.0);
        QCOMPARE(normalised(-1e-15), 0.0); // -1e-15 + 360 rounds to a whole turn
        QCOMPARE(angularDistance(359.0, 1.0), 2.0);
        QCOMPARE(angularDistance(90.0, 270.0), 180.0);
    }

    void reversingMirrorsTheAngleBothWays() {
        RotatorFrame frame;
        QCOMPARE(frame.sky(30.0), 30.0);
        QCOMPARE(frame.sky(-30.0), 330.0);
        frame.reversed = true;
        QCOMPARE(frame.sky(90.0), 270.0);
        QCOMPARE(frame.sky(0.0), 0.0);
        for (double sky : {0.0, 12.5, 180.0, 359.995})
            QCOMPARE(frame.sky(frame.mechanical(sky)), sky);
    }

    // Two of the unit's steps (1/100 degree) count as there, across 0 too.
    void arrivalAllowsTwoSteps() {
        QVERIFY(RotatorFrame::arrived(90.0, 90.009));
        QVERIFY(!RotatorFrame::arrived(90.0, 90.011));
        QVERIFY(RotatorFrame::arrived(359.995, 0.003));
    }
};

QTEST_APPLESS_MAIN(TestIndiMotion)
#include "test_indi_motion.moc"
