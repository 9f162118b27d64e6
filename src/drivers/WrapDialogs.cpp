#include "WrapDialogs.h"

#include "core/RotatorGeometry.h"
#include "wire/Commands.h"

#include <cmath>

namespace mivel {

namespace {
// The dial's own value of pi, kept so that its hands sit where they always have.
constexpr double DialPi = 3.141592;
} // namespace

RotatorIndicator::RotatorIndicator(AppContext& ctx, std::function<Angles()> angles, qint64 redrawMs,
                                   QObject* parent)
    : QObject(parent)
    , ctx_(ctx)
    , angles_(std::move(angles))
    , timer_(ctx.clock()) {
    timer_.setInterval(redrawMs);
    connect(&timer_, &Timer::timeout, this, &RotatorIndicator::redraw);
}

RotatorIndicator::~RotatorIndicator() {
    *alive_ = false;
    unload();
}

void RotatorIndicator::load() {
    loaded_ = true;
    ctx_.shared().rotIndicatorOpen = true;
    timer_.start();
}

void RotatorIndicator::unload() {
    if (!loaded_)
        return;
    loaded_ = false;
    ctx_.shared().rotIndicatorOpen = false;
    timer_.stop();
}

Task<void> RotatorIndicator::stop() {
    const std::shared_ptr<bool> alive = alive_;
    if (Serial* serial = ctx_.hub().serial())
        serial->transmit(wire::command(wire::Cmd::RotatorStep, 0));
    co_await ctx_.hub().waits().yield();
    if (!*alive)
        co_return;
    unload();
    emit closeRequested();
}

double RotatorIndicator::dialAngle(std::int32_t steps) {
    return double(steps % rotator::StepsPerTurn) / rotator::StepsPerTurn * 2 * DialPi;
}

QPointF RotatorIndicator::handEnd(QPointF centre, double length, double radians) {
    return {centre.x() + length * std::sin(radians), centre.y() - length * std::cos(radians)};
}

std::array<RotatorIndicator::Hand, 2> RotatorIndicator::hands() const {
    const Angles a = angles_ ? angles_() : Angles{};
    return {Hand{dialAngle(a.first), StandardPalette[FirstHandColour]},
            Hand{dialAngle(a.second), StandardPalette[SecondHandColour]}};
}

WrapMessage::WrapMessage(Clock& clock, QObject* parent)
    : QObject(parent)
    , timer_(clock) {
    timer_.setSingleShot(true);
    connect(&timer_, &Timer::timeout, this, &WrapMessage::close);
}

void WrapMessage::show(const QString& text, qint64 intervalMs) {
    text_ = text;
    showing_ = true;
    timer_.start(intervalMs);
    emit shown(text);
}

void WrapMessage::close() {
    timer_.stop();
    if (!showing_)
        return;
    showing_ = false;
    emit closeRequested();
}

} // namespace mivel
