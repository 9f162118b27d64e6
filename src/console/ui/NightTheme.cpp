#include "NightTheme.h"

#include <QApplication>
#include <QImage>
#include <QPalette>
#include <QStyle>

namespace mivel::console {
namespace {

struct Colours {
    QColor window, base, text, dim, reading, accent, button, stop;
};

constexpr Colours kDark{QColor(0x1b, 0x1d, 0x21), QColor(0x11, 0x12, 0x15),
                        QColor(0xd8, 0xdc, 0xe2), QColor(0x8a, 0x90, 0x99),
                        QColor(0xff, 0xc8, 0x5a), QColor(0x5a, 0x9b, 0xd8),
                        QColor(0x2a, 0x2e, 0x35), QColor(0x8c, 0x24, 0x24)};
constexpr Colours kRed{QColor(0x12, 0x02, 0x02), QColor(0x08, 0x00, 0x00), QColor(0xd0, 0x30, 0x30),
                       QColor(0x80, 0x18, 0x18), QColor(0xff, 0x40, 0x40), QColor(0xa0, 0x20, 0x20),
                       QColor(0x22, 0x05, 0x05), QColor(0x60, 0x08, 0x08)};

QString styleSheet(const Colours& c) {
    return QStringLiteral(
               "QLabel[role=\"reading\"] { font-family: 'DejaVu Sans Mono', monospace; "
               "font-size: 15pt; color: %1; }"
               "QLabel[role=\"bigReading\"] { font-family: 'DejaVu Sans Mono', monospace; "
               "font-size: 22pt; font-weight: bold; color: %1; }"
               "QLabel[role=\"unit\"] { color: %2; }"
               "QLabel[role=\"warning\"] { font-size: 12pt; font-weight: bold; color: %1; }"
               "QLabel[role=\"status\"] { font-family: 'DejaVu Sans Mono', monospace; }"
               // A reading of a closed port is the last one the unit sent, not a live one.
               "QLabel[role=\"reading\"]:disabled, QLabel[role=\"bigReading\"]:disabled "
               "{ color: %2; }"
               "QPushButton[role=\"stop\"] { background: %3; font-weight: bold; }"
               "QPushButton[role=\"stop\"]:disabled { background: %4; }"
               "QGroupBox { font-weight: bold; }"
               // Fusion draws the indicators' frames darker than the window: invisible here.
               "QCheckBox::indicator, QRadioButton::indicator { width: 12px; height: 12px; "
               "border: 1px solid %5; background: %6; }"
               "QRadioButton::indicator { border-radius: 7px; }"
               "QCheckBox::indicator:checked { background: %7; }"
               "QRadioButton::indicator:checked { background: qradialgradient(cx:0.5, cy:0.5, "
               "radius:0.5, fx:0.5, fy:0.5, stop:0 %7, stop:0.5 %7, stop:0.6 %6, stop:1 %6); }"
               "QCheckBox::indicator:hover, QRadioButton::indicator:hover { border-color: %7; }"
               "QCheckBox::indicator:disabled, QRadioButton::indicator:disabled "
               "{ border-color: %2; }")
        .arg(c.reading.name(), c.dim.name(), c.stop.name(), c.button.name(), c.text.name(),
             c.base.name(), c.accent.name());
}

} // namespace

bool nightVisionOn() {
    return qApp && qApp->property("mivelNightVision").toBool();
}

QPixmap nightRed(const QPixmap& picture) {
    QImage image = picture.toImage().convertToFormat(QImage::Format_ARGB32);
    const QColor red = kRed.reading;
    for (int y = 0; y < image.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const int grey = qGray(line[x]);
            line[x] = qRgba(red.red() * grey / 255, red.green() * grey / 255,
                            red.blue() * grey / 255, qAlpha(line[x]));
        }
    }
    QPixmap result = QPixmap::fromImage(image);
    result.setDevicePixelRatio(picture.devicePixelRatio());
    return result;
}

void applyConsoleTheme(QApplication& app, bool nightVision) {
    const Colours& c = nightVision ? kRed : kDark;
    app.setProperty("mivelNightVision", nightVision);
    // Fusion draws the palette faithfully on every platform; it is set once, since a new style
    // would drop what the style sheet has already polished.
    if (app.style()->name().compare(QStringLiteral("fusion"), Qt::CaseInsensitive) != 0)
        app.setStyle(QStringLiteral("Fusion"));
    QPalette p;
    p.setColor(QPalette::Window, c.window);
    p.setColor(QPalette::WindowText, c.text);
    p.setColor(QPalette::Base, c.base);
    p.setColor(QPalette::AlternateBase, c.window);
    p.setColor(QPalette::Text, c.text);
    p.setColor(QPalette::Button, c.button);
    p.setColor(QPalette::ButtonText, c.text);
    p.setColor(QPalette::Highlight, c.accent);
    p.setColor(QPalette::HighlightedText, c.base);
    p.setColor(QPalette::ToolTipBase, c.base);
    p.setColor(QPalette::ToolTipText, c.text);
    p.setColor(QPalette::PlaceholderText, c.dim);
    p.setColor(QPalette::Light, c.button.lighter(130));
    p.setColor(QPalette::Mid, c.button);
    p.setColor(QPalette::Dark, c.base);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        p.setColor(QPalette::Disabled, role, c.dim.darker(140));
    app.setPalette(p);
    app.setStyleSheet(styleSheet(c));
}

} // namespace mivel::console
