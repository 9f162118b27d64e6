// The focuser object: linking, the rate-limited status query, moves, the derived moving flag,
// temperature compensation parameters and the recorded focus position.

#include "DriverRig.h"

#include "drivers/DriverErrors.h"
#include "drivers/Focuser.h"

#include <QTest>

using namespace mivel;
using namespace mivel::test;

using Sent = QList<QByteArray>;

class FocuserTest : public QObject {
    Q_OBJECT
private slots:
    void linkWithoutAnswerTakesFourHalfSecondWaits();
    void linkAnsweredSendsFollowUpsOnTheSettingsPort();
    void linkOnAPortAlreadyOpenProbesOnlyAndUnlinkClosesIt();
    void moveIsRefusedWithoutPortOrWithCompensation();
    void moveReleasesForcedOffMotorFirst();
    void movingMeansSixStepsFromTarget();
    void statusQueryIsSentAtMostEveryHalfSecond();
    void statusQueryEndsAfterThreePositionsOrHalfASecond();
    void recordFlags_data();
    void recordFlags();
    void recallSendsOnlyChanges();
    void coefficientLimitsAndUnitValue();
    void thresholdLimits();
    void coefficientUnknownUntilSlopeAndValueArrive();
    void tempCompModeCommand();
    void temperatureKeepsLastValueWhenUnanswered();
};

void FocuserTest::linkWithoutAnswerTakesFourHalfSecondWaits() {
    DriverRig rig;
    Focuser focuser(*rig.ctx);
    const qint64 start = rig.now();
    const Status error = rig.run(focuser.setLink(true));
    QCOMPARE(rig.now() - start, 4 * Focuser::LinkAttemptMs);
    QCOMPARE(error, Status(errors::NoResponseFromFocuser.error));
    QCOMPARE(rig.unit->sent, Sent(4, "! "));
    QVERIFY(!focuser.link());
    QVERIFY(rig.serial().connected());
    focuser.halt(); // halts only when linked
    QCOMPARE(rig.unit->sent.size(), 4);
}

void FocuserTest::linkAnsweredSendsFollowUpsOnTheSettingsPort() {
    DriverRig rig;
    CountedWindows windows;
    rig.ctx->setWindows(&windows);
    rig.prepareUnit = [](ScriptedUnit& u) { u.respond = answerProbe; };
    Focuser focuser(*rig.ctx);
    rig.ctx->settings().port = 3;
    rig.ctx->settings().portDevice = QStringLiteral("/dev/ttyMIVEL");
    rig.ctx->settings().controlConsole = true;

    QCOMPARE(rig.run(focuser.setLink(true)), Status());
    QVERIFY(focuser.link());
    QCOMPARE(rig.serial().port(), qint16(3));
    QCOMPARE(rig.unit->portName(), QStringLiteral("/dev/ttyMIVEL"));
    QCOMPARE(rig.unit->sent, (Sent{"! ", "V ", " T ", "l "}));
    QCOMPARE(windows.miniShown, 1);
    rig.unit->sent.clear();
    focuser.halt();
    QCOMPARE(rig.unit->sent, Sent{"S "});

    // Once the compensation parameters are known they are not asked for again.
    rig.ctx->shared().tempComp.paramsReceived = true;
    rig.unit->sent.clear();
    QCOMPARE(rig.run(focuser.setLink(true)), Status());
    QCOMPARE(rig.unit->sent, (Sent{"! ", "V ", " T "}));
}

void FocuserTest::linkOnAPortAlreadyOpenProbesOnlyAndUnlinkClosesIt() {
    DriverRig rig;
    CountedWindows windows;
    windows.mainOpen = true;
    rig.ctx->setWindows(&windows);
    rig.ctx->settings().controlConsole = true;
    Connector console(rig.ctx->hub());
    rig.openPortAsConsole();
    rig.unit->respond = answerProbe;
    Focuser focuser(*rig.ctx);

    QCOMPARE(rig.run(focuser.setLink(true)), Status());
    QCOMPARE(rig.unit->openCount, 1);
    QCOMPARE(rig.unit->clearCount, 1);
    QCOMPARE(rig.unit->count("! "), 1);
    QCOMPARE(windows.miniShown, 0);

    // Unlinking closes the port for every holder, the console included.
    QCOMPARE(rig.run(focuser.setLink(false)), Status());
    QVERIFY(!focuser.link());
    QVERIFY(!rig.serial().connected());
}

void FocuserTest::moveIsRefusedWithoutPortOrWithCompensation() {
    DriverRig rig;
    Focuser focuser(*rig.ctx);
    QCOMPARE(focuser.move(12000), Status(errors::SerialLinkNotEstablished.error));
    rig.openPortAsConsole();
    rig.deliver(":tc 1 ");
    QVERIFY(focuser.tempComp());
    QCOMPARE(focuser.move(12000), Status(errors::TempCompActive.error));
    QVERIFY(rig.unit->sent.isEmpty());
    QCOMPARE(focuser.storedTarget(), 0);
}

void FocuserTest::moveReleasesForcedOffMotorFirst() {
    DriverRig rig;
    Focuser focuser(*rig.ctx);
    rig.openPortAsConsole();
    rig.ctx->shared().pendingU0 = true;
    QCOMPARE(focuser.move(12000), Status());
    QCOMPARE(focuser.move(-5), Status());
    QCOMPARE(rig.unit->sent, (Sent{"U0 ", "b12000 ", "b-5 "}));
    QVERIFY(!rig.ctx->shared().pendingU0);
    QCOMPARE(focuser.storedTarget(), -5);
}

void FocuserTest::movingMeansSixStepsFromTarget() {
    DriverRig rig;
    Focuser focuser(*rig.ctx);
    rig.openPortAsConsole();
    rig.deliver(":s 1000 :a 995 ");
    QCOMPARE(rig.run(focuser.isMoving()), false);
    rig.deliver(":a 994 ");
    QCOMPARE(rig.run(focuser.isMoving()), true);
    rig.deliver(":a 1006 ");
    QCOMPARE(rig.run(focuser.isMoving()), true);
    // Reads within half a second of creation answered from what was stored, asking nothing.
    QVERIFY(rig.unit->sent.isEmpty());
}

void FocuserTest::statusQueryIsSentAtMostEveryHalfSecond() {
    DriverRig rig;
    Focuser focuser(*rig.ctx);
    rig.openPortAsConsole();
    rig.unit->respond = [](const QByteArray& c) {
        return c == " Q " ? QByteArray(":s 40 :a 10 :a 20 :a 30 ") : QByteArray();
    };
    rig.advance(501);
    QCOMPARE(rig.run(focuser.position()), 30);
    rig.advance(400);
    QCOMPARE(rig.run(focuser.setPosition()), 40);
    QCOMPARE(rig.unit->count(" Q "), 1);
    rig.advance(101);
    QCOMPARE(rig.run(focuser.tempCompManualMode()), false);
    QCOMPARE(rig.unit->count(" Q "), 2);
}

void FocuserTest::statusQueryEndsAfterThreePositionsOrHalfASecond() {
    DriverRig rig;
    Focuser focuser(*rig.ctx);
    rig.openPortAsConsole();
    rig.unit->respond = [](const QByteArray& c) {
        return c == " Q " ? QByteArray(":a 10 :a 20 ") : QByteArray();
    };
    rig.advance(501);
    qint64 start = rig.now();
    QCOMPARE(rig.run(focuser.position()), 20);
    QCOMPARE(rig.now() - start, Focuser::StatusWaitMs);

    rig.unit->respond = [](const QByteArray& c) {
        return c == " Q " ? QByteArray(":a 10 :a 20 :a 25 ") : QByteArray();
    };
    rig.advance(501);
    start = rig.now();
    QCOMPARE(rig.run(focuser.position()), 25);
    QVERIFY(rig.now() - start < Focuser::StatusWaitMs);
}

void FocuserTest::recordFlags_data() {
    QTest::addColumn<QByteArray>("flags");
    QTest::addColumn<bool>("recall");
    QTest::addColumn<bool>("recorded");
    QTest::addColumn<bool>("homed");
    QTest::newRow("9") << QByteArray("9") << true << true << true;
    QTest::newRow("5") << QByteArray("5") << true << false << true;
    QTest::newRow("8") << QByteArray("8") << false << false << false;
}

void FocuserTest::recordFlags() {
    QFETCH(QByteArray, flags);
    DriverRig rig;
    Focuser focuser(*rig.ctx);
    rig.openPortAsConsole();
    rig.deliver(":frp " + flags + " ");
    QTEST(rig.run(focuser.recallFocusPosition()), "recall");
    QTEST(focuser.focusPositionRecorded(), "recorded");
    QTEST(focuser.homed(), "homed");
}

void FocuserTest::recallSendsOnlyChanges() {
    DriverRig rig;
    Focuser focuser(*rig.ctx);
    rig.openPortAsConsole();
    focuser.setRecallFocusPosition(false);
    focuser.setRecallFocusPosition(true);
    rig.deliver(":frp 5 ");
    focuser.setRecallFocusPosition(true);
    focuser.setRecallFocusPosition(false);
    focuser.recordFocusPosition();
    QCOMPARE(rig.unit->sent, (Sent{" `1 ", " `0 ", " f "}));
}

void FocuserTest::coefficientLimitsAndUnitValue() {
    DriverRig rig;
    Focuser focuser(*rig.ctx);
    rig.openPortAsConsole();
    rig.deliver(":sl1 1000 "); // slope 0.01
    QCOMPARE(focuser.setTempCompCoefficient(-3.5f), Status());
    QCOMPARE(focuser.setTempCompCoefficient(10.0f), Status());
    QCOMPARE(focuser.setTempCompCoefficient(-10.0f), Status());
    QCOMPARE(focuser.setTempCompCoefficient(10.01f), Status(errors::CoefficientOutOfRange.error));
    QCOMPARE(rig.unit->sent, (Sent{" =-35 ", " =100 ", " =-100 "}));
    QCOMPARE(rig.ctx->shared().tempComp.coefficient, -10.0f);
}

void FocuserTest::thresholdLimits() {
    DriverRig rig;
    Focuser focuser(*rig.ctx);
    rig.openPortAsConsole();
    QCOMPARE(focuser.setTempCompMovementThreshold(5), Status());
    QCOMPARE(focuser.setTempCompMovementThreshold(0), Status());
    QCOMPARE(focuser.setTempCompMovementThreshold(100), Status());
    const Status refused(errors::ThresholdOutOfRange.error);
    QCOMPARE(focuser.setTempCompMovementThreshold(101), refused);
    QCOMPARE(focuser.setTempCompMovementThreshold(-1), refused);
    QCOMPARE(rig.unit->sent, (Sent{" F5 ", " F0 ", " F100 "}));
    QCOMPARE(rig.ctx->shared().tempComp.movementThreshold, 100);
}

void FocuserTest::coefficientUnknownUntilSlopeAndValueArrive() {
    DriverRig rig;
    Focuser focuser(*rig.ctx);
    rig.openPortAsConsole();
    rig.deliver(":tcc -35 "); // no slope yet: cannot be converted
    const qint64 start = rig.now();
    const auto unknown = rig.run(focuser.tempCompCoefficient());
    QCOMPARE(rig.now() - start, Focuser::TempCompWaitMs);
    QCOMPARE(unknown.error, Status(errors::CoefficientUnavailable.error));
    QCOMPARE(unknown.value, 0.0f);
    QCOMPARE(rig.unit->sent, (Sent{" l ", "l "}));
    const auto threshold = rig.run(focuser.tempCompMovementThreshold());
    QCOMPARE(threshold.error, Status(errors::ThresholdUnavailable.error));

    rig.unit->respond = [](const QByteArray& c) {
        return c == " l " ? QByteArray(":sl1 1000 :of1 -250 :tcc -35 :tcm 7 ") : QByteArray();
    };
    const auto known = rig.run(focuser.tempCompCoefficient());
    QCOMPARE(known.error, Status());
    QCOMPARE(known.value, -3.5f);
    QCOMPARE(rig.ctx->shared().tempComp.sensorOffset, -0.0025f);
    QCOMPARE(rig.run(focuser.tempCompMovementThreshold()).value, 7);
}

void FocuserTest::tempCompModeCommand() {
    DriverRig rig;
    Focuser focuser(*rig.ctx);
    rig.openPortAsConsole();
    focuser.setTempComp(true);
    focuser.setTempCompManualMode(true); // sends nothing by itself
    focuser.setTempComp(true);
    focuser.setTempComp(false);
    QCOMPARE(rig.unit->sent, (Sent{" +1 ", " +2 ", " +0 "}));
    rig.deliver(":tc 2 ");
    QVERIFY(focuser.tempComp());
    QCOMPARE(rig.run(focuser.tempCompManualMode()), true);
    rig.deliver(":tc 0 ");
    QVERIFY(!focuser.tempComp());
}

void FocuserTest::temperatureKeepsLastValueWhenUnanswered() {
    DriverRig rig;
    Focuser focuser(*rig.ctx);
    rig.openPortAsConsole();
    QCOMPARE(rig.run(focuser.temperature()), std::optional<double>());
    rig.unit->respond = [](const QByteArray& c) {
        return c == " T " ? QByteArray(":t1 -1250 ") : QByteArray();
    };
    QCOMPARE(rig.run(focuser.temperature()), std::optional<double>(-12.5));
    rig.unit->respond = nullptr;
    const qint64 start = rig.now();
    QCOMPARE(rig.run(focuser.temperature()), std::optional<double>(-12.5));
    QCOMPARE(rig.now() - start, Focuser::TemperatureWaitMs);
    QCOMPARE(rig.unit->count(" T "), 3);
}

QTEST_GUILESS_MAIN(FocuserTest)
#include "test_focuser.moc"
