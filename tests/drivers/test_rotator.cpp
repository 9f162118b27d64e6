// The rotator object: the port taken at creation, linking, the wrap-guarded moves, the wrap
// limit and its saving, the queries and the rotator's own commands.

#include "DriverRig.h"

#include "drivers/DriverErrors.h"
#include "drivers/Rotator.h"

#include "app/SettingsKey.h"

#include <QTest>

using namespace mivel;
using namespace mivel::test;

namespace {

// The rotator opens the port itself at creation.
struct RotatorRig : DriverRig {
    Rotator rotator{*ctx};
};

} // namespace

class RotatorTest : public QObject {
    Q_OBJECT
private slots:
    void creationOpensThePortOfTheSettings() {
        DriverRig rig;
        writeSetting(*rig.store, QStringLiteral("PORT"), int(SettingsStore::Type::Dword), 4);
        Rotator rotator(*rig.ctx);
        QVERIFY(rig.serial().connected());
        QCOMPARE(rig.serial().port(), qint16(4));
        QCOMPARE(rig.sent(), QByteArray());
    }

    void linkTakesSevenTicksOrSendsHomedAndStatus() {
        RotatorRig rig;
        rig.ctx->settings().port = 2;
        const qint64 start = rig.now();
        QCOMPARE(rig.run(rig.rotator.setLink(true)), Status(errors::NoResponseFromMivel));
        QCOMPARE(rig.now() - start, Rotator::LinkAttempts * Rotator::LinkTickMs);
        QCOMPARE(rig.sent(), QByteArray("! ! ! ! ! ! ! "));
        QVERIFY(!rig.rotator.link());
        rig.device->respond = answerProbe;
        QCOMPARE(rig.run(rig.rotator.setLink(true)), Status());
        QVERIFY(rig.rotator.linked());
        QCOMPARE(rig.sent(), QByteArray("! H R "));
        QCOMPARE(rig.serial().port(), qint16(1)); // opened at creation, before port 2 was chosen
        QCOMPARE(rig.run(rig.rotator.setLink(false)), Status());
        QVERIFY(!rig.serial().connected());
        const Status notLinked(errors::RotatorNotLinked);
        QCOMPARE(rig.rotator.move(10), notLinked);
        QCOMPARE(rig.rotator.moveAbsolute(10), notLinked);
        QCOMPARE(rig.rotator.goHome(), notLinked);
        QCOMPARE(rig.sent(), QByteArray());
        QCOMPARE(rig.run(rig.rotator.setLink(true)), Status());
        QCOMPARE(rig.serial().port(), qint16(2));
    }

    // Time passing after an attempt, and an answer that comes late, leave the link as the
    // attempt left it, whatever its outcome.
    void ticksAfterAnAttemptLeaveTheLinkAlone() {
        RotatorRig rig;
        QCOMPARE(rig.run(rig.rotator.setLink(true)), Status(errors::NoResponseFromMivel));
        rig.deliver(":! 1 "); // too late
        rig.advance(4 * Rotator::LinkTickMs);
        QVERIFY(!rig.rotator.linked());
        rig.device->respond = answerProbe;
        QCOMPARE(rig.run(rig.rotator.setLink(true)), Status());
        rig.device->respond = nullptr;
        rig.advance(4 * Rotator::LinkTickMs);
        QVERIFY(rig.rotator.linked());
        QCOMPARE(rig.count("! "), Rotator::LinkAttempts + 1);
    }

    void moveStaysWithinTheWrapLimit_data() {
        QTest::addColumn<qint32>("wrap");
        QTest::addColumn<qint32>("limit");
        QTest::addColumn<double>("angle");
        QTest::addColumn<QByteArray>("sent");
        QTest::newRow("folds inside") << 0 << 270 << 200.0 << QByteArray("q40000 ");
        QTest::newRow("half turn folds") << 20000 << 100 << 180.0 << QByteArray("q36000 ");
        QTest::newRow("negative unfolded") << 0 << 270 << -200.0 << QByteArray("q-40000 ");
        QTest::newRow("other way back") << 30000 << 100 << 90.0 << QByteArray("j-54000 ");
        QTest::newRow("other way forward") << -30000 << 100 << -90.0 << QByteArray("j54000 ");
        QTest::newRow("turn off, sign kept") << 150 << 1 << -360.5 << QByteArray("q-72100 ");
        QTest::newRow("rounds half even") << 0 << 540 << 0.0025 << QByteArray("q0 ");
        QTest::newRow("at the limit") << 2000 << 100 << 90.0 << QByteArray("q18000 ");
    }
    void moveStaysWithinTheWrapLimit() {
        QFETCH(qint32, wrap);
        QFETCH(qint32, limit);
        QFETCH(double, angle);
        RotatorRig rig;
        rig.ctx->shared().wrapCounter = wrap;
        rig.ctx->settings().dornaLimit = limit;
        QCOMPARE(rig.rotator.move(angle), Status());
        QTEST(rig.sent(), "sent");
    }

    void moveAbsoluteStartsFromTheLastReportedAngle() {
        RotatorRig rig;
        rig.ctx->settings().dornaLimit = 100;
        rig.ctx->shared().wrapCounter = 10000;
        QCOMPARE(rig.rotator.moveAbsolute(45), Status()); // from 0: 9000 steps, wrap 19000
        QCOMPARE(rig.rotator.moveAbsolute(90), Status()); // 18000 steps would pass 20000
        rig.deliver(":rs 9000 :rt 9000 ");
        QCOMPARE(rig.rotator.moveAbsolute(90), Status()); // from 45: 9000 steps
        QCOMPARE(rig.sent(), QByteArray("|9000 j-54000 |18000 "));
    }

    void wrapLimitIsCheckedAndSaved() {
        RotatorRig rig;
        const auto saved = [&] {
            QVariant v;
            readSetting(*rig.store, QStringLiteral("DornaLimit"), &v);
            return v;
        };
        QCOMPARE(rig.rotator.setWrapLimit(2000), Status());
        QCOMPARE(rig.rotator.wrapLimit(), 2000);
        QCOMPARE(saved(), QVariant(qint32(2000)));
        rig.store->writes.clear();
        const Status refused(errors::IllegalWrapLimit);
        QCOMPARE(rig.rotator.setWrapLimit(2001), refused);
        QCOMPARE(rig.rotator.setWrapLimit(-1), refused);
        QCOMPARE(rig.rotator.setWrapLimit(QStringLiteral("far")), refused);
        QCOMPARE(rig.rotator.wrapLimit(), 2000);
        QVERIFY(rig.store->writes.empty());

        // A save that fails (a full disk) is not answered as success.
        rig.store->failSet(QStringLiteral("DornaLimit"));
        rig.store->setProblem(QStringLiteral("disk full"));
        const Status unsaved = rig.rotator.setWrapLimit(90);
        QVERIFY(unsaved && unsaved->description.contains("disk full"));
        QCOMPARE(unsaved->kind, ErrorKind::OtherFailure);
        QCOMPARE(saved(), QVariant(qint32(2000)));
    }

    void resetPositionAndPositionLimitRanges() {
        RotatorRig rig;
        Rotator& r = rig.rotator;
        const Status resetRefused(errors::ResetAngleOutOfRange);
        QCOMPARE(r.resetPosition(360), Status());
        QCOMPARE(r.resetPosition(360.01f), resetRefused);
        QCOMPARE(r.resetPosition(-0.01f), resetRefused);
        QCOMPARE(rig.sent(), QByteArray(" p72000 "));
        // The position limits are only stored. A negative limit that is not a number gets the
        // positive limit's text, as the unit's own software has it.
        QCOMPARE(r.setPosPositionLimit(720), Status());
        QCOMPARE(r.setPosPositionLimit(720.5), Status(errors::LimitOutOfRange));
        QCOMPARE(r.setNegPositionLimit(1), Status(errors::LimitOutOfRange));
        QCOMPARE(r.setNegPositionLimit(QStringLiteral("x")), Status(errors::LimitNotNumeric));
        QCOMPARE(rig.sent(), QByteArray());
    }

    void wrapReadTwiceQueriesTwice() {
        RotatorRig rig;
        rig.device->respond = answering(" R ", ":rs 0 :rt 0 :wr -36000 ");
        QCOMPARE(rig.run(rig.rotator.wrap()), -180.0);
        QCOMPARE(rig.run(rig.rotator.wrap()), -180.0);
        QCOMPARE(rig.count(" R "), 2);
        QCOMPARE(rig.ctx->shared().wrapCounter, -36000);
    }

    void positionQueryWaitsForOneAngle() {
        RotatorRig rig;
        rig.device->respond = answering(" R ", ":rs 18000 :rt 17999 ");
        QCOMPARE(rig.run(rig.rotator.position()), 0.0); // within 500 ms of creation
        rig.advance(501);
        QCOMPARE(rig.run(rig.rotator.position()), 89.995);
        QCOMPARE(rig.run(rig.rotator.isMoving()), true); // differs at all: moving
        QCOMPARE(rig.count(" R "), 1);
        rig.deliver(":rt 18000 ");
        QVERIFY(!rig.rotator.moving());
        QCOMPARE(rig.rotator.setPosition(), 90.0); // not moving: asks again, without waiting
        QCOMPARE(rig.count(" R "), 2);
        rig.deliver(":rh 1 ");
        QVERIFY(rig.rotator.absolute());
    }

    void commandsOfTheRotator() {
        RotatorRig rig;
        Rotator& r = rig.rotator;
        rig.device->respond = answerProbe;
        rig.run(r.halt()); // not linked: nothing
        rig.run(r.setLink(true));
        rig.sent();
        rig.run(r.halt());
        QCOMPARE(r.goHome(), Status());
        r.zeroWrap();
        r.recordRotatorPosition();
        r.setRecallRotatorPosition(true);
        rig.deliver(":rrp 9 ");
        QVERIFY(r.recallRotatorPosition());
        QVERIFY(r.rotatorPositionRecorded());
        r.setRecallRotatorPosition(true);
        r.setRecallRotatorPosition(false);
        QCOMPARE(r.unwrap(360), Status());
        QCOMPARE(r.unwrap(QStringLiteral("-360")), Status());
        QCOMPARE(r.unwrap(QStringLiteral("back")), Status(errors::IllegalUnwrap));
        QCOMPARE(rig.sent(), QByteArray("q0 r  i  v  /1  /0  j72000  j-72000 "));
    }
};

QTEST_GUILESS_MAIN(RotatorTest)
#include "test_rotator.moc"
