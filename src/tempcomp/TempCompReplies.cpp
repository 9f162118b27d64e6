#include "TempCompReplies.h"

#include "core/Numbers.h"

#include <algorithm>

namespace mivel::tempcomp {

bool applyTempCompReply(TempCompState& state, wire::Tag tag, std::string_view value) {
    using wire::Tag;
    const auto number = wire::toNumber(value);
    if (!number)
        return false;
    switch (tag) {
    case Tag::TempCompCoefficient:
        return state.acceptCoefficientReply(*number);
    case Tag::TempCompThreshold:
        state.acceptThresholdReply(*number);
        return true;
    case Tag::TempCompMode:
        state.mode = *number == 1 ? 1 : *number == 2 ? 2 : 0;
        return true;
    case Tag::Slope1:
        state.sensorSlope = float(*number / 100000);
        break;
    case Tag::Offset1:
        state.sensorOffset = float(*number / 100000);
        break;
    case Tag::CompSensorRaw:
        state.sensorRaw = *number;
        state.sensorRawReceived = true;
        break;
    default:
        return false;
    }
    // A calibration that arrives after the reading (the unit answers " T " before " l " at
    // link time) still gives the right temperature.
    if (state.sensorRawReceived)
        state.sensorTemp = float(
            wire::compSensorTemperature(state.sensorRaw, state.sensorSlope, state.sensorOffset));
    return true;
}

TempCompButtons tempCompButtons(int mode) {
    switch (mode) {
    case 1:
        return {QStringLiteral("Temperature Compensation = AUTO"), false};
    case 2:
        return {QStringLiteral("Temperature Compensation = MAN"), true};
    default:
        return {QStringLiteral("Temperature Compensation = OFF"), false};
    }
}

TempCompReceiver::TempCompReceiver(LinkHub& hub, TempCompState& state)
    : state_(state)
    , subscription_(hub.subscribe(LinkHub::Audience::Console, [this](std::string_view chunk) {
        tokeniser_.feed(chunk, [this](std::string_view tag, std::string_view value) {
            if (const wire::TagInfo* info = wire::findTag(tag))
                applyTempCompReply(state_, info->tag, value);
        });
    })) {}

} // namespace mivel::tempcomp
