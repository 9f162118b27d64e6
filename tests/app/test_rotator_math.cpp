#include "app/RotatorMath.h"

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
        foldRotatorCount(counts);
        QCOMPARE(counts, folded);
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
