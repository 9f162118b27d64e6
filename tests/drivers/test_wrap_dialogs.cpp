// The logic of the rotator indicator: its dial and its stop button. The unwrap choice and the
// wrap message are tried through their windows with the console's.

#include "DriverRig.h"

#include "drivers/WrapDialogs.h"

#include <QSignalSpy>
#include <QTest>

using namespace mivel;
using namespace mivel::test;

class WrapDialogsTest : public QObject {
    Q_OBJECT
private slots:
    // Two angles, reduced to one turn, drawn as red and grey radii while the window is loaded.
    void indicatorDrawsWhileLoaded() {
        DriverRig rig;
        RotatorIndicator indicator(
            *rig.ctx,
            [] {
                return RotatorIndicator::Angles{90000, -18000};
            },
            200);
        QSignalSpy redraws(&indicator, &RotatorIndicator::redraw);
        indicator.load();
        QVERIFY(rig.ctx->shared().rotIndicatorOpen);
        rig.clock.advance(1000);
        QCOMPARE(redraws.count(), 5);
        const auto hands = indicator.hands();
        QCOMPARE(hands[0].colour, 0xFF0000u);
        QCOMPARE(hands[0].radians, 1.570796);
        QCOMPARE(hands[1].colour, 0x808080u);
        QCOMPARE(hands[1].radians, -1.570796);
        const QPointF tip = RotatorIndicator::handEnd({0, 0}, 10, hands[0].radians);
        QVERIFY(qAbs(tip.x() - 10) < 1e-4 && qAbs(tip.y()) < 1e-4); // a quarter turn: right
        indicator.unload();
        QVERIFY(!rig.ctx->shared().rotIndicatorOpen);
        rig.clock.advance(1000);
        QCOMPARE(redraws.count(), 5);
    }

    void indicatorStopStopsTheRotatorAndCloses() {
        DriverRig rig;
        Connector console(rig.ctx->hub());
        rig.openPortAsConsole();
        RotatorIndicator indicator(*rig.ctx, {});
        QSignalSpy closed(&indicator, &RotatorIndicator::closeRequested);
        indicator.load();
        rig.run(indicator.stop());
        QCOMPARE(rig.sent(), QByteArray("q0 "));
        QCOMPARE(closed.count(), 1);
        QVERIFY(!rig.ctx->shared().rotIndicatorOpen);
    }
};

QTEST_GUILESS_MAIN(WrapDialogsTest)
#include "test_wrap_dialogs.moc"
