#include "LiveReadings.h"

#include "core/Numbers.h"
#include "wire/Replies.h"

namespace mivel::datalog {

using wire::Tag;

LiveReadings::LiveReadings(LinkHub& hub, QObject* parent)
    : QObject(parent)
    , clock_(hub.clock()) {
    subscription_ = hub.subscribe(LinkHub::Audience::Driver,
                                  [this](std::string_view chunk) { onChunk(chunk); });
}

void LiveReadings::onChunk(std::string_view chunk) {
    temperaturesInChunk_ = false;
    tokeniser_.feed(chunk,
                    [this](std::string_view tag, std::string_view value) { onValue(tag, value); });
    if (temperaturesInChunk_) {
        lastTemperatureMs_ = clock_.nowMs();
        emit temperaturesRead();
    }
}

void LiveReadings::onValue(std::string_view tag, std::string_view value) {
    const wire::TagInfo* info = wire::findTag(tag);
    if (!info || info->kind != wire::ValueKind::Number)
        return;
    const std::optional<double> number = wire::toNumber(value);
    if (!number)
        return;
    // Hundredths of a degree are divided, not multiplied by 0.01: 5012 is 50.12, not
    // 50.120000000000005, in the file's shortest exact form.
    const double v = *number / 100.0;
    switch (info->tag) {
    case Tag::Ambient:
        latest_.ambient = v;
        break;
    case Tag::Primary:
        latest_.primary = v;
        break;
    case Tag::Secondary:
        latest_.secondary = v;
        break;
    case Tag::Electronics:
        latest_.electronics = v;
        break;
    case Tag::FanPower:
        latest_.fanPower = *number;
        return;
    case Tag::HeaterPower:
        latest_.heaterPower = *number;
        return;
    case Tag::FocusActual:
        latest_.focusPosition = *number;
        return;
    default:
        return;
    }
    temperaturesInChunk_ = true;
}

} // namespace mivel::datalog
