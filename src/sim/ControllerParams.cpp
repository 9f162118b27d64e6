#include "ControllerParams.h"

#include "link/Numbers.h"

#include <array>
#include <utility>

namespace mivel::sim {
namespace {

using wire::Cmd;
using wire::Tag;

constexpr std::pair<Cmd, Tag> kCommandTags[] = {
    {Cmd::InternalFanSet, Tag::IntFanSet},
    {Cmd::InternalFanHyst, Tag::IntFanHyst},
    {Cmd::ParamAt, Tag::ParamFo},
    {Cmd::ParamZ, Tag::ParamFp},
    {Cmd::MotorPGain, Tag::ParamP},
    {Cmd::MotorDGain, Tag::ParamR},
    {Cmd::MotorDeriv, Tag::ParamG},
    {Cmd::MotorIGain, Tag::ParamI},
    {Cmd::MotorILimit, Tag::ParamL},
    {Cmd::Velocity, Tag::Velocity},
    {Cmd::Acceleration, Tag::Acceleration},
    {Cmd::AutoCurrent, Tag::ParamAc},
    {Cmd::ErrorHandheld, Tag::ErrorHandheld},
    {Cmd::DeadbandOn, Tag::ParamDb},
    {Cmd::Deadband, Tag::DeadbandSettle},     // :dbs, the dead band itself
    {Cmd::DeadbandSettle, Tag::DeadbandTime}, // :dbt, its settle time
    {Cmd::HeaterPGain, Tag::HeaterKp},
    {Cmd::HeaterDGain, Tag::HeaterKd},
    {Cmd::HeaterDTime, Tag::HeaterDerivTime},
    {Cmd::HeaterIGain, Tag::HeaterKi},
    {Cmd::HeaterILimit, Tag::HeaterILimit},
};

constexpr std::array kFirstGroup{
    Tag::ParamP,       Tag::ParamR,         Tag::ParamI,        Tag::ParamL,  Tag::ParamG,
    Tag::Velocity,     Tag::Acceleration,   Tag::ParamFo,       Tag::ParamFp, Tag::IntFanOn,
    Tag::IntFanAuto,   Tag::IntFanSet,      Tag::IntFanHyst,    Tag::ParamAc, Tag::ParamDb,
    Tag::DeadbandTime, Tag::DeadbandSettle, Tag::ErrorHandheld,
};
constexpr std::array kSecondGroup{
    Tag::HeaterKp, Tag::HeaterKd, Tag::HeaterKi, Tag::HeaterDerivTime, Tag::HeaterILimit,
};

// What the unit holds when it leaves the workshop.
constexpr std::pair<Tag, const char*> kDefaults[] = {
    {Tag::ParamP, "40"},          {Tag::ParamR, "300"},       {Tag::ParamI, "1"},
    {Tag::ParamL, "100"},         {Tag::ParamG, "4"},         {Tag::Velocity, "98304"},
    {Tag::Acceleration, "655"},   {Tag::ParamFo, "20"},       {Tag::ParamFp, "50"},
    {Tag::IntFanOn, "0"},         {Tag::IntFanAuto, "255"},   {Tag::IntFanSet, "20"},
    {Tag::IntFanHyst, "2"},       {Tag::ParamAc, "255"},      {Tag::ParamDb, "0"},
    {Tag::DeadbandTime, "100"},   {Tag::DeadbandSettle, "5"}, {Tag::ErrorHandheld, "255"},
    {Tag::HeaterKp, "500"},       {Tag::HeaterKd, "100"},     {Tag::HeaterKi, "10"},
    {Tag::HeaterDerivTime, "10"}, {Tag::HeaterILimit, "50"},
};

} // namespace

ControllerParams::ControllerParams() {
    for (const auto& [tag, text] : kDefaults)
        values_[tag] = QByteArray(text);
}

std::optional<Tag> ControllerParams::tagFor(Cmd cmd) {
    for (const auto& [c, tag] : kCommandTags)
        if (c == cmd)
            return tag;
    return std::nullopt;
}

std::span<const Tag> ControllerParams::firstGroup() {
    return kFirstGroup;
}

std::span<const Tag> ControllerParams::secondGroup() {
    return kSecondGroup;
}

QByteArray ControllerParams::value(Tag tag) const {
    const auto it = values_.find(tag);
    return it == values_.end() ? QByteArrayLiteral("0") : it->second;
}

double ControllerParams::number(Tag tag) const {
    const QByteArray text = value(tag);
    return wire::toNumber(std::string_view(text.constData(), std::size_t(text.size()))).value_or(0);
}

void ControllerParams::set(Tag tag, const QByteArray& text) {
    if (!text.isEmpty())
        values_[tag] = text;
}

void ControllerParams::setInternalFan(Cmd cmd, const QByteArray& text) {
    const bool thermostat = cmd == Cmd::InternalFanOther;
    set(thermostat ? Tag::IntFanAuto : Tag::IntFanOn, text);
    set(thermostat ? Tag::IntFanOn : Tag::IntFanAuto, QByteArrayLiteral("0"));
}

} // namespace mivel::sim
