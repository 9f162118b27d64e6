#include "Recording.h"

#include "wire/Commands.h"

#include <QDateTime>

namespace mivel::datalog {

Recording::Recording(AppContext& ctx, QObject* parent)
    : QObject(parent)
    , ctx_(ctx)
    , readings_(ctx.hub())
    , log_(ctx, readings_)
    , sampler_(ctx.clock())
    , wallMs_([] { return QDateTime::currentMSecsSinceEpoch(); }) {
    connect(&readings_, &LiveReadings::temperaturesRead, this, [this] {
        history_.add(pointOf(wallMs(), readings_.latest()));
        emit historyGrew();
    });
    connect(&sampler_, &Timer::timeout, this, &Recording::onSamplerTick);
    restartSampler();
}

void Recording::graphOpened() {
    ++graphs_;
    restartSampler();
}

void Recording::graphClosed() {
    if (graphs_ > 0)
        --graphs_;
    restartSampler();
}

void Recording::restartSampler() {
    sampler_.setInterval(graphRunning() ? GraphPeriodMs : QuietPeriodMs);
    sampler_.start();
}

ThermalDemand Recording::thermalDemand() const {
    ThermalDemand d;
    d.logRunning = log_.active();
    d.logIntervalS = log_.active() ? double(log_.plan().intervalS) : 0.0;
    d.graphRunning = graphRunning();
    d.graphPeriodS = GraphPeriodMs / 1000.0;
    return d;
}

void Recording::onSamplerTick() {
    Serial* serial = ctx_.hub().serial();
    if (!serial || !serial->connected() || ctx_.hub().firmwareTransfer())
        return;
    // Someone else asks often enough: the console's poll, a driver's client, the log.
    const qint64 last = readings_.lastTemperatureMs();
    if (last >= 0 && ctx_.clock().nowMs() - last < sampler_.interval())
        return;
    serial->transmit(wire::command(wire::Cmd::Temperatures, wire::Lead::Space));
}

} // namespace mivel::datalog
