#pragma once

#include <QChartView>

namespace mivel::datalog {

// The graph's chart view: it reports the time under the mouse, for the cursor read-out.
class GraphView : public QChartView {
    Q_OBJECT
public:
    explicit GraphView(QWidget* parent = nullptr);

signals:
    // The time (milliseconds since the epoch) under the mouse in the plot area.
    void cursorAt(qint64 ms);

protected:
    void mouseMoveEvent(QMouseEvent* event) override;
};

} // namespace mivel::datalog
