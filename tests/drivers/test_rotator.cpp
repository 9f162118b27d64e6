// The rotator object: the port taken at creation, linking, the wrap-guarded moves, the wrap
// limit and its saving, the queries and the rotator's own commands.

#include "DriverRig.h"

#include "drivers/DriverErrors.h"
#include "drivers/Rotator.h"

#include "app/SettingsStore.h"

#include <QTest>
#include <QtEndian>

using namespace mivel;
using namespace mivel::test;

using Sent = QList<QByteArray>;

namespace {

// A linked-looking rotator: the port is open (the rotator opens it itself).
struct RotatorRig : DriverRig {
    Rotator rotator{*ctx};
};

} // namespace

class RotatorTest : public QObject {
    Q_OBJECT
private slots:
    void creationOpensThePortOfTheSettings();
    void linkTakesSevenTicksOrSendsHomedAndStatus();
    void stepReductionKeepsTheSign_data();
    void stepReductionKeepsTheSign();
    void moveStaysWithinTheWrapLimit_data();
    void moveStaysWithinTheWrapLimit();
    void moveAbsoluteStartsFromTheLastReportedAngle();
    void motionNeedsAnOpenPort();
    void wrapLimitIsCheckedAndSaved();
    void resetPositionRange();
    void positionLimitsAreOnlyStored();
    void wrapReadTwiceQueriesTwice();
    void positionQueryWaitsForOneAngle();
    void commandsOfTheRotator();
};

void RotatorTest::creationOpensThePortOfTheSettings() {
    DriverRig rig;
    rig.store->tree().put(SettingsStore::Hive::LocalMachine, SettingsKeyPath,
                          QStringLiteral("PORT"), SettingsStore::Type::Dword,
                          QByteArray("\x04\0\0\0", 4));
    Rotator rotator(*rig.ctx);
    QVERIFY(rig.serial().connected());
    QCOMPARE(rig.serial().port(), qint16(4));
    QVERIFY(rig.unit->sent.isEmpty());
}

void RotatorTest::linkTakesSevenTicksOrSendsHomedAndStatus() {
    RotatorRig rig;
    rig.ctx->settings().port = 2;
    const qint64 start = rig.now();
    QCOMPARE(rig.run(rig.rotator.setLink(true)), Status(errors::NoResponseFromMivel.error));
    QCOMPARE(rig.now() - start, Rotator::LinkAttempts * Rotator::LinkTickMs);
    QCOMPARE(rig.unit->sent, Sent(7, "! "));
    QVERIFY(!rig.rotator.link());

    rig.unit->sent.clear();
    rig.unit->respond = answerProbe;
    QCOMPARE(rig.run(rig.rotator.setLink(true)), Status());
    QVERIFY(rig.rotator.linked());
    QCOMPARE(rig.unit->sent, (Sent{"! ", "H ", "R "}));
    QCOMPARE(rig.serial().port(), qint16(1)); // opened at creation, before port 2 was chosen

    QCOMPARE(rig.run(rig.rotator.setLink(false)), Status());
    QVERIFY(!rig.serial().connected());
    rig.ctx->settings().portDevice = QStringLiteral("/dev/ttyROT");
    QCOMPARE(rig.run(rig.rotator.setLink(true)), Status());
    QCOMPARE(rig.serial().port(), qint16(2));
    QCOMPARE(rig.unit->portName(), QStringLiteral("/dev/ttyROT"));
}

void RotatorTest::stepReductionKeepsTheSign_data() {
    QTest::addColumn<qint64>("steps");
    QTest::addColumn<qint64>("reduced");
    QTest::addColumn<qint64>("folded");
    QTest::newRow("inside") << qint64(40000) << qint64(40000) << qint64(-32000);
    QTest::newRow("half turn") << qint64(36000) << qint64(36000) << qint64(-36000);
    QTest::newRow("negative half") << qint64(-40000) << qint64(-40000) << qint64(-40000);
    QTest::newRow("one turn") << qint64(72000) << qint64(0) << qint64(0);
    QTest::newRow("over a turn") << qint64(72001) << qint64(1) << qint64(1);
    QTest::newRow("two turns back") << qint64(-144001) << qint64(-1) << qint64(-1);
}

void RotatorTest::stepReductionKeepsTheSign() {
    QFETCH(qint64, steps);
    QTEST(rotator::reduceOneTurn(steps), "reduced");
    QTEST(rotator::moveSteps(steps), "folded");
}

void RotatorTest::moveStaysWithinTheWrapLimit_data() {
    QTest::addColumn<qint32>("wrap");
    QTest::addColumn<qint32>("limit");
    QTest::addColumn<double>("angle");
    QTest::addColumn<QByteArray>("sent");
    QTest::newRow("folds inside") << 0 << 270 << 200.0 << QByteArray("q40000 ");
    QTest::newRow("other way back") << 30000 << 100 << 90.0 << QByteArray("j-54000 ");
    QTest::newRow("other way forward") << -30000 << 100 << -90.0 << QByteArray("j54000 ");
    QTest::newRow("negative unfolded") << 0 << 270 << -200.0 << QByteArray("q-40000 ");
    QTest::newRow("whole turn") << 0 << 540 << 360.0 << QByteArray("q72000 ");
    QTest::newRow("rounds half even") << 0 << 540 << 0.0025 << QByteArray("q0 ");
    QTest::newRow("at the limit") << 2000 << 100 << 90.0 << QByteArray("q18000 ");
}

void RotatorTest::moveStaysWithinTheWrapLimit() {
    QFETCH(qint32, wrap);
    QFETCH(qint32, limit);
    QFETCH(double, angle);
    RotatorRig rig;
    rig.ctx->shared().wrapCounter = wrap;
    rig.ctx->settings().dornaLimit = limit;
    QCOMPARE(rig.rotator.move(angle), Status());
    QTEST(rig.unit->sent.value(0), "sent");
    QCOMPARE(rig.unit->sent.size(), 1);
}

void RotatorTest::moveAbsoluteStartsFromTheLastReportedAngle() {
    RotatorRig rig;
    rig.ctx->settings().dornaLimit = 100;
    rig.ctx->shared().wrapCounter = 10000;
    QCOMPARE(rig.rotator.moveAbsolute(45), Status()); // from 0: 9000 steps, wrap 19000
    QCOMPARE(rig.rotator.moveAbsolute(90), Status()); // 18000 steps would pass 20000
    rig.deliver(":rs 9000 :rt 9000 ");
    QCOMPARE(rig.rotator.moveAbsolute(90), Status()); // from 45: 9000 steps
    QCOMPARE(rig.unit->sent, (Sent{"|9000 ", "j-54000 ", "|18000 "}));
}

void RotatorTest::motionNeedsAnOpenPort() {
    RotatorRig rig;
    rig.serial().setConnected(false);
    const Status notLinked(errors::RotatorNotLinked.error);
    QCOMPARE(rig.rotator.move(10), notLinked);
    QCOMPARE(rig.rotator.moveAbsolute(10), notLinked);
    QCOMPARE(rig.rotator.goHome(), notLinked);
    QVERIFY(rig.unit->sent.isEmpty());
}

void RotatorTest::wrapLimitIsCheckedAndSaved() {
    RotatorRig rig;
    const auto saved = [&] {
        const auto v = rig.store->tree().value(SettingsStore::Hive::LocalMachine, SettingsKeyPath,
                                               QStringLiteral("DornaLimit"));
        return v && v->type == SettingsStore::Type::Dword
                   ? qFromLittleEndian<qint32>(v->data.constData())
                   : -12345;
    };
    QCOMPARE(saved(), 540); // written by the settings routine at creation
    QCOMPARE(rig.rotator.setWrapLimit(2000), Status());
    QCOMPARE(rig.rotator.wrapLimit(), 2000);
    QCOMPARE(saved(), 2000);
    rig.store->writes.clear();
    const Status refused(errors::IllegalWrapLimit.error);
    QCOMPARE(rig.rotator.setWrapLimit(2001), refused);
    QCOMPARE(rig.rotator.setWrapLimit(-1), refused);
    QCOMPARE(rig.rotator.setWrapLimit(QStringLiteral("far")), refused);
    QCOMPARE(rig.rotator.wrapLimit(), 2000);
    QVERIFY(rig.store->writes.empty());
    QCOMPARE(rig.rotator.setWrapLimit(QStringLiteral("0")), Status());
    QCOMPARE(saved(), 0);
}

void RotatorTest::resetPositionRange() {
    RotatorRig rig;
    QCOMPARE(rig.rotator.resetPosition(360), Status());
    QCOMPARE(rig.rotator.resetPosition(0), Status());
    const Status refused(errors::ResetAngleOutOfRange.error);
    QCOMPARE(rig.rotator.resetPosition(360.01f), refused);
    QCOMPARE(rig.rotator.resetPosition(-0.01f), refused);
    QCOMPARE(rig.unit->sent, (Sent{" p72000 ", " p0 "}));
}

void RotatorTest::positionLimitsAreOnlyStored() {
    RotatorRig rig;
    QCOMPARE(rig.rotator.setPosPositionLimit(720), Status());
    QCOMPARE(rig.rotator.setPosPositionLimit(720.5), Status(errors::LimitOutOfRange.error));
    QCOMPARE(rig.rotator.setNegPositionLimit(-720), Status());
    QCOMPARE(rig.rotator.setNegPositionLimit(1), Status(errors::LimitOutOfRange.error));
    // Both report the positive limit's text for a value that is not a number.
    const Status notNumeric(errors::LimitNotNumeric.error);
    QCOMPARE(rig.rotator.setPosPositionLimit(QStringLiteral("x")), notNumeric);
    QCOMPARE(rig.rotator.setNegPositionLimit(QStringLiteral("x")), notNumeric);
    QCOMPARE(rig.rotator.posPositionLimit(), 720.0);
    QCOMPARE(rig.rotator.negPositionLimit(), -720.0);
    rig.rotator.setActivatePositionLimit(QStringLiteral("yes"));
    QVERIFY(rig.rotator.activatePositionLimit());
    rig.rotator.setActivatePositionLimit(false);
    QVERIFY(!rig.rotator.activatePositionLimit());
    QVERIFY(rig.unit->sent.isEmpty());
}

void RotatorTest::wrapReadTwiceQueriesTwice() {
    RotatorRig rig;
    rig.unit->respond = [](const QByteArray& c) {
        return c == " R " ? QByteArray(":rs 0 :rt 0 :wr -36000 ") : QByteArray();
    };
    QCOMPARE(rig.run(rig.rotator.wrap()), -180.0);
    QCOMPARE(rig.run(rig.rotator.wrap()), -180.0);
    QCOMPARE(rig.unit->count(" R "), 2);
    QCOMPARE(rig.ctx->shared().wrapCounter, -36000);
}

void RotatorTest::positionQueryWaitsForOneAngle() {
    RotatorRig rig;
    rig.unit->respond = [](const QByteArray& c) {
        return c == " R " ? QByteArray(":rs 18000 :rt 17999 ") : QByteArray();
    };
    QCOMPARE(rig.run(rig.rotator.position()), 0.0); // within 500 ms of creation
    rig.advance(501);
    QCOMPARE(rig.run(rig.rotator.position()), 89.995);
    QCOMPARE(rig.run(rig.rotator.isMoving()), true); // differs at all: moving
    QCOMPARE(rig.unit->count(" R "), 1);
    rig.deliver(":rt 18000 ");
    QVERIFY(!rig.rotator.moving());
    QCOMPARE(rig.rotator.setPosition(), 90.0); // not moving: asks again, without waiting
    QCOMPARE(rig.unit->count(" R "), 2);
    rig.deliver(":rh 1 ");
    QVERIFY(rig.rotator.absolute());
}

void RotatorTest::commandsOfTheRotator() {
    RotatorRig rig;
    rig.unit->respond = answerProbe;
    rig.run(rig.rotator.halt()); // not linked: nothing
    rig.run(rig.rotator.setLink(true));
    rig.unit->sent.clear();
    rig.run(rig.rotator.halt());
    QCOMPARE(rig.rotator.goHome(), Status());
    rig.rotator.zeroWrap();
    rig.rotator.recordRotatorPosition();
    rig.rotator.setRecallRotatorPosition(true);
    rig.deliver(":rrp 9 ");
    QVERIFY(rig.rotator.recallRotatorPosition());
    QVERIFY(rig.rotator.rotatorPositionRecorded());
    rig.rotator.setRecallRotatorPosition(true);
    rig.rotator.setRecallRotatorPosition(false);
    QCOMPARE(rig.rotator.unwrap(360), Status());
    QCOMPARE(rig.rotator.unwrap(QStringLiteral("-360")), Status());
    QCOMPARE(rig.rotator.unwrap(QStringLiteral("back")), Status(errors::IllegalUnwrap.error));
    QCOMPARE(rig.unit->sent,
             (Sent{"q0 ", "r ", " i ", " v ", " /1 ", " /0 ", " j72000 ", " j-72000 "}));
}

QTEST_GUILESS_MAIN(RotatorTest)
#include "test_rotator.moc"
