// The logic of the wrap windows: the unwrap choice, the rotator indicator's dial and stop
// button, and the self-closing wrap message.

#include "DriverRig.h"

#include "drivers/WrapDialogs.h"

#include <QSignalSpy>
#include <QTest>

using namespace mivel;
using namespace mivel::test;

class WrapDialogsTest : public QObject {
    Q_OBJECT
private slots:
    void unwrapChoice();
    void indicatorFlagAndRedraws();
    void dialAngles_data();
    void dialAngles();
    void indicatorStopStopsTheRotatorAndCloses();
    void wrapMessageClosesAfterItsInterval();
};

void WrapDialogsTest::unwrapChoice() {
    SharedValues shared;
    UnwrapChoice dialog(shared);
    dialog.accept();
    QCOMPARE(shared.unwrapChoice, qint16(1));
    dialog.select(UnwrapChoice::Option::Second);
    dialog.accept();
    QCOMPARE(shared.unwrapChoice, qint16(2));
    dialog.cancel();
    QCOMPARE(shared.unwrapChoice, qint16(0));
}

void WrapDialogsTest::indicatorFlagAndRedraws() {
    DriverRig rig;
    RotatorIndicator::Angles angles{18000, -36000};
    RotatorIndicator indicator(
        *rig.ctx, [&] { return angles; }, 200);
    QSignalSpy redraws(&indicator, &RotatorIndicator::redraw);
    indicator.load();
    QVERIFY(rig.ctx->shared().rotIndicatorOpen);
    rig.clock.advance(1000);
    QCOMPARE(redraws.count(), 5);
    const auto hands = indicator.hands();
    QCOMPARE(hands[0].colour, 0xFF0000u);
    QCOMPARE(hands[1].colour, 0x808080u);
    QCOMPARE(hands[1].radians, -3.141592);
    indicator.unload();
    QVERIFY(!rig.ctx->shared().rotIndicatorOpen);
    rig.clock.advance(1000);
    QCOMPARE(redraws.count(), 5);
}

void WrapDialogsTest::dialAngles_data() {
    QTest::addColumn<qint32>("steps");
    QTest::addColumn<double>("radians");
    QTest::addColumn<QPointF>("tip"); // of a hand 10 long from (0, 0)
    QTest::newRow("up") << 0 << 0.0 << QPointF(0, -10);
    QTest::newRow("quarter") << 18000 << 1.570796 << QPointF(10, 0);
    QTest::newRow("next turn") << 90000 << 1.570796 << QPointF(10, 0);
    QTest::newRow("back a quarter") << -18000 << -1.570796 << QPointF(-10, 0);
}

void WrapDialogsTest::dialAngles() {
    QFETCH(qint32, steps);
    QFETCH(QPointF, tip);
    const double angle = RotatorIndicator::dialAngle(steps);
    QTEST(angle, "radians");
    const QPointF end = RotatorIndicator::handEnd({0, 0}, 10, angle);
    QVERIFY(qAbs(end.x() - tip.x()) < 1e-4 && qAbs(end.y() - tip.y()) < 1e-4);
}

void WrapDialogsTest::indicatorStopStopsTheRotatorAndCloses() {
    DriverRig rig;
    Connector console(rig.ctx->hub());
    rig.openPortAsConsole();
    RotatorIndicator indicator(*rig.ctx, {});
    QSignalSpy closed(&indicator, &RotatorIndicator::closeRequested);
    indicator.load();
    rig.run(indicator.stop());
    QCOMPARE(rig.unit->sent, QList<QByteArray>{"q0 "});
    QCOMPARE(closed.count(), 1);
    QVERIFY(!rig.ctx->shared().rotIndicatorOpen);
}

void WrapDialogsTest::wrapMessageClosesAfterItsInterval() {
    ManualClock clock;
    WrapMessage message(clock);
    QSignalSpy closed(&message, &WrapMessage::closeRequested);
    message.show(QStringLiteral("Unwrapping"), 3000);
    QVERIFY(message.isShowing());
    QCOMPARE(message.text(), QStringLiteral("Unwrapping"));
    clock.advance(2999);
    QVERIFY(message.isShowing());
    clock.advance(1);
    QVERIFY(!message.isShowing());
    QCOMPARE(closed.count(), 1);
}

QTEST_GUILESS_MAIN(WrapDialogsTest)
#include "test_wrap_dialogs.moc"
