#include "GraphView.h"

#include <QMouseEvent>

namespace mivel::datalog {

GraphView::GraphView(QWidget* parent)
    : QChartView(parent) {
    setMouseTracking(true);
    setRenderHint(QPainter::Antialiasing);
}

void GraphView::mouseMoveEvent(QMouseEvent* event) {
    const QPointF at = chart()->mapToValue(chart()->mapFromScene(mapToScene(event->pos())));
    if (chart()->plotArea().contains(chart()->mapFromScene(mapToScene(event->pos()))))
        emit cursorAt(qint64(at.x()));
    QChartView::mouseMoveEvent(event);
}

} // namespace mivel::datalog
