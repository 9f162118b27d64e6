#include "Focuser.h"

#include "app/CheckRegistry.h"
#include "core/Numbers.h"

#include <cmath>
#include <cstdlib>

namespace mivel {

using wire::Cmd;
using wire::Lead;
using wire::Tag;

namespace {

constexpr qint16 ReplyCountHeld = 3;

void countReply(qint16& counter) {
    if (counter < ReplyCountHeld)
        ++counter;
}

const MemberTable<Focuser>& table(); // the automation members, at the end of this file

} // namespace

const DriverObject::TagHandler<Focuser> Focuser::kTagHandlers[] = {
    {Tag::FocusTarget, &Focuser::onTarget},
    {Tag::FocusActual, &Focuser::onActual},
    {Tag::FocusHomed, &Focuser::onHomed},
    {Tag::TempCompCoefficient, &Focuser::onTempCompCoefficient},
    {Tag::TempCompThreshold, &Focuser::onTempCompThreshold},
    {Tag::TempCompMode, &Focuser::onTempCompMode},
    {Tag::Ambient, &Focuser::onAmbient},
    {Tag::Offset1, &Focuser::onSensorOffset},
    {Tag::Slope1, &Focuser::onSensorSlope},
    {Tag::FocusRecord, &Focuser::onFocusRecord},
};

// Four probes of half a second each; the link timer stops with the attempt.
Focuser::Focuser(AppContext& ctx)
    : DriverObject(ctx, errors::NoResponseFromFocuser, {LinkAttempts, LinkAttemptMs}, table()) {
    checkRegistry(ctx);
    // A status read within 500 ms of creation answers from the initial values.
    lastStatusQuery_ = now();
}

Focuser::~Focuser() = default;

void Focuser::onLinked() {
    showConsoleOnLink();
    send(wire::command(Cmd::Version));
    send(wire::command(Cmd::Temperatures, Lead::Space));
    if (!ctx_.shared().tempComp.paramsReceived)
        send(wire::command(Cmd::TempCompParams));
}

// Status queries are rate-limited: a client polling in a tight loop costs at most two " Q " a
// second, and a read within 500 ms of the last query answers at once from the stored values.
Task<void> Focuser::statusQuery() {
    if (now() - lastStatusQuery_ <= StatusIntervalMs)
        co_return;
    lastStatusQuery_ = now();
    send(wire::command(Cmd::FocusStatus, Lead::Space));
    actualReplies_ = 0;
    const Alive token = alive();
    co_await waitFor(StatusWaitMs, [this] { return actualReplies_ > 2; });
    if (!gone(token) && actualReplies_ == 0)
        noteUnanswered();
}

Task<bool> Focuser::isMoving() {
    const Alive token = alive();
    co_await statusQuery();
    co_return gone(token) ? false : moving_;
}

Task<qint32> Focuser::setPosition() {
    const Alive token = alive();
    co_await statusQuery();
    co_return gone(token) ? 0 : target_;
}

Task<qint32> Focuser::position() {
    const Alive token = alive();
    co_await statusQuery();
    co_return gone(token) ? 0 : actual_;
}

Task<bool> Focuser::tempCompManualMode() {
    const Alive token = alive();
    co_await statusQuery();
    co_return gone(token) ? false : manualMode_;
}

Task<bool> Focuser::recallFocusPosition() {
    const Alive token = alive();
    co_await statusQuery();
    co_return gone(token) ? false : ctx_.shared().focusRecordState >= 1;
}

void Focuser::setTempComp(bool on) {
    tempComp_ = on;
    const int mode = !on ? 0 : manualMode_ ? 2 : 1;
    send(wire::command(Cmd::TempCompMode, mode, Lead::Space));
}

// A read while a " T " is still unanswered waits for that query's reply instead of sending
// another: the unit answers " T " with about 150 characters, so one query per read would queue
// replies without bound at the line's 9600 baud once a few clients poll. Each read still waits
// as long as its own query would have.
Task<std::optional<double>> Focuser::temperature() {
    const Alive token = alive();
    if (!temperatureQueryOutstanding()) {
        send(wire::command(Cmd::Temperatures, Lead::Space));
        temperatureReceived_ = false;
        temperatureQueryAt_ = now();
    }
    co_await waitFor(TemperatureWaitMs, [this] { return temperatureReceived_; });
    if (gone(token))
        co_return std::nullopt;
    co_return temperature_;
}

// No range check: MaxStep is advisory and the unit enforces its own travel.
Status Focuser::move(qint32 position) {
    if (!portOpen())
        return errors::SerialLinkNotEstablished;
    if (tempComp_)
        return errors::TempCompActive;
    target_ = position;
    if (ctx_.shared().pendingU0) {
        // The unit reported its motor forced off: release it before moving.
        ctx_.shared().pendingU0 = false;
        send(wire::command(Cmd::ForceMotorOff, 0));
    }
    send(wire::command(Cmd::FocusMove, position));
    return {};
}

void Focuser::halt() {
    if (linked())
        send(wire::command(Cmd::FocusStop));
}

Task<void> Focuser::tempCompQuery() {
    send(wire::command(Cmd::TempCompParams, Lead::Space));
    tempCompReplies_ = 0;
    co_await waitFor(TempCompWaitMs, [this] { return tempCompReplies_ > 0; });
}

// The coefficient and the threshold are read the same way: one " l " query, then the shared
// value once any compensation reply has come.
template <class V>
Task<Outcome<V>> Focuser::tempCompParameter(V TempCompState::*field, const Error& unavailable) {
    const Alive token = alive();
    co_await tempCompQuery();
    if (gone(token))
        co_return {};
    if (!ctx_.shared().tempComp.paramsReceived) {
        // Ask once more without waiting, so that a retry by the client finds the value.
        send(wire::command(Cmd::TempCompParams));
        co_return {V{}, unavailable};
    }
    co_return {ctx_.shared().tempComp.*field, {}};
}

Task<Outcome<float>> Focuser::tempCompCoefficient() {
    return tempCompParameter(&TempCompState::coefficient, errors::CoefficientUnavailable);
}

Status Focuser::setTempCompCoefficient(float value) {
    if (!(value >= -CoefficientLimit && value <= CoefficientLimit))
        return errors::CoefficientOutOfRange;
    TempCompState& tc = ctx_.shared().tempComp;
    tc.coefficient = value;
    // The unit compares raw sensor readings: it stores counts per 1000 raw units.
    const float unitValue = value * tc.sensorSlope * 1000.0f;
    const auto n = wire::roundToInt<qint16>(unitValue);
    if (!n)
        return errors::Overflow;
    send(wire::command(Cmd::TempCompCoefficient, *n, Lead::Space));
    return {};
}

Task<Outcome<qint32>> Focuser::tempCompMovementThreshold() {
    return tempCompParameter(&TempCompState::movementThreshold, errors::ThresholdUnavailable);
}

Status Focuser::setTempCompMovementThreshold(qint16 value) {
    if (value < 0 || value > ThresholdLimit)
        return errors::ThresholdOutOfRange;
    ctx_.shared().tempComp.movementThreshold = value;
    send(wire::command(Cmd::TempCompThreshold, value, Lead::Space));
    return {};
}

// Only a change is sent: the unit is never told again what it already reports.
void Focuser::setRecallFocusPosition(bool on) {
    const qint16 state = ctx_.shared().focusRecordState;
    if (on && state == 0)
        send(wire::command(Cmd::RecallFocus, 1, Lead::Space));
    else if (!on && state != 0)
        send(wire::command(Cmd::RecallFocus, 0, Lead::Space));
}

void Focuser::recordFocusPosition() {
    send(wire::command(Cmd::RecordFocus, Lead::Space));
}

// Replies.

void Focuser::onNumber(Tag tag, double value) {
    applyTagged<Focuser>(*this, kTagHandlers, tag, value);
}

void Focuser::onTarget(double v) {
    const auto n = wire::roundToInt<qint32>(v);
    if (!n)
        return;
    target_ = *n;
    countReply(targetReplies_);
}

// The unit does not report motion: the focuser counts as moving while its position is 6 or
// more steps from the target.
void Focuser::onActual(double v) {
    const auto n = wire::roundToInt<qint32>(v);
    if (!n)
        return;
    actual_ = *n;
    countReply(actualReplies_);
    moving_ = std::llabs(qint64(target_) - qint64(actual_)) >= MovingThreshold;
}

void Focuser::onHomed(double v) {
    homed_ = v == 1;
}

void Focuser::onTempCompCoefficient(double v) {
    if (ctx_.shared().tempComp.acceptCoefficientReply(v))
        tempCompReplies_ = 1;
}

void Focuser::onTempCompThreshold(double v) {
    ctx_.shared().tempComp.acceptThresholdReply(v);
    tempCompReplies_ = 1;
}

void Focuser::onTempCompMode(double v) {
    tempComp_ = v == 1 || v == 2;
    manualMode_ = v == 2;
}

void Focuser::onAmbient(double v) {
    temperature_ = v / 100.0;
    temperatureReceived_ = true;
}

void Focuser::onSensorOffset(double v) {
    ctx_.shared().tempComp.sensorOffset = float(v / 100000.0);
}

void Focuser::onSensorSlope(double v) {
    ctx_.shared().tempComp.sensorSlope = float(v / 100000.0);
}

void Focuser::onFocusRecord(double v) {
    if (wire::isOddFlag(v)) {
        homed_ = true;
        ctx_.shared().focusRecordState = v >= 8 ? 8 : 4;
    } else {
        ctx_.shared().focusRecordState = 0;
    }
}

// Automation.

QString Focuser::focusRecords() const {
    return positions_ ? records::recordsJson(positions_->focus()) : QStringLiteral("[]");
}

Outcome<QString> Focuser::focusRecord(qint16 number) const {
    const QString record =
        positions_ ? records::recordJson(positions_->focus(), number) : QString();
    if (record.isEmpty())
        return {{}, errors::NoSuchRecord};
    return {record, {}};
}

namespace {

using T = MemberTable<Focuser>;
using reply::of;

const T& table() {
    static const T t{
        QStringLiteral("Focuser"),
        {
            T::readWrite(
                "Link", QMetaType::QVariant, [](Focuser& f) { return of(f.link()); },
                [](Focuser& f, const QVariant& v) { return of(f.setLink(linkRequested(v))); }),
            T::readOnly("absolute", QMetaType::Bool, [](Focuser& f) { return of(f.absolute()); }),
            T::readOnly("StepSize", QMetaType::Double, [](Focuser& f) { return of(f.stepSize()); }),
            T::readOnly("MaxStep", QMetaType::Int, [](Focuser& f) { return of(f.maxStep()); }),
            T::readOnly("IsMoving", QMetaType::Bool, [](Focuser& f) { return of(f.isMoving()); }),
            T::readOnly("SetPosition", QMetaType::Int,
                        [](Focuser& f) { return of(f.setPosition()); }),
            T::readOnly("Position", QMetaType::Int, [](Focuser& f) { return of(f.position()); }),
            T::readWrite(
                "TempComp", QMetaType::Bool, [](Focuser& f) { return of(f.tempComp()); },
                [](Focuser& f, const QVariant& v) {
                    return withArg(args::toBool(v), [&](bool on) {
                        f.setTempComp(on);
                        return of(Status{});
                    });
                }),
            T::readWrite(
                "TempCompManualMode", QMetaType::Bool,
                [](Focuser& f) { return of(f.tempCompManualMode()); },
                [](Focuser& f, const QVariant& v) {
                    return withArg(args::toBool(v), [&](bool on) {
                        f.setTempCompManualMode(on);
                        return of(Status{});
                    });
                }),
            T::readOnly("TempCompAvailable", QMetaType::Bool,
                        [](Focuser& f) { return of(f.tempCompAvailable()); }),
            T::readOnly("Temperature", QMetaType::Double,
                        [](Focuser& f) { return of(f.temperature()); }),
            T::readOnly("CCDSoftSmallStepSize", QMetaType::Int,
                        [](Focuser& f) { return of(f.ccdSoftSmallStepSize()); }),
            T::readOnly("CCDSoftLargeStepSize", QMetaType::Int,
                        [](Focuser& f) { return of(f.ccdSoftLargeStepSize()); }),
            T::readOnly("MaxIncrement", QMetaType::Int,
                        [](Focuser& f) { return of(f.maxIncrement()); }),
            T::method("Move", QMetaType::Int, "Position",
                      [](Focuser& f, const QVariantList& a) {
                          return withArg(args::toInt32(a.value(0)),
                                         [&](qint32 p) { return of(f.move(p)); });
                      }),
            T::method("SetupDialog",
                      [](Focuser& f, const QVariantList&) { return of(f.setupDialog()); }),
            T::method("Halt",
                      [](Focuser& f, const QVariantList&) {
                          f.halt();
                          return of(Status{});
                      }),
            T::method("ShowForm", QMetaType::Int, "Which",
                      [](Focuser& f, const QVariantList& a) {
                          return withArg(args::toInt16(a.value(0)),
                                         [&](qint16 w) { return of(f.showForm(w)); });
                      }),
            T::readOnly("AppVersion", QMetaType::QString,
                        [](Focuser& f) { return of(f.appVersion()); }),
            T::readWrite(
                "Connected", QMetaType::Bool, [](Focuser& f) { return of(f.link()); },
                [](Focuser& f, const QVariant& v) {
                    return withArg(args::toBool(v), [&](bool on) { return of(f.setLink(on)); });
                }),
            T::readWrite(
                "TempCompCoefficient", QMetaType::Double,
                [](Focuser& f) { return of(f.tempCompCoefficient()); },
                [](Focuser& f, const QVariant& v) {
                    return withArg(args::toSingle(v),
                                   [&](float c) { return of(f.setTempCompCoefficient(c)); });
                }),
            T::readWrite(
                "TempCompMovementThreshold", QMetaType::Int,
                [](Focuser& f) { return of(f.tempCompMovementThreshold()); },
                [](Focuser& f, const QVariant& v) {
                    return withArg(args::toInt16(v),
                                   [&](qint16 t) { return of(f.setTempCompMovementThreshold(t)); });
                }),
            T::readWrite(
                "RecallFocusPosition", QMetaType::Bool,
                [](Focuser& f) { return of(f.recallFocusPosition()); },
                [](Focuser& f, const QVariant& v) {
                    return withArg(args::toBool(v), [&](bool on) {
                        f.setRecallFocusPosition(on);
                        return of(Status{});
                    });
                }),
            T::readOnly("FocusPositionRecorded", QMetaType::Bool,
                        [](Focuser& f) { return of(f.focusPositionRecorded()); }),
            T::method("RecordFocusPosition",
                      [](Focuser& f, const QVariantList&) {
                          f.recordFocusPosition();
                          return of(Status{});
                      }),
            T::readOnly("FocusRecords", QMetaType::QString,
                        [](Focuser& f) { return of(f.focusRecords()); }),
            T::method("FocusRecord", QMetaType::Int, "Record",
                      [](Focuser& f, const QVariantList& a) {
                          return withArg(args::toInt16(a.value(0)),
                                         [&](qint16 n) { return of(f.focusRecord(n)); });
                      }),
        }};
    return t;
}

} // namespace

} // namespace mivel
