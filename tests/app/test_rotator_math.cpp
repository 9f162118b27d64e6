#include "app/RotatorMath.h"
#include "core/RotatorGeometry.h"

#include <QTest>

#include <limits>

using namespace mivel;

class TestRotatorMath : public QObject {
    Q_OBJECT
private slots:
    void folding_data() {
        QTest::addColumn<qint32>("counts");
        QTest::addColumn<qint32>("folded");
        QTest::newRow("zero") << 0 << 0;
        QTest::newRow("one count") << 1 << 1;
        QTest::newRow("one turn stays") << 72000 << 72000;
        QTest::newRow("minus one turn stays") << -72000 << -72000;
        QTest::newRow("just past a turn") << 72001 << 1;
        QTest::newRow("two turns and one, negative") << -144001 << -1;
        QTest::newRow("two turns") << 144000 << 72000;
        QTest::newRow("largest") << std::numeric_limits<qint32>::max() << 11647;
        QTest::newRow("smallest") << std::numeric_limits<qint32>::min() << -11648;
    }
    void folding() {
        QFETCH(qint32, counts);
        QFETCH(qint32, folded);
        counts = qint32(rotator::foldCount(counts));
        QCOMPARE(counts, folded);
    }

    // The folds part only at their edges: the one-turn folds at whole turns, the half-turn
    // folds at exactly half a turn. The rotator object and the console each rely on their own.
    void foldEdges_data() {
        QTest::addColumn<qint64>("steps");
        QTest::addColumn<qint64>("count");    // foldCount
        QTest::addColumn<qint64>("reduced");  // reduceWithinTurn
        QTest::addColumn<qint64>("fromHalf"); // shorterWayFromHalfTurn
        QTest::addColumn<qint64>("pastHalf"); // shorterWayPastHalfTurn
        QTest::newRow("whole turn")
            << qint64(72000) << qint64(72000) << qint64(0) << qint64(0) << qint64(0);
        QTest::newRow("whole turn back")
            << qint64(-72000) << qint64(-72000) << qint64(0) << qint64(-72000) << qint64(-72000);
        QTest::newRow("two turns back")
            << qint64(-144000) << qint64(-72000) << qint64(0) << qint64(-144000) << qint64(-144000);
        QTest::newRow("half turn")
            << qint64(36000) << qint64(36000) << qint64(36000) << qint64(-36000) << qint64(36000);
        QTest::newRow("past half")
            << qint64(36001) << qint64(36001) << qint64(36001) << qint64(-35999) << qint64(-35999);
        QTest::newRow("half turn back") << qint64(-36000) << qint64(-36000) << qint64(-36000)
                                        << qint64(-36000) << qint64(-36000);
    }
    void foldEdges() {
        QFETCH(qint64, steps);
        QTEST(rotator::foldCount(steps), "count");
        QTEST(rotator::reduceWithinTurn(steps), "reduced");
        QTEST(rotator::shorterWayFromHalfTurn(steps), "fromHalf");
        QTEST(rotator::shorterWayPastHalfTurn(steps), "pastHalf");
    }

    void wrapLimitAndOtherWay() {
        QVERIFY(rotator::withinWrapLimit(19000, 1000, 100)); // exactly at the limit
        QVERIFY(!rotator::withinWrapLimit(19000, 1001, 100));
        QVERIFY(rotator::withinWrapLimit(-19000, -1000, 100));
        QVERIFY(!rotator::withinWrapLimit(-25000, 0, 100)); // already past: no move is within
        QCOMPARE(rotator::otherWayRound(0), qint64(72000)); // no move counts as backwards
        QCOMPARE(rotator::otherWayRound(1), qint64(-71999));
        QCOMPARE(rotator::otherWayRound(-18000), qint64(54000));
    }

    void angleText_data() {
        QTest::addColumn<double>("degrees");
        QTest::addColumn<QString>("text");
        QTest::newRow("zero") << 0.0 << "00:00:00.0";
        QTest::newRow("half degree") << 12.5 << "12:30:00.0";
        QTest::newRow("negative below one") << -0.5 << "-00:30:00.0";
        QTest::newRow("negative with seconds") << -5.1256944444 << "-05:07:32.5";
        QTest::newRow("three digit degrees") << 359.25 << "359:15:00.0";
    }
    void angleText() {
        QFETCH(double, degrees);
        QFETCH(QString, text);
        QCOMPARE(angleToText(degrees), text);
    }
};

QTEST_GUILESS_MAIN(TestRotatorMath)
#include "test_rotator_math.moc"
