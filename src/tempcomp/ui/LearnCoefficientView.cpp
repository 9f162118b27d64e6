#include "LearnCoefficientView.h"

#include "core/Format.h"

#include "ui_frmLearnCoef.h"

#include <QChart>
#include <QChartView>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QLegendMarker>
#include <QLineSeries>
#include <QScatterSeries>
#include <QValueAxis>

#include <algorithm>

namespace mivel::tempcomp {

namespace {

const QString kRecordsSource = QStringLiteral("the stored focus positions");

// Axis bounds with a little room, and some width when every value is the same.
std::pair<double, double> padded(double low, double high) {
    const double margin = high > low ? (high - low) * 0.08 : std::max(1.0, std::abs(low) * 0.05);
    return {low - margin, high + margin};
}

} // namespace

LearnCoefficientView::LearnCoefficientView(const records::RecordList* focusRecords, QWidget* parent)
    : QDialog(parent)
    , ui_(std::make_unique<Ui::frmLearnCoef>())
    , records_(focusRecords)
    , chart_(new QChartView)
    , points_(new QScatterSeries)
    , line_(new QLineSeries)
    , axisX_(new QValueAxis)
    , axisY_(new QValueAxis) {
    ui_->setupUi(this);
    chart_->setObjectName(QStringLiteral("chartLearn"));
    chart_->setRenderHint(QPainter::Antialiasing);
    auto* chart = new QChart;
    chart->setTheme(QChart::ChartThemeDark); // as the calibration chart, for the night
    chart->setTitle(QStringLiteral("Focus position against temperature"));
    chart->legend()->setAlignment(Qt::AlignBottom);
    axisX_->setTitleText(QStringLiteral("Temperature (F)"));
    axisX_->setLabelFormat(QStringLiteral("%.1f"));
    axisY_->setTitleText(QStringLiteral("Focus position (counts)"));
    axisY_->setLabelFormat(QStringLiteral("%.0f"));
    chart->addAxis(axisX_, Qt::AlignBottom);
    chart->addAxis(axisY_, Qt::AlignLeft);
    points_->setName(QStringLiteral("Points"));
    points_->setMarkerSize(9);
    line_->setName(QStringLiteral("Fitted line"));
    for (QXYSeries* series : {static_cast<QXYSeries*>(points_), static_cast<QXYSeries*>(line_)}) {
        chart->addSeries(series);
        series->attachAxis(axisX_);
        series->attachAxis(axisY_);
    }
    chart_->setChart(chart);
    ui_->chartHolder->layout()->addWidget(chart_);

    ui_->optRecords->setEnabled(records_ != nullptr);
    connect(ui_->optRecords, &QRadioButton::toggled, this, [this](bool on) {
        if (on && !updating_)
            relearn();
    });
    connect(ui_->optDataLog, &QRadioButton::toggled, this, [this](bool on) {
        if (on && !updating_)
            relearn();
    });
    connect(ui_->cboTemperature, &QComboBox::currentTextChanged, this, [this] {
        if (!updating_ && ui_->optDataLog->isChecked())
            relearn();
    });
    connect(ui_->cmdBrowse, &QPushButton::clicked, this, &LearnCoefficientView::browse);
    connect(ui_->cmdUse, &QPushButton::clicked, this, [this] {
        if (const auto tenths = learned_.coefficientTenths())
            emit coefficientChosen(*tenths);
        accept();
    });
    connect(ui_->cmdClose, &QPushButton::clicked, this, &QDialog::reject);
    if (records_)
        useRecords();
    else
        ui_->optDataLog->setChecked(true);
    relearn();
}

LearnCoefficientView::~LearnCoefficientView() = default;

void LearnCoefficientView::useRecords() {
    updating_ = true;
    ui_->optRecords->setChecked(true);
    updating_ = false;
    relearn();
}

void LearnCoefficientView::useDataLog(const QString& path) {
    logPath_ = path;
    updating_ = true;
    ui_->txtLogFile->setText(QDir::toNativeSeparators(path));
    ui_->cboTemperature->clear();
    ui_->optDataLog->setChecked(true);
    updating_ = false;
    relearn();
}

void LearnCoefficientView::browse() {
    const QString path =
        QFileDialog::getOpenFileName(this, QStringLiteral("Open a data log"), logPath_,
                                     QStringLiteral("Text Files (*.csv);;All Files (*)"));
    if (!path.isEmpty())
        useDataLog(path);
}

void LearnCoefficientView::relearn() {
    if (ui_->optRecords->isChecked() && records_) {
        learned_ = learnCoefficient(pointsFromRecords(*records_), kRecordsSource);
        showResult({});
    } else {
        learnFromLog();
    }
}

void LearnCoefficientView::learnFromLog() {
    const auto fail = [this](const QString& why) {
        learned_ = {};
        learned_.why = why;
        showResult({});
    };
    if (logPath_.isEmpty())
        return fail(QStringLiteral("Choose a data log with Browse."));
    QFile file(logPath_);
    if (!file.open(QIODevice::ReadOnly))
        return fail(QStringLiteral("The data log could not be read: %1.").arg(file.errorString()));
    const DataLogPoints log = pointsFromDataLog(file.readAll(), ui_->cboTemperature->currentText());
    updating_ = true;
    if (ui_->cboTemperature->count() == 0)
        ui_->cboTemperature->addItems(log.temperatureColumns);
    ui_->cboTemperature->setCurrentText(log.temperatureColumn);
    updating_ = false;
    if (!log.problem.isEmpty())
        return fail(log.problem);
    learned_ = learnCoefficient(
        log.points,
        QStringLiteral("the %1 temperatures of the data log").arg(log.temperatureColumn));
    showResult(log.skippedRows == 0
                   ? QString()
                   : QStringLiteral(" (%1 rows without numbers left out)").arg(log.skippedRows));
}

void LearnCoefficientView::showResult(const QString& pointsNote) {
    const auto& fit = learned_.fit;
    ui_->lblPoints->setText(QString::number(learned_.points.size()) + pointsNote);
    ui_->lblSlope->setText(fit ? formatNumber(fit->slope, "0.00") : QStringLiteral("-"));
    ui_->lblIntercept->setText(fit ? formatNumber(fit->intercept, "0") : QStringLiteral("-"));
    ui_->lblR2->setText(fit ? formatNumber(fit->r2, "0.0000") : QStringLiteral("-"));
    QString why = learned_.why;
    if (fit && !learned_.coefficientTenths())
        why = QStringLiteral("The slope is beyond the coefficient's range of -100 to 100 "
                             "counts per degree F.");
    ui_->lblWhy->setText(why);
    ui_->cmdUse->setEnabled(learned_.coefficientTenths().has_value());
    drawChart();
}

void LearnCoefficientView::drawChart() {
    QList<QPointF> dots;
    double tLow = 0, tHigh = 0, pLow = 0, pHigh = 0;
    for (const LearnPoint& p : learned_.points) {
        if (dots.isEmpty()) {
            tLow = tHigh = p.temperature;
            pLow = pHigh = p.position;
        }
        tLow = std::min(tLow, p.temperature);
        tHigh = std::max(tHigh, p.temperature);
        pLow = std::min(pLow, p.position);
        pHigh = std::max(pHigh, p.position);
        dots << QPointF(p.temperature, p.position);
    }
    points_->replace(dots);
    QList<QPointF> ends;
    if (const auto& fit = learned_.fit) {
        for (double t : {tLow, tHigh})
            ends << QPointF(t, fit->intercept + fit->slope * t);
        line_->setName(QStringLiteral("Fitted line, R² %1").arg(formatNumber(fit->r2, "0.000")));
    }
    line_->replace(ends);
    const auto [x0, x1] = padded(tLow, tHigh);
    const auto [y0, y1] = padded(pLow, pHigh);
    axisX_->setRange(x0, x1);
    axisY_->setRange(y0, y1);
}

} // namespace mivel::tempcomp
