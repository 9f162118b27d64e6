#pragma once

#include "heater/FirstOrderFit.h"
#include "heater/StepResponse.h"

#include <QChartView>

#include <optional>

class QLineSeries;
class QValueAxis;

namespace mivel::heater {

// The secondary mirror's temperature against time since the recording began, the moment of the
// step, and the fitted model drawn over the readings.
class StepChart : public QChartView {
    Q_OBJECT
public:
    explicit StepChart(const QString& objectName, QWidget* parent = nullptr);

    // Redraws the readings; the time axis spans at least `plannedSeconds`.
    void showResponse(const StepResponse& response, double plannedSeconds);
    // The model over the readings, or none.
    void showModel(const StepResponse& response, const std::optional<FirstOrderModel>& model);

private:
    QLineSeries* readings_;
    QLineSeries* step_;
    QLineSeries* model_;
    QValueAxis* axisX_;
    QValueAxis* axisY_;
};

} // namespace mivel::heater
