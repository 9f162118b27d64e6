#include <QTest>
class CalibrationTest : public QObject {
    Q_OBJECT
};
QTEST_GUILESS_MAIN(CalibrationTest)
#include "test_calibration.moc"
