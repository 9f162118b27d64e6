#include "DriverErrors.h"

#include <array>

namespace mivel {

namespace {

constexpr qint64 NotImplementedNumber = 0x400;

const std::array kAll{
    &errors::NoResponseFromFocuser,
    &errors::SerialLinkNotEstablished,
    &errors::TempCompActive,
    &errors::CoefficientUnavailable,
    &errors::CoefficientOutOfRange,
    &errors::ThresholdUnavailable,
    &errors::ThresholdOutOfRange,
    &errors::NoResponseFromMivel,
    &errors::RotatorNotLinked,
    &errors::LimitOutOfRange,
    &errors::LimitNotNumeric,
    &errors::IllegalUnwrap,
    &errors::IllegalWrapLimit,
    &errors::ResetAngleOutOfRange,
    &errors::FanModeOutOfRange,
    &errors::FanNotManual,
    &errors::FanSpeedOutOfRange,
    &errors::DeadbandOutOfRange,
    &errors::AggressivenessOutOfRange,
    &errors::HeaterModeOutOfRange,
    &errors::HeaterNotManual,
    &errors::HeaterPowerOutOfRange,
    &errors::SetpointOutOfRange,
    &errors::Dew1OutOfRange,
    &errors::Dew2OutOfRange,
    &errors::LinkCancelled,
    &errors::LinkLost,
    &errors::TypeMismatch,
    &errors::Overflow,
    &errors::SetupDialogUnavailable,
    &errors::ShowFormUnavailable,
};

} // namespace

std::span<const DriverError* const> driverErrors() {
    return kAll;
}

DriverErrorKind errorKind(const AutomationError& error) {
    for (const DriverError* known : kAll)
        if (known->error == error)
            return known->kind;
    return error.number == NotImplementedNumber ? DriverErrorKind::NotImplemented
                                                : DriverErrorKind::UnitFailure;
}

AutomationError noSuchMember(const QString& object, const QString& member) {
    return {NotImplementedNumber, QStringLiteral("Mivel"),
            QStringLiteral("%1 has no member %2 that can be used this way.").arg(object, member)};
}

} // namespace mivel
