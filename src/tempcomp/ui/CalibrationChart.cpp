#include "CalibrationChart.h"

#include "core/Format.h"

#include <QChart>
#include <QLegendMarker>
#include <QLineSeries>
#include <QScatterSeries>
#include <QValueAxis>

#include <algorithm>
#include <limits>

namespace mivel::tempcomp {
namespace {

const QColor SensorColours[CalibrationWindow::SensorCount] = {
    QColor(0x1f, 0x77, 0xb4), QColor(0xd6, 0x27, 0x28), QColor(0x2c, 0xa0, 0x2c)};

struct Range {
    double low = std::numeric_limits<double>::max();
    double high = std::numeric_limits<double>::lowest();
    void take(double v) {
        low = std::min(low, v);
        high = std::max(high, v);
    }
    bool empty() const { return low > high; }
    // A little room around the points, and some width when they all share one value.
    std::pair<double, double> padded() const {
        if (empty())
            return {0, 1};
        const double margin =
            high > low ? (high - low) * 0.05 : std::max(1.0, std::abs(low) * 0.05);
        return {low - margin, high + margin};
    }
};

} // namespace

CalibrationChart::CalibrationChart(const CalibrationWindow& logic, QWidget* parent)
    : QChartView(parent)
    , logic_(logic)
    , axisX_(new QValueAxis)
    , axisY_(new QValueAxis) {
    setObjectName(QStringLiteral("chartCal"));
    setRenderHint(QPainter::Antialiasing);
    auto* chart = new QChart;
    chart->setTheme(QChart::ChartThemeDark); // matches the console at night
    chart->setTitle(QStringLiteral("Reference temperature against sensor reading"));
    chart->legend()->setAlignment(Qt::AlignRight);
    axisX_->setTitleText(QStringLiteral("Sensor reading (raw)"));
    axisX_->setLabelFormat(QStringLiteral("%.0f"));
    axisY_->setLabelFormat(QStringLiteral("%.1f"));
    axisY_->setTitleText(QStringLiteral("Reference (F)"));
    chart->addAxis(axisX_, Qt::AlignBottom);
    chart->addAxis(axisY_, Qt::AlignLeft);
    for (int s = 0; s < CalibrationWindow::SensorCount; ++s) {
        points_[s] = new QScatterSeries;
        points_[s]->setName(CalibrationWindow::sensorName(s));
        points_[s]->setMarkerSize(8);
        points_[s]->setColor(SensorColours[s]);
        points_[s]->setBorderColor(SensorColours[s]);
        lines_[s] = new QLineSeries;
        lines_[s]->setColor(SensorColours[s]);
        for (QXYSeries* series :
             {static_cast<QXYSeries*>(points_[s]), static_cast<QXYSeries*>(lines_[s])}) {
            chart->addSeries(series);
            series->attachAxis(axisX_);
            series->attachAxis(axisY_);
        }
    }
    setChart(chart);
    // The legend names each sensor once, by its points, which every sensor has in the legend
    // whether or not a line could be drawn through them; the name carries the line's R².
    for (QLineSeries* series : lines_)
        for (QLegendMarker* marker : chart->legend()->markers(series))
            marker->setVisible(false);
    refresh();
}

void CalibrationChart::refresh() {
    const PointTable& table = logic_.points();
    Range x, y;
    for (int s = 0; s < CalibrationWindow::SensorCount; ++s) {
        QList<QPointF> points;
        Range own;
        for (int row = 0; row < table.count(); ++row) {
            const QPointF p(*table.at(s, row), *table.at(PointTable::ReferenceColumn, row));
            points << p;
            own.take(p.x());
            x.take(p.x());
            y.take(p.y());
        }
        points_[s]->replace(points);

        QList<QPointF> line;
        const auto fit = logic_.fit(s);
        QString name = CalibrationWindow::sensorName(s);
        if (fit && !own.empty() && own.high > own.low) {
            for (double at : {own.low, own.high}) {
                line << QPointF(at, fit->slope * at + fit->intercept);
                y.take(line.back().y());
            }
        }
        // Four decimals are enough to compare the sensors and keep the legend on one line; the
        // table beside the chart has all six.
        if (fit && table.count() > 0 && line.isEmpty())
            name += QStringLiteral(": no line");
        else if (fit && !logic_.r2Text(s).isEmpty())
            name += QStringLiteral(": R² = ") + formatNumber(fit->r2, "0.0000");
        lines_[s]->replace(line);
        points_[s]->setName(name);
    }
    // Before the first point, show a plausible frame rather than an axis of repeated zeros.
    const auto [x0, x1] = x.empty() ? std::pair(0.0, 1000.0) : x.padded();
    const auto [y0, y1] = y.empty() ? std::pair(0.0, 100.0) : y.padded();
    axisX_->setRange(x0, x1);
    axisY_->setRange(y0, y1);
    axisX_->applyNiceNumbers();
    axisY_->applyNiceNumbers();
}

} // namespace mivel::tempcomp
