#include "DialWidget.h"

#include "drivers/WrapDialogs.h"

#include <QPainter>
#include <QtMath>

namespace mivel::console {

void DialWidget::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const double radius = std::min(width(), height()) / 2.0 - 8;
    const QPointF centre(width() / 2.0, height() / 2.0);
    const QColor face = palette().color(QPalette::Base);
    const QColor rim = palette().color(QPalette::WindowText);
    p.setBrush(face);
    p.setPen(QPen(rim, 2));
    p.drawEllipse(centre, radius, radius);
    // A tick every 30 degrees, longer at the quarters.
    for (int deg = 0; deg < 360; deg += 30) {
        const double a = qDegreesToRadians(double(deg));
        const double inner = radius * (deg % 90 == 0 ? 0.82 : 0.9);
        p.drawLine(RotatorIndicator::handEnd(centre, inner, a),
                   RotatorIndicator::handEnd(centre, radius, a));
    }
    if (!indicator_)
        return;
    const auto hands = indicator_->hands();
    const double lengths[] = {radius * 0.85, radius * 0.65};
    for (std::size_t i = 0; i < hands.size(); ++i) {
        const QColor colour = QColor::fromRgb(QRgb(hands[i].colour));
        p.setPen(QPen(colour, i == 0 ? 4 : 3, Qt::SolidLine, Qt::RoundCap));
        p.drawLine(centre, RotatorIndicator::handEnd(centre, lengths[i], hands[i].radians));
    }
    p.setBrush(rim);
    p.setPen(Qt::NoPen);
    p.drawEllipse(centre, 4, 4);
}

} // namespace mivel::console
