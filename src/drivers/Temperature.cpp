#include "Temperature.h"

#include "app/CheckRegistry.h"
#include "core/Numbers.h"

#include <algorithm>

namespace mivel {

using wire::Cmd;
using wire::Lead;
using wire::Tag;

namespace {

bool inRange(double v, double low, double high) {
    return v >= low && v <= high;
}

// A percentage the unit reported; above 100 it is held at 100, below 0 it is dropped.
std::optional<qint16> heldPercent(double v) {
    if (v < 0)
        return std::nullopt;
    return wire::roundToInt<qint16>(std::min(v, 100.0));
}

std::optional<qint16> inRangeInt(double v, double low, double high) {
    return inRange(v, low, high) ? wire::roundToInt<qint16>(v) : std::nullopt;
}

// Single-precision values go out in tenths, written as decimal numbers.
QString tenths(float value) {
    return wire::decimalText(value * 10.0f);
}

const MemberTable<Temperature>& table(); // the automation members, at the end of this file

} // namespace

const DriverObject::TagHandler<Temperature> Temperature::kTagHandlers[] = {
    {Tag::Ambient, &Temperature::onAmbient},
    {Tag::Primary, &Temperature::onPrimary},
    {Tag::Secondary, &Temperature::onSecondary},
    {Tag::Electronics, &Temperature::onElectronics},
    {Tag::RawAmbient, &Temperature::onRawAmbient},
    {Tag::RawPrimary, &Temperature::onRawPrimary},
    {Tag::RawSecondary, &Temperature::onRawSecondary},
    {Tag::FanMode, &Temperature::onFanMode},
    {Tag::FanPower, &Temperature::onFanSpeed},
    {Tag::FanGain, &Temperature::onFanGain},
    {Tag::FanDeadBand, &Temperature::onFanDeadband},
    {Tag::HeaterMode, &Temperature::onHeaterMode},
    {Tag::HeaterPower, &Temperature::onHeaterPower},
    {Tag::HeaterSetPoint, &Temperature::onHeaterSetpoint},
    {Tag::Dew1Power, &Temperature::onDew1},
    {Tag::Dew2Power, &Temperature::onDew2},
};

// Seven probes, one a tick of 250 ms.
Temperature::Temperature(AppContext& ctx)
    : DriverObject(ctx, errors::NoResponseFromMivel, {LinkAttempts, LinkTickMs}, table()) {
    connect(&serial(), &Serial::portLost, this,
            [this] { ctx_.prompt().inform(QStringLiteral("comm error received"), MessageTitle); });
    checkRegistry(ctx);
    lastQuery_ = now();
}

Temperature::~Temperature() = default;

void Temperature::onLinked() {
    send(wire::command(Cmd::Temperatures));
    showConsoleOnLink();
}

// Readings are queried at most once a second; an ambient reading from anyone's query counts.
Task<void> Temperature::temperatureQuery() {
    if (now() - lastQuery_ < QueryIntervalMs)
        co_return;
    lastQuery_ = now();
    send(wire::command(Cmd::Temperatures));
    readingReceived_ = false;
    const Alive token = alive();
    co_await waitFor(QueryWaitMs, [this] { return readingReceived_; });
    if (!gone(token) && !readingReceived_)
        noteUnanswered();
}

template <class V> Task<V> Temperature::reading(const V& stored) {
    const Alive token = alive();
    co_await temperatureQuery();
    co_return gone(token) ? V{} : stored;
}

Task<double> Temperature::ambientTemp() {
    const Alive token = alive();
    co_await temperatureQuery();
    co_return gone(token) ? 0.0 : ctx_.shared().ambientTemp;
}

Task<double> Temperature::primaryTemp() {
    const Alive token = alive();
    co_await temperatureQuery();
    co_return gone(token) ? 0.0 : ctx_.shared().primaryTemp;
}

Task<double> Temperature::secondaryTemp() {
    const Alive token = alive();
    co_await temperatureQuery();
    co_return gone(token) ? 0.0 : ctx_.shared().secondaryTemp;
}

Task<double> Temperature::electronicTemp() {
    return reading(electronicTemp_);
}
Task<qint16> Temperature::ambientTempRaw() {
    return reading(rawAmbient_);
}
Task<qint16> Temperature::primaryTempRaw() {
    return reading(rawPrimary_);
}
Task<qint16> Temperature::secondaryTempRaw() {
    return reading(rawSecondary_);
}
Task<qint16> Temperature::fanMode() {
    return reading(fanMode_);
}
Task<qint16> Temperature::fanSpeed() {
    return reading(fanSpeed_);
}
Task<float> Temperature::fanDeadband() {
    return reading(fanDeadband_);
}
Task<float> Temperature::fanAggressiveness() {
    return reading(fanAggressiveness_);
}
Task<qint16> Temperature::secondaryHeaterMode() {
    return reading(heaterMode_);
}
Task<qint16> Temperature::secondaryHeaterPower() {
    return reading(heaterPower_);
}
Task<float> Temperature::secondaryHeaterSetpoint() {
    return reading(heaterSetpoint_);
}
Task<qint16> Temperature::dewHeater1Power() {
    return reading(dew1Power_);
}
Task<qint16> Temperature::dewHeater2Power() {
    return reading(dew2Power_);
}

// Setters: inside its range a setter stores the value and sends it; outside, nothing changes.

Status Temperature::setFanMode(qint16 mode) {
    if (!inRange(mode, 0, 2))
        return errors::FanModeOutOfRange;
    fanMode_ = mode;
    if (mode == 0) {
        // Manual: the unit runs the fan at the stored speed.
        if (!inRange(fanSpeed_, 0, 100))
            fanSpeed_ = 0;
        send(wire::command(Cmd::FanPower, fanSpeed_));
    } else {
        send(wire::command(Cmd::FanMode, mode));
    }
    return {};
}

Status Temperature::setFanSpeed(qint16 speed) {
    if (!inRange(speed, 0, 100))
        return errors::FanSpeedOutOfRange;
    if (fanMode_ != 0)
        return errors::FanNotManual;
    fanSpeed_ = speed;
    send(wire::command(Cmd::FanPower, speed));
    return {};
}

Status Temperature::setFanDeadband(float value) {
    if (!inRange(value, 0, 10))
        return errors::DeadbandOutOfRange;
    fanDeadband_ = value;
    send(wire::command(Cmd::FanDeadBand, tenths(value), Lead::Space));
    return {};
}

Status Temperature::setFanAggressiveness(float value) {
    if (!(value >= 0.1f && value <= 10.0f))
        return errors::AggressivenessOutOfRange;
    fanAggressiveness_ = value;
    send(wire::command(Cmd::FanGain, tenths(value), Lead::Space));
    return {};
}

Status Temperature::setSecondaryHeaterMode(qint16 mode) {
    if (!inRange(mode, 0, 2))
        return errors::HeaterModeOutOfRange;
    heaterMode_ = mode;
    if (mode == 0)
        send(wire::command(Cmd::HeaterPower, heaterPower_));
    else
        send(wire::command(Cmd::HeaterMode, mode));
    return {};
}

Status Temperature::setSecondaryHeaterPower(qint16 power) {
    if (!inRange(power, 0, 100))
        return errors::HeaterPowerOutOfRange;
    if (heaterMode_ != 0)
        return errors::HeaterNotManual;
    heaterPower_ = power;
    send(wire::command(Cmd::HeaterPower, power));
    return {};
}

// The set point goes out as it is while ":st" reports it in tenths: the unit's own asymmetry.
Status Temperature::setSecondaryHeaterSetpoint(float value) {
    if (!inRange(value, -10, 10))
        return errors::SetpointOutOfRange;
    heaterSetpoint_ = value;
    send(wire::command(Cmd::HeaterSetPoint, wire::decimalText(value)));
    return {};
}

Status Temperature::setDewHeater1Power(qint16 power) {
    if (!inRange(power, 0, 100))
        return errors::Dew1OutOfRange;
    dew1Power_ = power;
    send(wire::command(Cmd::Dew1Power, power));
    return {};
}

Status Temperature::setDewHeater2Power(qint16 power) {
    if (!inRange(power, 0, 100))
        return errors::Dew2OutOfRange;
    dew2Power_ = power;
    send(wire::command(Cmd::Dew2Power, power));
    return {};
}

// Replies. Values outside a tag's range are dropped.

void Temperature::onNumber(Tag tag, double value) {
    applyTagged<Temperature>(*this, kTagHandlers, tag, value);
}

void Temperature::onText(Tag tag, std::string_view value) {
    if (tag == Tag::Version)
        ctx_.shared().versionText = QString::fromLatin1(value.data(), qsizetype(value.size()));
}

void Temperature::onAmbient(double v) {
    ctx_.shared().ambientTemp = v / 100.0;
    readingReceived_ = true;
    lastQuery_ = now();
}
void Temperature::onPrimary(double v) {
    ctx_.shared().primaryTemp = v / 100.0;
}
void Temperature::onSecondary(double v) {
    ctx_.shared().secondaryTemp = v / 100.0;
}
void Temperature::onElectronics(double v) {
    electronicTemp_ = v / 100.0;
}
void Temperature::onRawAmbient(double v) {
    if (const auto n = wire::roundToInt<qint16>(v))
        rawAmbient_ = *n;
}
void Temperature::onRawPrimary(double v) {
    if (const auto n = wire::roundToInt<qint16>(v))
        rawPrimary_ = *n;
}
void Temperature::onRawSecondary(double v) {
    if (const auto n = wire::roundToInt<qint16>(v))
        rawSecondary_ = *n;
}
// The reported mode is only stored: sending the fan command again on every report would
// answer the unit's own report with a command.
void Temperature::onFanMode(double v) {
    if (const auto n = inRangeInt(v, 0, 2))
        fanMode_ = *n;
}
void Temperature::onFanSpeed(double v) {
    if (const auto n = inRangeInt(v, 0, 100))
        fanSpeed_ = *n;
}
void Temperature::onFanGain(double v) {
    if (inRange(v, 1, 100))
        fanAggressiveness_ = float(v / 10.0);
}
void Temperature::onFanDeadband(double v) {
    if (inRange(v, 0, 100))
        fanDeadband_ = float(v / 10.0);
}
void Temperature::onHeaterMode(double v) {
    if (const auto n = inRangeInt(v, 0, 2))
        heaterMode_ = *n;
}
void Temperature::onHeaterPower(double v) {
    if (const auto n = heldPercent(v))
        heaterPower_ = *n;
}
void Temperature::onHeaterSetpoint(double v) {
    if (inRange(v, -100, 100))
        heaterSetpoint_ = float(v / 10.0);
}
void Temperature::onDew1(double v) {
    if (const auto n = heldPercent(v))
        dew1Power_ = *n;
}
void Temperature::onDew2(double v) {
    if (const auto n = heldPercent(v))
        dew2Power_ = *n;
}

// Automation.

namespace {

using T = MemberTable<Temperature>;
using reply::of;

template <class Set> Task<CallResult> setInt16(Temperature& t, const QVariant& v, Set set) {
    return withArg(args::toInt16(v), [&](qint16 n) { return of((t.*set)(n)); });
}
template <class Set> Task<CallResult> setSingle(Temperature& t, const QVariant& v, Set set) {
    return withArg(args::toSingle(v), [&](float x) { return of((t.*set)(x)); });
}

const T& table() {
    static const T t{
        QStringLiteral("Temperature"),
        {
            T::readWrite(
                "Connected", QMetaType::Bool, [](Temperature& t) { return of(t.connected()); },
                [](Temperature& t, const QVariant& v) {
                    return withArg(args::toBool(v),
                                   [&](bool on) { return of(t.setConnected(on)); });
                }),
            T::readOnly("AmbientTemp", QMetaType::Double,
                        [](Temperature& t) { return of(t.ambientTemp()); }),
            T::readOnly("PrimaryTemp", QMetaType::Double,
                        [](Temperature& t) { return of(t.primaryTemp()); }),
            T::readOnly("SecondaryTemp", QMetaType::Double,
                        [](Temperature& t) { return of(t.secondaryTemp()); }),
            T::readOnly("ElectronicTemp", QMetaType::Double,
                        [](Temperature& t) { return of(t.electronicTemp()); }),
            T::readOnly("AmbientTempRaw", QMetaType::Int,
                        [](Temperature& t) { return of(t.ambientTempRaw()); }),
            T::readOnly("PrimaryTempRaw", QMetaType::Int,
                        [](Temperature& t) { return of(t.primaryTempRaw()); }),
            T::readOnly("SecondaryTempRaw", QMetaType::Int,
                        [](Temperature& t) { return of(t.secondaryTempRaw()); }),
            T::readWrite(
                "FanMode", QMetaType::Int, [](Temperature& t) { return of(t.fanMode()); },
                [](Temperature& t, const QVariant& v) {
                    return setInt16(t, v, &Temperature::setFanMode);
                }),
            T::readWrite(
                "FanSpeed", QMetaType::Int, [](Temperature& t) { return of(t.fanSpeed()); },
                [](Temperature& t, const QVariant& v) {
                    return setInt16(t, v, &Temperature::setFanSpeed);
                }),
            T::readWrite(
                "FanDeadband", QMetaType::Double,
                [](Temperature& t) { return of(t.fanDeadband()); },
                [](Temperature& t, const QVariant& v) {
                    return setSingle(t, v, &Temperature::setFanDeadband);
                }),
            T::readWrite(
                "FanAggressiveness", QMetaType::Double,
                [](Temperature& t) { return of(t.fanAggressiveness()); },
                [](Temperature& t, const QVariant& v) {
                    return setSingle(t, v, &Temperature::setFanAggressiveness);
                }),
            T::readWrite(
                "SecondaryHeaterMode", QMetaType::Int,
                [](Temperature& t) { return of(t.secondaryHeaterMode()); },
                [](Temperature& t, const QVariant& v) {
                    return setInt16(t, v, &Temperature::setSecondaryHeaterMode);
                }),
            T::readWrite(
                "SecondaryHeaterPower", QMetaType::Int,
                [](Temperature& t) { return of(t.secondaryHeaterPower()); },
                [](Temperature& t, const QVariant& v) {
                    return setInt16(t, v, &Temperature::setSecondaryHeaterPower);
                }),
            T::readWrite(
                "SecondaryHeaterSetpoint", QMetaType::Double,
                [](Temperature& t) { return of(t.secondaryHeaterSetpoint()); },
                [](Temperature& t, const QVariant& v) {
                    return setSingle(t, v, &Temperature::setSecondaryHeaterSetpoint);
                }),
            T::readWrite(
                "DewHeater1Power", QMetaType::Int,
                [](Temperature& t) { return of(t.dewHeater1Power()); },
                [](Temperature& t, const QVariant& v) {
                    return setInt16(t, v, &Temperature::setDewHeater1Power);
                }),
            T::readWrite(
                "DewHeater2Power", QMetaType::Int,
                [](Temperature& t) { return of(t.dewHeater2Power()); },
                [](Temperature& t, const QVariant& v) {
                    return setInt16(t, v, &Temperature::setDewHeater2Power);
                }),
            T::readOnly("TemperatureUnits", QMetaType::Int,
                        [](Temperature& t) { return of(t.temperatureUnits()); }),
        }};
    return t;
}

} // namespace

} // namespace mivel
