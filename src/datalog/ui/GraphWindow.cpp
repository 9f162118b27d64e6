#include "GraphWindow.h"

#include "ui_frmGraph.h"

#include <QChart>
#include <QDateTimeAxis>
#include <QFileDialog>
#include <QFileInfo>
#include <QGraphicsLineItem>
#include <QLegendMarker>
#include <QLineSeries>
#include <QTimer>
#include <QValueAxis>

#include <cmath>
#include <limits>

namespace mivel::datalog {

namespace {

// A live graph is redrawn at most this often, however fast the readings come.
constexpr int RedrawMs = 1000;
// And at least this often, so that the period moves on while no reading comes.
constexpr int IdleRedrawMs = 10000;

QString chooseWithDialog(QWidget* parent) {
    return QFileDialog::getOpenFileName(parent, QStringLiteral("Open Data Log"), QString(),
                                        QStringLiteral("Text Files (*.csv);;All Files (*.*)"));
}

bool isTemperature(Series s) {
    return s == Series::Ambient || s == Series::Primary || s == Series::Secondary ||
           s == Series::Electronics;
}

// One colour per series, the same whichever are shown.
QColor seriesColour(Series s) {
    switch (s) {
    case Series::Ambient:
        return QColor(31, 119, 180);
    case Series::Primary:
        return QColor(44, 160, 44);
    case Series::Secondary:
        return QColor(255, 127, 14);
    case Series::Electronics:
        return QColor(148, 103, 189);
    case Series::FanPower:
        return QColor(140, 86, 75);
    case Series::HeaterPower:
        return QColor(214, 39, 40);
    case Series::Focus:
        return QColor(90, 90, 90);
    }
    return {};
}

QString seriesName(const SeriesInfo& info) {
    return QStringLiteral("%1 (%2)").arg(QLatin1String(info.name), QLatin1String(info.unit));
}

} // namespace

GraphWindow::GraphWindow(Recording& recording, Prompt& prompt, QWidget* parent)
    : QWidget(parent)
    , recording_(recording)
    , prompt_(prompt)
    , ui_(std::make_unique<Ui::frmGraph>())
    , model_(recording.history())
    , chooseFile_(chooseWithDialog) {
    ui_->setupUi(this);
    for (GraphPeriod p : GraphPeriods)
        ui_->cboPeriod->addItem(periodCaption(p), int(p));
    ui_->cboPeriod->setCurrentIndex(int(model_.period()));
    buildChart();

    connect(ui_->cboPeriod, &QComboBox::currentIndexChanged, this, [this](int index) {
        model_.setPeriod(GraphPeriods[std::size_t(index)]);
        redraw();
    });
    for (const SeriesInfo& info : allSeries())
        connect(findChild<QCheckBox*>(QLatin1String(info.checkBox)), &QCheckBox::toggled, this,
                &GraphWindow::onSeriesToggled);
    connect(ui_->cmdOpenLog, &QPushButton::clicked, this, [this] {
        const QString path = chooseFile_(this);
        if (!path.isEmpty())
            openLog(path);
    });
    connect(ui_->cmdLive, &QPushButton::clicked, this, &GraphWindow::showLive);
    connect(ui_->chtGraph, &GraphView::cursorAt, this, &GraphWindow::showCursorAt);

    redrawTimer_ = new QTimer(this);
    redrawTimer_->setSingleShot(true);
    connect(redrawTimer_, &QTimer::timeout, this, [this] {
        if (!model_.showingFile())
            redraw();
    });
    connect(&recording_, &Recording::historyGrew, this, &GraphWindow::scheduleRedraw);
    auto* idle = new QTimer(this);
    connect(idle, &QTimer::timeout, this, &GraphWindow::scheduleRedraw);
    idle->start(IdleRedrawMs);

    recording_.graphOpened();
    onSeriesToggled();
}

GraphWindow::~GraphWindow() {
    recording_.graphClosed();
}

void GraphWindow::buildChart() {
    auto* chart = new QChart;
    chart->legend()->setAlignment(Qt::AlignBottom);
    chart->setMargins(QMargins(4, 4, 4, 4));
    timeAxis_ = new QDateTimeAxis;
    timeAxis_->setFormat(QStringLiteral("HH:mm"));
    timeAxis_->setTitleText(QStringLiteral("Time"));
    temperatureAxis_ = new QValueAxis;
    temperatureAxis_->setTitleText(QStringLiteral("Temperature (F)"));
    temperatureAxis_->setLabelFormat(QStringLiteral("%.1f"));
    powerAxis_ = new QValueAxis;
    powerAxis_->setTitleText(QStringLiteral("Power (%)"));
    powerAxis_->setRange(0, 100);
    powerAxis_->setLabelFormat(QStringLiteral("%.0f"));
    focusAxis_ = new QValueAxis;
    focusAxis_->setTitleText(QStringLiteral("Focus (counts)"));
    focusAxis_->setLabelFormat(QStringLiteral("%.0f"));
    chart->addAxis(timeAxis_, Qt::AlignBottom);
    chart->addAxis(temperatureAxis_, Qt::AlignLeft);
    chart->addAxis(powerAxis_, Qt::AlignRight);
    chart->addAxis(focusAxis_, Qt::AlignRight);
    for (const SeriesInfo& info : allSeries()) {
        auto* line = new QLineSeries;
        line->setName(seriesName(info));
        line->setPen(QPen(seriesColour(info.series), 2));
        chart->addSeries(line);
        line->attachAxis(timeAxis_);
        line->attachAxis(isTemperature(info.series)     ? temperatureAxis_
                         : info.series == Series::Focus ? focusAxis_
                                                        : powerAxis_);
        series_[std::size_t(info.series)] = line;
    }
    ui_->chtGraph->setChart(chart);
    cursorLine_ = new QGraphicsLineItem(chart);
    cursorLine_->setPen(QPen(QColor(128, 128, 128), 1, Qt::DashLine));
    cursorLine_->setZValue(10);
    cursorLine_->hide();
}

void GraphWindow::onSeriesToggled() {
    for (const SeriesInfo& info : allSeries()) {
        auto* box = findChild<QCheckBox*>(QLatin1String(info.checkBox));
        box->setEnabled(model_.available(info.series));
        model_.setShown(info.series, box->isChecked());
    }
    redraw();
}

void GraphWindow::scheduleRedraw() {
    if (!redrawTimer_->isActive())
        redrawTimer_->start(RedrawMs);
}

void GraphWindow::redraw() {
    model_.refresh(QDateTime::fromMSecsSinceEpoch(recording_.wallMs()));
    const std::vector<HistoryPoint>& points = model_.points();
    QChart* chart = ui_->chtGraph->chart();
    for (const SeriesInfo& info : allSeries()) {
        const std::size_t s = std::size_t(info.series);
        const bool on = model_.shown(info.series) && model_.available(info.series);
        QList<QPointF> line;
        if (on) {
            line.reserve(qsizetype(points.size()));
            for (const HistoryPoint& p : points)
                if (!std::isnan(p.values[s]))
                    line.append(QPointF(double(p.atMs), double(p.values[s])));
        }
        series_[s]->replace(line);
        series_[s]->setVisible(on);
        for (QLegendMarker* marker : chart->legend()->markers(series_[s]))
            marker->setVisible(on);
    }
    fitAxes();
    cursorLine_->hide();
}

void GraphWindow::fitAxes() {
    timeAxis_->setRange(
        QDateTime::fromMSecsSinceEpoch(model_.fromMs()),
        QDateTime::fromMSecsSinceEpoch(std::max(model_.toMs(), model_.fromMs() + 1000)));
    const qint64 spanMs = model_.toMs() - model_.fromMs();
    timeAxis_->setFormat(spanMs > 2 * 24 * 3600 * 1000LL ? QStringLiteral("dd.MM HH:mm")
                                                         : QStringLiteral("HH:mm"));
    // Each value axis spans what its shown series hold, and is hidden when none is shown.
    auto span = [this](std::initializer_list<Series> which, QValueAxis* axis, double pad) {
        double lo = std::numeric_limits<double>::max();
        double hi = std::numeric_limits<double>::lowest();
        bool any = false;
        for (Series s : which) {
            if (!series_[std::size_t(s)]->isVisible())
                continue;
            any = true;
            for (const QPointF& p : series_[std::size_t(s)]->points()) {
                lo = std::min(lo, p.y());
                hi = std::max(hi, p.y());
            }
        }
        axis->setVisible(any);
        if (any && lo <= hi) {
            axis->setRange(std::floor(lo - pad), std::ceil(hi + pad));
            axis->applyNiceNumbers();
        }
    };
    span({Series::Ambient, Series::Primary, Series::Secondary, Series::Electronics},
         temperatureAxis_, 0.5);
    span({Series::FanPower, Series::HeaterPower}, powerAxis_, 0);
    powerAxis_->setRange(0, 100);
    span({Series::Focus}, focusAxis_, 5);
}

void GraphWindow::showCursorAt(qint64 ms) {
    const QString text = model_.readout(ms);
    if (text.isEmpty())
        return;
    ui_->lblCursor->setText(text);
    QChart* chart = ui_->chtGraph->chart();
    const QPointF top = chart->mapToPosition(QPointF(double(ms), temperatureAxis_->max()),
                                             series_[std::size_t(Series::Ambient)]);
    const QPointF bottom = chart->mapToPosition(QPointF(double(ms), temperatureAxis_->min()),
                                                series_[std::size_t(Series::Ambient)]);
    cursorLine_->setLine(QLineF(top, bottom));
    cursorLine_->show();
}

bool GraphWindow::openLog(const QString& path) {
    Result<LoadedLog> log = readDataLogFile(path);
    if (!log) {
        prompt_.inform(log.error().description, MessageTitle, Prompt::Icon::Warning);
        return false;
    }
    const qsizetype rows = qsizetype(log.value().points.size());
    model_.showFile(log.value(), QFileInfo(path).fileName());
    ui_->lblSource->setText(
        QStringLiteral("Data log %1, %2 rows").arg(model_.fileName()).arg(rows));
    ui_->cboPeriod->setEnabled(false);
    ui_->cmdLive->setEnabled(true);
    onSeriesToggled();
    return true;
}

void GraphWindow::showLive() {
    model_.showLive();
    ui_->lblSource->setText(QStringLiteral("Live readings"));
    ui_->cboPeriod->setEnabled(true);
    ui_->cmdLive->setEnabled(false);
    onSeriesToggled();
}

} // namespace mivel::datalog
