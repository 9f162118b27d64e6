#include "ControllerParams.h"

#include "UnitWords.h"

#include <array>
#include <utility>

namespace mivel::sim {
namespace {

constexpr std::pair<std::string_view, std::string_view> kWordTags[] = {
    {word::InternalFanSet, tag::InternalFanSet},
    {word::InternalFanHyst, tag::InternalFanHyst},
    {word::FanThreshold, tag::FanThreshold},
    {word::FanPulse, tag::FanPulse},
    {word::MotorPGain, tag::MotorPGain},
    {word::MotorDGain, tag::MotorDGain},
    {word::MotorDeriv, tag::MotorDeriv},
    {word::MotorIGain, tag::MotorIGain},
    {word::MotorILimit, tag::MotorILimit},
    {word::Velocity, tag::Velocity},
    {word::Acceleration, tag::Acceleration},
    {word::AutoCurrent, tag::AutoCurrent},
    {word::ErrorHandheld, tag::ErrorHandheld},
    {word::DeadbandOn, tag::DeadbandOn},
    {word::Deadband, tag::Deadband},
    {word::DeadbandSettle, tag::DeadbandSettle},
    {word::HeaterPGain, tag::HeaterPGain},
    {word::HeaterDGain, tag::HeaterDGain},
    {word::HeaterDTime, tag::HeaterDTime},
    {word::HeaterIGain, tag::HeaterIGain},
    {word::HeaterILimit, tag::HeaterILimit},
};

constexpr std::array kFirstGroup{
    tag::MotorPGain,      tag::MotorDGain,    tag::MotorIGain,      tag::MotorILimit,
    tag::MotorDeriv,      tag::Velocity,      tag::Acceleration,    tag::FanThreshold,
    tag::FanPulse,        tag::InternalFanOn, tag::InternalFanAuto, tag::InternalFanSet,
    tag::InternalFanHyst, tag::AutoCurrent,   tag::DeadbandOn,      tag::DeadbandSettle,
    tag::Deadband,        tag::ErrorHandheld,
};
constexpr std::array kSecondGroup{
    tag::HeaterPGain, tag::HeaterDGain, tag::HeaterIGain, tag::HeaterDTime, tag::HeaterILimit,
};

// What the unit holds when it leaves the workshop.
constexpr std::pair<std::string_view, const char*> kDefaults[] = {
    {tag::MotorPGain, "40"},      {tag::MotorDGain, "300"},      {tag::MotorIGain, "1"},
    {tag::MotorILimit, "100"},    {tag::MotorDeriv, "4"},        {tag::Velocity, "98304"},
    {tag::Acceleration, "655"},   {tag::FanThreshold, "20"},     {tag::FanPulse, "50"},
    {tag::InternalFanOn, "0"},    {tag::InternalFanAuto, "255"}, {tag::InternalFanSet, "20"},
    {tag::InternalFanHyst, "2"},  {tag::AutoCurrent, "255"},     {tag::DeadbandOn, "0"},
    {tag::DeadbandSettle, "100"}, {tag::Deadband, "5"},          {tag::ErrorHandheld, "255"},
    {tag::HeaterPGain, "500"},    {tag::HeaterDGain, "100"},     {tag::HeaterIGain, "10"},
    {tag::HeaterDTime, "10"},     {tag::HeaterILimit, "50"},
};

} // namespace

ControllerParams::ControllerParams() {
    for (const auto& [t, text] : kDefaults)
        values_[t] = QByteArray(text);
}

std::optional<std::string_view> ControllerParams::tagFor(std::string_view w) {
    for (const auto& [candidate, t] : kWordTags)
        if (candidate == w)
            return t;
    return std::nullopt;
}

std::span<const std::string_view> ControllerParams::firstGroup() {
    return kFirstGroup;
}

std::span<const std::string_view> ControllerParams::secondGroup() {
    return kSecondGroup;
}

QByteArray ControllerParams::value(std::string_view t) const {
    const auto it = values_.find(t);
    return it == values_.end() ? QByteArrayLiteral("0") : it->second;
}

double ControllerParams::number(std::string_view t) const {
    const QByteArray text = value(t);
    return plainDecimal(std::string_view(text.constData(), std::size_t(text.size()))).value_or(0);
}

void ControllerParams::set(std::string_view t, const QByteArray& text) {
    // Keys are the tag constants themselves, which live as long as the program.
    if (const auto it = values_.find(t); it != values_.end() && !text.isEmpty())
        it->second = text;
}

void ControllerParams::setInternalFan(std::string_view w, const QByteArray& text) {
    const bool thermostat = w == word::InternalFanAuto;
    set(thermostat ? tag::InternalFanAuto : tag::InternalFanOn, text);
    set(thermostat ? tag::InternalFanOn : tag::InternalFanAuto, QByteArrayLiteral("0"));
}

} // namespace mivel::sim
