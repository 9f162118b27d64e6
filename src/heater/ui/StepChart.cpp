#include "StepChart.h"

#include <QChart>
#include <QLegendMarker>
#include <QLineSeries>
#include <QPen>
#include <QValueAxis>

#include <algorithm>
#include <cmath>

namespace mivel::heater {

StepChart::StepChart(const QString& objectName, QWidget* parent)
    : QChartView(parent)
    , readings_(new QLineSeries)
    , step_(new QLineSeries)
    , model_(new QLineSeries)
    , axisX_(new QValueAxis)
    , axisY_(new QValueAxis) {
    setObjectName(objectName);
    setRenderHint(QPainter::Antialiasing);
    setMinimumSize(520, 300);
    auto* chart = new QChart;
    chart->setTheme(QChart::ChartThemeDark); // matches the console at night
    chart->legend()->setAlignment(Qt::AlignBottom);
    axisX_->setTitleText(QStringLiteral("Minutes since the recording began"));
    axisX_->setLabelFormat(QStringLiteral("%.0f"));
    axisY_->setTitleText(QStringLiteral("Secondary (F)"));
    axisY_->setLabelFormat(QStringLiteral("%.1f"));
    chart->addAxis(axisX_, Qt::AlignBottom);
    chart->addAxis(axisY_, Qt::AlignLeft);
    readings_->setName(QStringLiteral("Secondary temperature"));
    readings_->setColor(QColor(0x4f, 0xa3, 0xe0));
    step_->setName(QStringLiteral("Step"));
    step_->setPen(QPen(QColor(0xb0, 0xb0, 0xb0), 1, Qt::DashLine));
    model_->setName(QStringLiteral("Fitted model"));
    model_->setPen(QPen(QColor(0xff, 0x8c, 0x1a), 2.5));
    for (QLineSeries* s : {readings_, step_, model_}) {
        chart->addSeries(s);
        s->attachAxis(axisX_);
        s->attachAxis(axisY_);
    }
    setChart(chart);
    showModel({}, std::nullopt);
}

void StepChart::showResponse(const StepResponse& response, double plannedSeconds) {
    // While recording, readings only ever come at the end: append them rather than redraw all.
    const auto& readings = response.readings;
    if (readings_->count() > qsizetype(readings.size()))
        readings_->clear();
    QList<QPointF> added;
    for (std::size_t i = std::size_t(readings_->count()); i < readings.size(); ++i)
        added.append({readings[i].seconds / 60, readings[i].degreesF});
    readings_->append(added);
    double low = 1e9, high = -1e9;
    for (const Reading& r : readings) {
        low = std::min(low, r.degreesF);
        high = std::max(high, r.degreesF);
    }
    if (readings.empty()) {
        low = 0;
        high = 1;
    }
    const double margin = std::max(0.5, (high - low) * 0.08);
    axisY_->setRange(low - margin, high + margin);
    axisY_->applyNiceNumbers();
    axisX_->setRange(0, std::max(plannedSeconds, response.lastSeconds()) / 60);
    axisX_->applyNiceNumbers();
    step_->clear();
    if (response.stepped)
        step_->append({{response.stepSeconds / 60, axisY_->min()},
                       {response.stepSeconds / 60, axisY_->max()}});
}

void StepChart::showModel(const StepResponse& response,
                          const std::optional<FirstOrderModel>& model) {
    model_->clear();
    // No legend entry for a model that is not there (the recording's chart has none).
    for (QLegendMarker* marker : chart()->legend()->markers(model_))
        marker->setVisible(model.has_value());
    if (!model)
        return;
    QList<QPointF> points;
    constexpr int Points = 400;
    const double end = response.lastSeconds();
    for (int i = 0; i <= Points; ++i) {
        const double t = end * i / Points;
        points.append({t / 60, model->at(t - response.stepSeconds, response.powerChange())});
    }
    model_->replace(points);
}

} // namespace mivel::heater
