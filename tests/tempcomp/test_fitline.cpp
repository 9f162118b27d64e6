// The calibration fit: the worked examples, the degenerate point sets and the table's bounds.

#include "tempcomp/FitLine.h"

#include <QPointF>
#include <QTest>

#include <limits>

using namespace mivel::tempcomp;

class FitLineTest : public QObject {
    Q_OBJECT
private slots:
    void workedExamples_data() {
        QTest::addColumn<QList<QPointF>>("points");
        QTest::addColumn<double>("slope");
        QTest::addColumn<double>("intercept");
        QTest::addColumn<double>("r2");
        QTest::newRow("through the origin")
            << QList<QPointF>{{1, 2}, {2, 4}, {3, 6}} << 2.0 << 0.0 << 1.0;
        QTest::newRow("two points") << QList<QPointF>{{1, 1}, {2, 3}} << 2.0 << -1.0 << 1.0;
        QTest::newRow("same reading") << QList<QPointF>{{4, 1}, {4, 7}} << 0.0 << 0.0 << 0.0;
        QTest::newRow("same reference")
            << QList<QPointF>{{0, 5}, {1, 5}, {2, 5}} << 0.0 << 5.0 << 0.0;
        QTest::newRow("scattered")
            << QList<QPointF>{{1, 1}, {2, 2}, {3, 2}, {4, 3}} << 0.6 << 0.5 << 0.9;
        QTest::newRow("one point") << QList<QPointF>{{3, 9}} << 0.0 << 0.0 << 0.0;
    }

    void workedExamples() {
        QFETCH(QList<QPointF>, points);
        QFETCH(double, slope);
        QFETCH(double, intercept);
        QFETCH(double, r2);
        PointTable t;
        for (const QPointF& p : points)
            QVERIFY(t.add(7, p.x(), 0, p.y())); // fitted in the middle sensor's column
        const auto fit = fitLine(t, 1);
        QVERIFY(fit);
        // Exact comparisons where the answer is exact: 0 must come out as 0, not as a rounding.
        QCOMPARE(fit->slope + 1, slope + 1);
        QCOMPARE(fit->intercept + 1, intercept + 1);
        QCOMPARE(fit->r2 + 1, r2 + 1);
    }

    void tableHoldsAtMost101Points() {
        PointTable t;
        for (int i = 0; i < PointTable::Capacity; ++i)
            QVERIFY(t.add(i, 0, 0, 3.0 * i + 1));
        QVERIFY(!t.add(101, 0, 0, 304));
        QCOMPARE(t.count(), 101);
        QVERIFY(!t.at(0, 101));
        const auto fit = fitLine(t, 0);
        QVERIFY(fit);
        QCOMPARE(fit->slope, 3.0);
        QCOMPARE(fit->intercept, 1.0);
        QCOMPARE(fit->r2, 1.0);
    }

    void refusedWithoutAResult() {
        PointTable t;
        QVERIFY(!fitLine(t, 0)); // no points: the means would divide by zero
        t.add(1, 1, 1, 2);
        t.add(2, 2, 2, 4);
        QVERIFY(!fitLine(t, -1));
        QVERIFY(!fitLine(t, 4));
        QVERIFY(fitLine(t, 3)); // the reference column itself is inside the table
        // A sum that overflows gives no partial result.
        const double huge = std::numeric_limits<double>::max() / 2;
        PointTable overflowing;
        overflowing.add(huge, 0, 0, 1);
        overflowing.add(-huge, 0, 0, 2);
        QVERIFY(!fitLine(overflowing, 0));
    }
};

QTEST_APPLESS_MAIN(FitLineTest)
#include "test_fitline.moc"
