#pragma once

// The logic of the three small windows of the rotator's wrap handling. The console's windows
// are thin views over these; tests drive them without a display.

#include "app/AppContext.h"
#include "core/Clock.h"
#include "core/Task.h"

#include <QObject>
#include <QPointF>
#include <QString>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>

namespace mivel {

// The unwrap dialog: which of two ways to unwrap, or none. The main console reads the answer
// from the shared unwrap choice once the dialog closes.
class UnwrapChoice {
public:
    enum class Option { First, Second };

    explicit UnwrapChoice(SharedValues& shared)
        : shared_(shared) {}

    void select(Option option) { selected_ = option; }
    Option selected() const { return selected_; }
    // OK: 1 for the first option, 2 for the second.
    void accept() { shared_.unwrapChoice = selected_ == Option::First ? 1 : 2; }
    void cancel() { shared_.unwrapChoice = 0; }

private:
    SharedValues& shared_;
    Option selected_ = Option::First;
};

// The standard 16-colour palette, as 0xRRGGBB.
constexpr std::array<std::uint32_t, 16> StandardPalette{
    0x000000, 0x000080, 0x008000, 0x008080, 0x800000, 0x800080, 0x808000, 0xC0C0C0,
    0x808080, 0x0000FF, 0x00FF00, 0x00FFFF, 0xFF0000, 0xFF00FF, 0xFFFF00, 0xFFFFFF};

// The rotator indicator: an always-on-top dial that shows two rotator angles as hands and a
// button that stops the rotator. While it is loaded the shared indicator flag is set and the
// dial is redrawn on every tick of its timer.
class RotatorIndicator : public QObject {
    Q_OBJECT
public:
    static constexpr qint64 DefaultRedrawMs = 250;
    static constexpr int FirstHandColour = 12; // light red
    static constexpr int SecondHandColour = 8; // grey

    struct Angles {
        std::int32_t first = 0; // rotator steps, 1/200 degree
        std::int32_t second = 0;
    };
    struct Hand {
        double radians;
        std::uint32_t colour; // 0xRRGGBB
    };

    // `angles` gives the two angles the main console holds at the moment of drawing.
    RotatorIndicator(AppContext& ctx, std::function<Angles()> angles,
                     qint64 redrawMs = DefaultRedrawMs, QObject* parent = nullptr);
    ~RotatorIndicator() override;

    void load();
    void unload();
    bool isLoaded() const { return loaded_; }

    // The stop button: stops the rotator ("q0 "), lets the link send it, and closes.
    Task<void> stop();

    // The dial angle of a step count: reduced modulo one turn (keeping its sign) and turned into
    // radians as steps / 72000 x 2 x 3.141592.
    static double dialAngle(std::int32_t steps);
    // Where a hand of the given length ends, 0 pointing up and angles growing clockwise (screen
    // coordinates, y downwards).
    static QPointF handEnd(QPointF centre, double length, double radians);
    std::array<Hand, 2> hands() const;

signals:
    void redraw();
    void closeRequested();

private:
    AppContext& ctx_;
    std::function<Angles()> angles_;
    Timer timer_;
    bool loaded_ = false;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

// A message about the wrap that closes itself after the interval its caller chose.
class WrapMessage : public QObject {
    Q_OBJECT
public:
    explicit WrapMessage(Clock& clock, QObject* parent = nullptr);

    void show(const QString& text, qint64 intervalMs);
    void close();
    bool isShowing() const { return showing_; }
    QString text() const { return text_; }

signals:
    void shown(const QString& text);
    void closeRequested();

private:
    Timer timer_;
    QString text_;
    bool showing_ = false;
};

} // namespace mivel
