#pragma once

#include "tempcomp/CalibrationWindow.h"

#include <QChartView>

class QLineSeries;
class QScatterSeries;
class QValueAxis;

namespace mivel::tempcomp {

// The recorded calibration points of each sensor against the reference temperature, with each
// sensor's fitted line and its R² in the legend.
class CalibrationChart : public QChartView {
    Q_OBJECT
public:
    explicit CalibrationChart(const CalibrationWindow& logic, QWidget* parent = nullptr);

    void refresh();

private:
    const CalibrationWindow& logic_;
    QScatterSeries* points_[CalibrationWindow::SensorCount];
    QLineSeries* lines_[CalibrationWindow::SensorCount];
    QValueAxis* axisX_;
    QValueAxis* axisY_;
};

} // namespace mivel::tempcomp
