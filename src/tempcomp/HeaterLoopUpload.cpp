#include "HeaterLoopUpload.h"

#include "core/Numbers.h"
#include "wire/Commands.h"

#include <optional>

namespace mivel::tempcomp {
namespace {

std::optional<QByteArray> gainCommand(wire::Cmd cmd, const QString& text) {
    const auto value = wire::toNumber(text.trimmed().toStdString());
    if (!value)
        return std::nullopt;
    const auto scaled = wire::roundToInt<std::int16_t>(*value * 100);
    if (!scaled)
        return std::nullopt;
    return wire::command(cmd, *scaled);
}

std::optional<QByteArray> textCommand(wire::Cmd cmd, const QString& text) {
    const QString trimmed = text.trimmed();
    if (!wire::toNumber(trimmed.toStdString()))
        return std::nullopt;
    return wire::command(cmd, trimmed);
}

} // namespace

std::array<std::optional<QByteArray>, 5> heaterLoopCommands(const HeaterLoopValues& values) {
    return {gainCommand(wire::Cmd::HeaterPGain, values.proportionalGain),
            gainCommand(wire::Cmd::HeaterDGain, values.derivativeGain),
            textCommand(wire::Cmd::HeaterDTime, values.derivativeTime),
            gainCommand(wire::Cmd::HeaterIGain, values.integralGain),
            textCommand(wire::Cmd::HeaterILimit, values.integralLimit)};
}

} // namespace mivel::tempcomp
