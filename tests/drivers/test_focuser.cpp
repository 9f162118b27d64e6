// The focuser object: linking, the rate-limited status query, moves, the derived moving flag,
// temperature compensation parameters and the recorded focus position.

#include "DriverRig.h"

#include "drivers/DriverErrors.h"
#include "drivers/Focuser.h"

#include <QTest>

#include <vector>

using namespace mivel;
using namespace mivel::test;

namespace {

// A focuser on a port that a console opened.
struct FocuserRig : DriverRig {
    FocuserRig() { openPortAsConsole(); }
    Focuser focuser{*ctx};
};

} // namespace

class FocuserTest : public QObject {
    Q_OBJECT
private slots:
    void linkProbesFourTimesOnTheSettingsPortThenFollowsUp() {
        DriverRig rig;
        CountedWindows windows;
        rig.ctx->setWindows(&windows);
        Focuser focuser(*rig.ctx);
        rig.ctx->settings().port = 3;
        rig.ctx->settings().portDevice = QStringLiteral("/dev/ttyMIVEL");
        rig.ctx->settings().controlConsole = true;
        const qint64 start = rig.now();
        QCOMPARE(rig.run(focuser.setLink(true)), Status(errors::NoResponseFromFocuser));
        QCOMPARE(rig.now() - start, 4 * Focuser::LinkAttemptMs);
        QVERIFY(!focuser.link());
        QVERIFY(rig.serial().connected()); // the port stays open
        QCOMPARE(rig.serial().port(), qint16(3));
        QCOMPARE(rig.device->portName(), QStringLiteral("/dev/ttyMIVEL"));
        focuser.halt(); // halts only when linked
        QCOMPARE(windows.miniShown, 0);

        rig.device->respond = answerProbe;
        QCOMPARE(rig.run(focuser.setLink(true)), Status());
        QVERIFY(focuser.link());
        QCOMPARE(windows.miniShown, 1);
        focuser.halt();
        QCOMPARE(rig.sent(), QByteArray("! ! ! ! ! V  T l S "));
        // Once the compensation parameters are known they are not asked for again.
        rig.ctx->shared().tempComp.paramsReceived = true;
        QCOMPARE(rig.run(focuser.setLink(true)), Status());
        QCOMPARE(rig.sent(), QByteArray("! V  T "));
    }

    void linkOnAPortAlreadyOpenProbesOnlyAndUnlinkClosesIt() {
        DriverRig rig;
        CountedWindows windows;
        windows.mainOpen = true;
        rig.ctx->setWindows(&windows);
        rig.ctx->settings().controlConsole = true;
        rig.respond = answerProbe;
        Connector console(rig.ctx->hub());
        rig.openPortAsConsole();
        Focuser focuser(*rig.ctx);
        QCOMPARE(rig.run(focuser.setLink(true)), Status());
        QCOMPARE(rig.device->openCount, 1);
        QCOMPARE(rig.count("! "), 1);
        QCOMPARE(windows.miniShown, 0);
        // Unlinking closes the port for every holder, the console included.
        QCOMPARE(rig.run(focuser.setLink(false)), Status());
        QVERIFY(!focuser.link());
        QVERIFY(!rig.serial().connected());
    }

    void moveChecksThePortAndCompensationAndReleasesTheMotor() {
        DriverRig rig;
        Focuser focuser(*rig.ctx);
        QCOMPARE(focuser.move(12000), Status(errors::SerialLinkNotEstablished));
        rig.openPortAsConsole();
        rig.deliver(":tc 1 ");
        QCOMPARE(focuser.move(12000), Status(errors::TempCompActive));
        QCOMPARE(rig.sent(), QByteArray());
        rig.deliver(":tc 0 ");
        rig.ctx->shared().pendingU0 = true; // the unit reported its motor forced off
        QCOMPARE(focuser.move(12000), Status());
        QCOMPARE(focuser.move(-5), Status());
        QCOMPARE(rig.sent(), QByteArray("U0 b12000 b-5 "));
        QVERIFY(!rig.ctx->shared().pendingU0);
    }

    void movingMeansSixStepsFromTarget() {
        FocuserRig rig;
        rig.deliver(":s 1000 :a 995 ");
        QCOMPARE(rig.run(rig.focuser.isMoving()), false);
        rig.deliver(":a 994 ");
        QCOMPARE(rig.run(rig.focuser.isMoving()), true);
        rig.deliver(":a 1006 ");
        QCOMPARE(rig.run(rig.focuser.isMoving()), true);
        // Reads within half a second of creation answered from what was stored, asking nothing.
        QCOMPARE(rig.sent(), QByteArray());
    }

    void statusQueryIsRateLimitedAndEndsAfterThreePositions() {
        FocuserRig rig;
        rig.device->respond = answering(" Q ", ":s 40 :a 10 :a 20 :a 30 ");
        rig.advance(501);
        qint64 start = rig.now();
        QCOMPARE(rig.run(rig.focuser.position()), 30);
        QVERIFY(rig.now() - start < Focuser::StatusWaitMs);
        rig.advance(400);
        QCOMPARE(rig.run(rig.focuser.setPosition()), 40);
        QCOMPARE(rig.count(" Q "), 1);
        rig.advance(101);
        QCOMPARE(rig.run(rig.focuser.tempCompManualMode()), false);
        QCOMPARE(rig.count(" Q "), 2);

        // Two positions only: the query waits its whole half second.
        rig.device->respond = answering(" Q ", ":a 10 :a 20 ");
        rig.advance(501);
        start = rig.now();
        QCOMPARE(rig.run(rig.focuser.position()), 20);
        QCOMPARE(rig.now() - start, Focuser::StatusWaitMs);
    }

    // The recorded-position flags, and the recall commands that change them: none repeated.
    void recordFlags_data() {
        QTest::addColumn<QByteArray>("flags");
        QTest::addColumn<bool>("recall");
        QTest::addColumn<bool>("recorded");
        QTest::addColumn<bool>("homed");
        QTest::addColumn<QByteArray>("recallOnThenOff");
        QTest::newRow("9") << QByteArray("9") << true << true << true << QByteArray(" `0 ");
        QTest::newRow("5") << QByteArray("5") << true << false << true << QByteArray(" `0 ");
        QTest::newRow("8") << QByteArray("8") << false << false << false << QByteArray(" `1 ");
    }
    void recordFlags() {
        QFETCH(QByteArray, flags);
        FocuserRig rig;
        rig.deliver(":frp " + flags + " ");
        QTEST(rig.run(rig.focuser.recallFocusPosition()), "recall");
        QTEST(rig.focuser.focusPositionRecorded(), "recorded");
        QTEST(rig.focuser.homed(), "homed");
        rig.focuser.setRecallFocusPosition(true);
        rig.focuser.setRecallFocusPosition(false);
        QTEST(rig.sent(), "recallOnThenOff");
        rig.focuser.recordFocusPosition();
        QCOMPARE(rig.sent(), QByteArray(" f "));
    }

    void compensationSettersKeepTheirRanges() {
        FocuserRig rig;
        Focuser& f = rig.focuser;
        rig.deliver(":sl1 1000 "); // slope 0.01: the unit takes coefficient x slope x 1000
        QCOMPARE(f.setTempCompCoefficient(-3.5f), Status());
        QCOMPARE(f.setTempCompCoefficient(10.0f), Status());
        QCOMPARE(f.setTempCompCoefficient(10.01f), Status(errors::CoefficientOutOfRange));
        QCOMPARE(f.setTempCompMovementThreshold(0), Status());
        QCOMPARE(f.setTempCompMovementThreshold(100), Status());
        QCOMPARE(f.setTempCompMovementThreshold(101), Status(errors::ThresholdOutOfRange));
        QCOMPARE(f.setTempCompMovementThreshold(-1), Status(errors::ThresholdOutOfRange));
        QCOMPARE(rig.sent(), QByteArray(" =-35  =100  F0  F100 "));
        QCOMPARE(rig.ctx->shared().tempComp.coefficient, 10.0f);
        QCOMPARE(rig.ctx->shared().tempComp.movementThreshold, 100);
    }

    void coefficientUnknownUntilSlopeAndValueArrive() {
        FocuserRig rig;
        rig.deliver(":tcc -35 "); // no slope yet: cannot be converted
        const qint64 start = rig.now();
        const auto unknown = rig.run(rig.focuser.tempCompCoefficient());
        QCOMPARE(rig.now() - start, Focuser::TempCompWaitMs);
        QCOMPARE(unknown.error, Status(errors::CoefficientUnavailable));
        QCOMPARE(unknown.value, 0.0f);
        QCOMPARE(rig.sent(), QByteArray(" l l "));
        const auto threshold = rig.run(rig.focuser.tempCompMovementThreshold());
        QCOMPARE(threshold.error, Status(errors::ThresholdUnavailable));

        rig.device->respond = answering(" l ", ":sl1 1000 :of1 -250 :tcc -35 :tcm 7 ");
        const auto known = rig.run(rig.focuser.tempCompCoefficient());
        QCOMPARE(known.error, Status());
        QCOMPARE(known.value, -3.5f);
        QCOMPARE(rig.ctx->shared().tempComp.sensorOffset, -0.0025f);
        QCOMPARE(rig.run(rig.focuser.tempCompMovementThreshold()).value, 7);
    }

    // The console applies the compensation replies by the same rule, so what the shared state
    // holds after a chunk does not depend on whether a console is open.
    void thresholdReplyMakesTheParametersKnownAndIsHeldTo100() {
        FocuserRig rig;
        rig.device->respond = answering(" l ", ":tcm 150 ");
        const auto threshold = rig.run(rig.focuser.tempCompMovementThreshold());
        QCOMPARE(threshold.error, Status());
        QCOMPARE(threshold.value, 100);
        QVERIFY(rig.ctx->shared().tempComp.paramsReceived);
        rig.deliver(":tcm -4 ");
        QCOMPARE(rig.ctx->shared().tempComp.movementThreshold, 0);
        // Linking asks for the parameters only while they are not known.
        rig.device->respond = answerProbe;
        rig.sent();
        QCOMPARE(rig.run(rig.focuser.setLink(true)), Status());
        QCOMPARE(rig.sent(), QByteArray("! V  T "));
    }

    void tempCompModeCommand() {
        FocuserRig rig;
        rig.focuser.setTempComp(true);
        rig.focuser.setTempCompManualMode(true); // sends nothing by itself
        rig.focuser.setTempComp(true);
        rig.focuser.setTempComp(false);
        QCOMPARE(rig.sent(), QByteArray(" +1  +2  +0 "));
        rig.deliver(":tc 2 ");
        QVERIFY(rig.focuser.tempComp());
        QCOMPARE(rig.run(rig.focuser.tempCompManualMode()), true);
        rig.deliver(":tc 0 ");
        QVERIFY(!rig.focuser.tempComp());
    }

    void temperatureKeepsLastValueWhenUnanswered() {
        FocuserRig rig;
        QCOMPARE(rig.run(rig.focuser.temperature()), std::optional<double>());
        rig.device->respond = answering(" T ", ":t1 -1250 ");
        QCOMPARE(rig.run(rig.focuser.temperature()), std::optional<double>(-12.5));
        rig.device->respond = nullptr;
        const qint64 start = rig.now();
        QCOMPARE(rig.run(rig.focuser.temperature()), std::optional<double>(-12.5));
        QCOMPARE(rig.now() - start, Focuser::TemperatureWaitMs);
        QCOMPARE(rig.count(" T "), 3);
    }

    // Reads while a " T " is unanswered share its reply, so the line carries one temperature
    // query at a time however many clients read.
    void concurrentTemperatureReadsShareOneQuery() {
        FocuserRig rig;
        std::vector<Task<std::optional<double>>> reads;
        for (int i = 0; i < 64; ++i)
            reads.push_back(rig.focuser.temperature());
        rig.advance(600);
        reads.push_back(rig.focuser.temperature()); // late, it still ends with the same reply
        QCOMPARE(rig.count(" T "), 1);
        rig.deliver(":t1 -1250 ");
        for (const auto& read : reads) {
            QVERIFY(read.isDone());
            QCOMPARE(read.result(), std::optional<double>(-12.5));
        }
        // Answered, the query is over: the next read asks again. On a silent unit that query
        // stays outstanding for one wait; a read joining it waits its own full time, and a read
        // after it asks anew.
        const auto first = rig.focuser.temperature();
        rig.advance(Focuser::TemperatureWaitMs - 1);
        const auto joined = rig.focuser.temperature();
        QCOMPARE(rig.count(" T "), 2);
        rig.advance(1);
        QVERIFY(first.isDone() && !joined.isDone());
        const auto after = rig.focuser.temperature();
        QCOMPARE(rig.count(" T "), 3);
        rig.advance(Focuser::TemperatureWaitMs - 1);
        QVERIFY(joined.isDone() && !after.isDone());
        QCOMPARE(joined.result(), std::optional<double>(-12.5));
    }
};

QTEST_GUILESS_MAIN(FocuserTest)
#include "test_focuser.moc"
