#include "Rotator.h"

#include "app/CheckRegistry.h"
#include "app/SettingsKey.h"
#include "core/Numbers.h"

#include <cmath>
#include <cstdlib>
#include <limits>

namespace mivel {

using wire::Cmd;
using wire::Lead;
using wire::Tag;

namespace {

constexpr qint16 ReplyCountHeld = 3;

// The steps a move's wrap is checked with: reduced within a turn, then the shorter way round.
qint64 moveSteps(qint64 steps) {
    return rotator::shorterWayFromHalfTurn(rotator::reduceWithinTurn(steps));
}

// Degrees to the steps sent on the wire: rounded, halves to even.
std::optional<qint32> angleSteps(double degrees) {
    return wire::roundToInt<qint32>(degrees * rotator::StepsPerDegree);
}

const MemberTable<Rotator>& table(); // the automation members, at the end of this file

} // namespace

const DriverObject::TagHandler<Rotator> Rotator::kTagHandlers[] = {
    {Tag::RotatorTarget, &Rotator::onTarget},
    {Tag::RotatorActual, &Rotator::onActual},
    {Tag::Wrap, &Rotator::onWrap},
    {Tag::RotatorHomed, &Rotator::onHomed},
    {Tag::RotatorRecord, &Rotator::onRecord},
};

// Seven probes, one a tick of 250 ms.
Rotator::Rotator(AppContext& ctx)
    : DriverObject(ctx, errors::NoResponseFromMivel, {LinkAttempts, LinkTickMs}, table()) {
    checkRegistry(ctx);
    lastQuery_ = now();
    // The rotator takes the port at once, before any Link. The settings have just been loaded,
    // so it opens the port they name (on this platform a port number alone may name the wrong
    // device).
    if (!portOpen())
        openPortFromSettings();
}

Rotator::~Rotator() = default;

void Rotator::onLinked() {
    send(wire::command(Cmd::RotatorHomedQuery));
    send(wire::command(Cmd::RotatorStatus));
    showConsoleOnLink();
}

Task<void> Rotator::rotatorQuery() {
    if (now() - lastQuery_ <= QueryIntervalMs)
        co_return;
    lastQuery_ = now();
    actualReplies_ = 0;
    send(wire::command(Cmd::RotatorStatus, Lead::Space));
    const Alive token = alive();
    co_await waitFor(QueryWaitMs, [this] { return actualReplies_ >= 1; });
    if (!gone(token) && actualReplies_ == 0)
        noteUnanswered();
}

Task<double> Rotator::position() {
    const Alive token = alive();
    co_await rotatorQuery();
    co_return gone(token) ? 0.0 : actual_;
}

Task<bool> Rotator::isMoving() {
    const Alive token = alive();
    co_await rotatorQuery();
    co_return gone(token) ? false : moving_;
}

double Rotator::setPosition() {
    if (!moving_)
        send(wire::command(Cmd::RotatorStatus, Lead::Space));
    return target_;
}

Status Rotator::goHome() {
    if (!portOpen())
        return errors::RotatorNotLinked;
    send(wire::command(Cmd::RotatorHome));
    return {};
}

Status Rotator::setPosPositionLimit(const QVariant& value) {
    const auto limit = args::number(value);
    if (!limit)
        return errors::LimitNotNumeric;
    if (*limit < 0 || *limit > PositionLimitRange)
        return errors::LimitOutOfRange;
    posLimit_ = *limit;
    return {};
}

Status Rotator::setNegPositionLimit(const QVariant& value) {
    const auto limit = args::number(value);
    if (!limit)
        return errors::LimitNotNumeric;
    if (*limit < -PositionLimitRange || *limit > 0)
        return errors::LimitOutOfRange;
    negLimit_ = *limit;
    return {};
}

void Rotator::setActivatePositionLimit(const QVariant& value) {
    limitActive_ = !args::isFalse(value);
}

// The steps of the move are taken rounded down and folded to the shorter way round; if the
// wrap would then pass its limit, the rotator goes a whole turn the other way instead.
Status Rotator::guardedMove(double fromDegrees, QByteArray withinLimit) {
    const double floored = std::floor(fromDegrees * rotator::StepsPerDegree);
    if (!(std::fabs(floored) <= double(std::numeric_limits<qint32>::max())))
        return errors::Overflow;
    const qint64 steps = moveSteps(qint64(floored));
    if (rotator::withinWrapLimit(ctx_.shared().wrapCounter, steps, ctx_.settings().dornaLimit))
        send(withinLimit);
    else
        send(wire::command(Cmd::RotatorMove, rotator::otherWayRound(steps)));
    return {};
}

Status Rotator::move(double angle) {
    if (!portOpen())
        return errors::RotatorNotLinked;
    const auto sent = angleSteps(angle);
    if (!sent)
        return errors::Overflow;
    return guardedMove(angle, wire::command(Cmd::RotatorStep, *sent));
}

// Before any ":rt" the actual angle is 0.
Status Rotator::moveAbsolute(double angle) {
    if (!portOpen())
        return errors::RotatorNotLinked;
    const auto sent = angleSteps(angle);
    if (!sent)
        return errors::Overflow;
    return guardedMove(angle - actual_, wire::command(Cmd::RotatorAbsolute, *sent));
}

Task<void> Rotator::halt() {
    if (!linked())
        co_return;
    send(wire::command(Cmd::RotatorStep, 0));
    co_await yieldOnce();
}

void Rotator::setRecallRotatorPosition(bool on) {
    const qint16 state = ctx_.shared().rotatorRecordState;
    if (on && state == 0)
        send(wire::command(Cmd::RecallRotator, 1, Lead::Space));
    else if (!on && state != 0)
        send(wire::command(Cmd::RecallRotator, 0, Lead::Space));
}

void Rotator::recordRotatorPosition() {
    send(wire::command(Cmd::RecordRotator, Lead::Space));
}

// Unlike the position, the wrap is asked for again unless a ":wr" came in since the last read
// within the last 500 ms: two reads in a row query twice.
Task<double> Rotator::wrap() {
    const Alive token = alive();
    if (!(now() - lastQuery_ <= QueryIntervalMs && wrapReceived_)) {
        lastQuery_ = now();
        send(wire::command(Cmd::RotatorStatus, Lead::Space));
        co_await waitFor(QueryWaitMs, [this] { return wrapReceived_; });
        if (gone(token))
            co_return 0.0;
    }
    const double degrees = double(ctx_.shared().wrapCounter) / rotator::StepsPerDegree;
    wrapReceived_ = false;
    co_return degrees;
}

void Rotator::zeroWrap() {
    send(wire::command(Cmd::WrapZero, Lead::Space));
}

Status Rotator::unwrap(const QVariant& angle) {
    const auto degrees = args::number(angle);
    if (!degrees)
        return errors::IllegalUnwrap;
    const auto steps = angleSteps(*degrees);
    if (!steps)
        return errors::Overflow;
    send(wire::command(Cmd::RotatorMove, *steps, Lead::Space));
    return {};
}

// The limit is kept for the whole program and saved as "DornaLimit" when the settings key
// opens; it is never created for this.
Status Rotator::setWrapLimit(const QVariant& value) {
    const auto degrees = args::number(value);
    if (!degrees || *degrees < 0 || *degrees > WrapLimitMax)
        return errors::IllegalWrapLimit;
    const qint32 limit = *wire::roundToInt<qint32>(*degrees);
    ctx_.settings().dornaLimit = limit;
    const long saved =
        writeSetting(ctx_.store(), setting::DornaLimit, limit, SettingsKeyUse::OnlyIfPresent);
    // No settings key means nothing to save into; any other failure is the client's to know.
    if (saved != SettingsStore::Success && saved != SettingsStore::NotFound)
        return programError(ErrorKind::OtherFailure,
                            QStringLiteral("The wrap limit is in effect but was not saved: ") +
                                ctx_.store().problem());
    return {};
}

Status Rotator::resetPosition(float angle) {
    if (!(angle >= 0 && angle <= 360))
        return errors::ResetAngleOutOfRange;
    send(wire::command(Cmd::ResetRotatorAngle, *angleSteps(angle), Lead::Space));
    return {};
}

// Replies.

void Rotator::onNumber(Tag tag, double value) {
    applyTagged<Rotator>(*this, kTagHandlers, tag, value);
}

void Rotator::onTarget(double v) {
    target_ = v / rotator::StepsPerDegree;
}

// Unlike the focuser, the rotator counts as moving whenever target and angle differ at all.
void Rotator::onActual(double v) {
    actual_ = v / rotator::StepsPerDegree;
    moving_ = target_ != actual_;
    if (actualReplies_ < ReplyCountHeld)
        ++actualReplies_;
}

void Rotator::onWrap(double v) {
    const auto n = wire::roundToInt<qint32>(v);
    if (!n)
        return;
    ctx_.shared().wrapCounter = *n;
    wrapReceived_ = true;
}

void Rotator::onHomed(double v) {
    homed_ = v == 1;
}

void Rotator::onRecord(double v) {
    if (wire::isOddFlag(v)) {
        homed_ = true;
        ctx_.shared().rotatorRecordState = v >= 8 ? 8 : 4;
    } else {
        ctx_.shared().rotatorRecordState = 0;
    }
}

// Automation.

QString Rotator::rotatorRecords() const {
    return positions_ ? records::recordsJson(positions_->rotator()) : QStringLiteral("[]");
}

Outcome<QString> Rotator::rotatorRecord(qint16 number) const {
    const QString record =
        positions_ ? records::recordJson(positions_->rotator(), number) : QString();
    if (record.isEmpty())
        return {{}, errors::NoSuchRecord};
    return {record, {}};
}

namespace {

using T = MemberTable<Rotator>;
using reply::of;

Task<CallResult> done() {
    return of(Status{});
}

const T& table() {
    static const T t{
        QStringLiteral("Rotator"),
        {
            T::readOnly("Position", QMetaType::Double, [](Rotator& r) { return of(r.position()); }),
            T::readOnly("SetPosition", QMetaType::Double,
                        [](Rotator& r) { return of(r.setPosition()); }),
            T::readWrite(
                "Link", QMetaType::QVariant, [](Rotator& r) { return of(r.link()); },
                [](Rotator& r, const QVariant& v) { return of(r.setLink(linkRequested(v))); }),
            T::readOnly("absolute", QMetaType::Bool, [](Rotator& r) { return of(r.absolute()); }),
            T::readOnly("StepSize", QMetaType::Double, [](Rotator& r) { return of(r.stepSize()); }),
            T::method("GoHome", [](Rotator& r, const QVariantList&) { return of(r.goHome()); }),
            T::readWrite(
                "PosPositionLimit", QMetaType::QVariant,
                [](Rotator& r) { return of(r.posPositionLimit()); },
                [](Rotator& r, const QVariant& v) { return of(r.setPosPositionLimit(v)); }),
            T::readWrite(
                "NegPositionLimit", QMetaType::QVariant,
                [](Rotator& r) { return of(r.negPositionLimit()); },
                [](Rotator& r, const QVariant& v) { return of(r.setNegPositionLimit(v)); }),
            T::readWrite(
                "ActivatePositionLimit", QMetaType::QVariant,
                [](Rotator& r) { return of(r.activatePositionLimit()); },
                [](Rotator& r, const QVariant& v) {
                    r.setActivatePositionLimit(v);
                    return done();
                }),
            T::readOnly("IsMoving", QMetaType::Bool, [](Rotator& r) { return of(r.isMoving()); }),
            T::readOnly("MaxIncrement", QMetaType::Int,
                        [](Rotator& r) { return of(r.maxIncrement()); }),
            T::method("Move", QMetaType::Double, "Angle",
                      [](Rotator& r, const QVariantList& a) {
                          return withArg(args::toDouble(a.value(0)),
                                         [&](double x) { return of(r.move(x)); });
                      }),
            T::method("MoveAbsolute", QMetaType::Double, "Angle",
                      [](Rotator& r, const QVariantList& a) {
                          return withArg(args::toDouble(a.value(0)),
                                         [&](double x) { return of(r.moveAbsolute(x)); });
                      }),
            T::method("SetupDialog",
                      [](Rotator& r, const QVariantList&) { return of(r.setupDialog()); }),
            T::method("Halt", [](Rotator& r, const QVariantList&) { return of(r.halt()); }),
            T::method("ShowForm", QMetaType::Int, "Which",
                      [](Rotator& r, const QVariantList& a) {
                          return withArg(args::toInt16(a.value(0)),
                                         [&](qint16 w) { return of(r.showForm(w)); });
                      }),
            T::readOnly("AppVersion", QMetaType::QString,
                        [](Rotator& r) { return of(r.appVersion()); }),
            T::readWrite(
                "Connected", QMetaType::Bool, [](Rotator& r) { return of(r.link()); },
                [](Rotator& r, const QVariant& v) {
                    return withArg(args::toBool(v), [&](bool on) { return of(r.setLink(on)); });
                }),
            T::readWrite(
                "RecallRotatorPosition", QMetaType::Bool,
                [](Rotator& r) { return of(r.recallRotatorPosition()); },
                [](Rotator& r, const QVariant& v) {
                    return withArg(args::toBool(v), [&](bool on) {
                        r.setRecallRotatorPosition(on);
                        return done();
                    });
                }),
            T::readOnly("RotatorPositionRecorded", QMetaType::Bool,
                        [](Rotator& r) { return of(r.rotatorPositionRecorded()); }),
            T::method("RecordRotatorPosition",
                      [](Rotator& r, const QVariantList&) {
                          r.recordRotatorPosition();
                          return done();
                      }),
            T::readOnly("Wrap", QMetaType::Double, [](Rotator& r) { return of(r.wrap()); }),
            T::method("ZeroWrap",
                      [](Rotator& r, const QVariantList&) {
                          r.zeroWrap();
                          return done();
                      }),
            T::method("Unwrap", QMetaType::QVariant, "Angle",
                      [](Rotator& r, const QVariantList& a) { return of(r.unwrap(a.value(0))); }),
            T::readWrite(
                "WrapLimit", QMetaType::QVariant, [](Rotator& r) { return of(r.wrapLimit()); },
                [](Rotator& r, const QVariant& v) { return of(r.setWrapLimit(v)); }),
            T::method("ResetPosition", QMetaType::Double, "Angle",
                      [](Rotator& r, const QVariantList& a) {
                          return withArg(args::toSingle(a.value(0)),
                                         [&](float x) { return of(r.resetPosition(x)); });
                      }),
            T::readOnly("RotatorRecords", QMetaType::QString,
                        [](Rotator& r) { return of(r.rotatorRecords()); }),
            T::method("RotatorRecord", QMetaType::Int, "Record",
                      [](Rotator& r, const QVariantList& a) {
                          return withArg(args::toInt16(a.value(0)),
                                         [&](qint16 n) { return of(r.rotatorRecord(n)); });
                      }),
        }};
    return t;
}

} // namespace

} // namespace mivel
