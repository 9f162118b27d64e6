#pragma once

#include "datalog/GraphModel.h"
#include "datalog/Recording.h"

#include "app/Prompt.h"

#include <QWidget>

#include <array>
#include <functional>
#include <memory>

class QDateTimeAxis;
class QGraphicsLineItem;
class QLineSeries;
class QTimer;
class QValueAxis;

namespace Ui {
class frmGraph;
}

namespace mivel::datalog {

// frmGraph: the temperatures over a chosen period, live, and on request the fan and heater power
// and the focus position, each on an axis in the console's units (degrees Fahrenheit, percent,
// counts). A data log file can be opened in place of the live readings. The window counts as a
// running graph for the console's poll while it is open.
class GraphWindow : public QWidget {
    Q_OBJECT
public:
    GraphWindow(Recording& recording, Prompt& prompt, QWidget* parent = nullptr);
    ~GraphWindow() override;

    GraphModel& model() { return model_; }
    // Draws the model's points afresh.
    void redraw();
    // Plots a data log file; false (the user told why) when it cannot be read.
    bool openLog(const QString& path);
    void showLive();
    // The read-out of the readings nearest a time.
    void showCursorAt(qint64 ms);
    // The open dialog of Open Log; a test gives its own.
    void setFileChooser(std::function<QString(QWidget*)> choose) {
        chooseFile_ = std::move(choose);
    }

private:
    void buildChart();
    void onSeriesToggled();
    void fitAxes();
    void scheduleRedraw();

    Recording& recording_;
    Prompt& prompt_;
    std::unique_ptr<Ui::frmGraph> ui_;
    GraphModel model_;
    std::array<QLineSeries*, SeriesCount> series_{};
    QDateTimeAxis* timeAxis_ = nullptr;
    QValueAxis* temperatureAxis_ = nullptr;
    QValueAxis* powerAxis_ = nullptr;
    QValueAxis* focusAxis_ = nullptr;
    QGraphicsLineItem* cursorLine_ = nullptr;
    QTimer* redrawTimer_ = nullptr;
    std::function<QString(QWidget*)> chooseFile_;
};

} // namespace mivel::datalog
