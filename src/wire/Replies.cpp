#include "Replies.h"

#include "core/Format.h"

#include <array>
#include <cstdint>

namespace mivel::wire {
namespace {

using K = ValueKind;
constexpr double Step = 1.0 / 200;      // rotator: 1/200 degree
constexpr double Fixed16 = 1.0 / 65536; // motion parameters: 16 fractional bits

constexpr std::array kTags{
    TagInfo{Tag::FocusTarget, ":s", K::Number, 1, "0", "focus target position, counts"},
    TagInfo{Tag::FocusActual, ":a", K::Number, 1, "0", "focus actual position, counts"},
    TagInfo{Tag::FocusHomed, ":h", K::Number, 1, "", "1 homed, else not homed"},
    TagInfo{Tag::MotorCurrent, ":mc", K::Number, 0.000226, "0.00", "motor current, raw"},
    TagInfo{Tag::MotorOn, ":mo", K::Number, 1, "", "0 motor off, else on"},
    TagInfo{Tag::ForceMotorOff, ":mb", K::Number, 1, "", "force-motor-off state"},
    TagInfo{Tag::FocusError, ":e", K::Number, 1, "", "focus error report 1, 2 or 3"},
    TagInfo{Tag::Diagnostic, ":d", K::Text, 1, "", "diagnostic record item, or * to end it"},
    TagInfo{Tag::Ambient, ":t1", K::Number, 0.01, "0.0", "ambient temperature"},
    TagInfo{Tag::Primary, ":t2", K::Number, 0.01, "0.0", "primary mirror temperature"},
    TagInfo{Tag::Secondary, ":t3", K::Number, 0.01, "0.0", "secondary mirror temperature"},
    TagInfo{Tag::RawAmbient, ":t4", K::Number, 1, "0", "ambient sensor reading"},
    TagInfo{Tag::RawPrimary, ":t5", K::Number, 1, "0", "primary sensor reading"},
    TagInfo{Tag::RawSecondary, ":t6", K::Number, 1, "0", "secondary sensor reading"},
    TagInfo{Tag::Electronics, ":t7", K::Number, 0.01, "0.0 F", "electronics temperature"},
    TagInfo{Tag::CompSensorRaw, ":tca", K::Number, 1, "0.0 F", "raw compensation sensor"},
    TagInfo{Tag::Slope1, ":sl1", K::Number, 1e-5, "0.00000", "compensation sensor slope"},
    TagInfo{Tag::Slope2, ":sl2", K::Number, 1e-5, "0.00000", "sensor 2 slope"},
    TagInfo{Tag::Slope3, ":sl3", K::Number, 1e-5, "0.00000", "sensor 3 slope"},
    TagInfo{Tag::Slope4, ":sl4", K::Number, 1e-5, "0.00000", "sensor 4 slope"},
    TagInfo{Tag::Offset1, ":of1", K::Number, 1e-5, "0.00000", "compensation sensor offset"},
    TagInfo{Tag::Offset2, ":of2", K::Number, 1e-5, "0.00000", "sensor 2 offset"},
    TagInfo{Tag::Offset3, ":of3", K::Number, 1e-5, "0.00000", "sensor 3 offset"},
    TagInfo{Tag::Offset4, ":of4", K::Number, 1e-5, "0.00000", "sensor 4 offset"},
    TagInfo{Tag::FanMode, ":fm", K::Number, 1, "0", "fan mode 0, 1, 2"},
    TagInfo{Tag::FanPower, ":fs", K::Number, 1, "0", "fan power, percent"},
    TagInfo{Tag::FanGain, ":fg", K::Number, 0.1, "0.0", "fan gain"},
    TagInfo{Tag::FanDeadBand, ":ft", K::Number, 1, "0", "fan dead band"},
    TagInfo{Tag::HeaterMode, ":sm", K::Number, 1, "0", "secondary heater mode 0, 1, 2"},
    TagInfo{Tag::HeaterPower, ":ss", K::Number, 1, "0", "secondary heater power, percent"},
    TagInfo{Tag::HeaterSetPoint, ":st", K::Number, 1, "0", "secondary heater set point"},
    TagInfo{Tag::Dew1Power, ":d1", K::Number, 1, "0", "dew heater 1 power, percent"},
    TagInfo{Tag::Dew2Power, ":d2", K::Number, 1, "0", "dew heater 2 power, percent"},
    TagInfo{Tag::RotatorTarget, ":rs", K::Number, Step, "#0.00", "rotator target"},
    TagInfo{Tag::RotatorActual, ":rt", K::Number, Step, "#0.00", "rotator actual"},
    TagInfo{Tag::Wrap, ":wr", K::Number, Step, "#,##0.0", "wrap"},
    TagInfo{Tag::RotatorHomed, ":rh", K::Number, 1, "", "rotator homed flag"},
    TagInfo{Tag::FocusRecord, ":frp", K::Number, 1, "", "focus record flags"},
    TagInfo{Tag::RotatorRecord, ":rrp", K::Number, 1, "", "rotator record flags"},
    TagInfo{Tag::ImageRotatorRecord, ":ims", K::Number, 1, "", "rotator record flags"},
    TagInfo{Tag::TempCompMode, ":tc", K::Number, 1, "", "compensation 1 auto, 2 manual"},
    TagInfo{Tag::TempCompCoefficient, ":tcc", K::Number, 1, "", "coefficient x slope x 1000"},
    TagInfo{Tag::TempCompThreshold, ":tcm", K::Number, 1, "0", "movement threshold, counts"},
    TagInfo{Tag::Probe, ":!", K::Any, 1, "", "link probe answer"},
    TagInfo{Tag::Version, ":vr", K::Text, 1, "", "firmware version"},
    TagInfo{Tag::LoaderStatus, ":x", K::Char, 1, "", "firmware loader status"},
    TagInfo{Tag::ParamP, ":p", K::Number, 1, "0", "focus loop proportional gain"},
    TagInfo{Tag::ParamR, ":r", K::Number, 1, "0", "focus loop derivative gain"},
    TagInfo{Tag::ParamI, ":i", K::Number, 1, "0", "focus loop integral gain"},
    TagInfo{Tag::ParamL, ":l", K::Number, 1, "0", "focus loop integral limit"},
    TagInfo{Tag::ParamG, ":g", K::Number, 1, "0", "focus loop derivative setting"},
    TagInfo{Tag::Velocity, ":v", K::Number, Fixed16, "0.0000", "motor velocity"},
    TagInfo{Tag::Acceleration, ":c", K::Number, Fixed16, "0.0000", "motor acceleration"},
    TagInfo{Tag::ParamFo, ":fo", K::Number, 1, "0", "fan threshold"},
    TagInfo{Tag::ParamFp, ":fp", K::Number, 1, "0", "fan pulse power"},
    TagInfo{Tag::IntFanOn, ":ifo", K::Number, 1, "0", "internal fan on"},
    TagInfo{Tag::IntFanAuto, ":ifa", K::Number, 1, "0", "internal fan automatic"},
    TagInfo{Tag::IntFanSet, ":ifs", K::Number, 1, "0", "internal fan set point, 0 to 31"},
    TagInfo{Tag::IntFanHyst, ":ifh", K::Number, 1, "0", "internal fan hysteresis, 0 to 31"},
    TagInfo{Tag::ParamAc, ":ac", K::Number, 1, "0", "automatic motor current"},
    TagInfo{Tag::ParamDb, ":db", K::Number, 1, "0", "focus dead band on"},
    TagInfo{Tag::DeadbandTime, ":dbt", K::Number, 1, "0", "dead band settle time"},
    TagInfo{Tag::DeadbandSettle, ":dbs", K::Number, 1, "0", "focus dead band"},
    TagInfo{Tag::ErrorHandheld, ":eh", K::Number, 1, "0", "errors reported on the hand pad"},
    TagInfo{Tag::HeaterKp, ":skp", K::Number, 0.01, "0.00", "heater proportional gain"},
    TagInfo{Tag::HeaterKd, ":skd", K::Number, 0.01, "0.00", "heater derivative gain"},
    TagInfo{Tag::HeaterKi, ":ski", K::Number, 0.01, "0.00", "heater integral gain"},
    TagInfo{Tag::HeaterDerivTime, ":sdi", K::Number, 1, "0", "heater derivative time"},
    TagInfo{Tag::HeaterILimit, ":sil", K::Number, 1, "0", "heater integral limit"},
};

// Tag lookup runs for every value the unit sends, to every receiver, so it is a perfect hash
// found at compile time: each tag (':' and one to three characters) packs into one 32-bit key,
// a multiplier spreads the keys over distinct slots, and a slot holds its tag's row.
constexpr std::size_t MaxTagLength = 4;
constexpr int SlotBits = 10;
constexpr std::uint8_t NoRow = 0xFF;
static_assert(kTags.size() < NoRow);

constexpr bool packable(std::string_view wire) {
    return wire.size() >= 2 && wire.size() <= MaxTagLength && wire.front() == ':';
}

// The characters after ':' and the length: two packable tags have equal keys only when equal.
constexpr std::uint32_t tagKey(std::string_view wire) {
    std::uint32_t key = std::uint32_t(wire.size()) << 24;
    for (std::size_t i = 1; i < wire.size(); ++i)
        key |= std::uint32_t(std::uint8_t(wire[i])) << (8 * (i - 1));
    return key;
}

constexpr std::uint32_t slotOf(std::uint32_t key, std::uint32_t multiplier) {
    return (key * multiplier) >> (32 - SlotBits);
}

constexpr bool spreadsEveryTag(std::uint32_t multiplier) {
    std::array<bool, std::size_t(1) << SlotBits> taken{};
    for (const TagInfo& t : kTags) {
        const std::uint32_t slot = slotOf(tagKey(t.wire), multiplier);
        if (taken[slot])
            return false;
        taken[slot] = true;
    }
    return true;
}

constexpr std::uint32_t findMultiplier() {
    for (const TagInfo& t : kTags)
        if (!packable(t.wire))
            throw "every tag is ':' and one to three characters";
    for (std::uint32_t m = 0x9E3779B1u;; m += 0x6A09E668u) // odd steps from the golden ratio
        if (spreadsEveryTag(m))
            return m;
}

constexpr std::uint32_t kMultiplier = findMultiplier();

struct Slots {
    std::array<std::uint8_t, std::size_t(1) << SlotBits> row{};
    std::array<std::uint32_t, kTags.size()> key{};
};

constexpr Slots kSlots = [] {
    Slots s;
    for (auto& r : s.row)
        r = NoRow;
    for (std::size_t i = 0; i < kTags.size(); ++i) {
        s.key[i] = tagKey(kTags[i].wire);
        s.row[slotOf(s.key[i], kMultiplier)] = std::uint8_t(i);
    }
    return s;
}();

} // namespace

std::span<const TagInfo> replyTags() {
    return kTags;
}

const TagInfo* findTag(std::string_view wire) {
    if (!packable(wire))
        return nullptr;
    const std::uint32_t key = tagKey(wire);
    const std::uint8_t row = kSlots.row[slotOf(key, kMultiplier)];
    return row != NoRow && kSlots.key[row] == key ? &kTags[row] : nullptr;
}

const TagInfo& tagInfo(Tag tag) {
    for (const auto& t : kTags)
        if (t.tag == tag)
            return t;
    return kTags.front();
}

double displayValue(Tag tag, double wireValue) {
    switch (tag) {
    case Tag::MotorCurrent:
        return wireValue * 0.000226 + 0.65;
    case Tag::FanPower:
        return std::min(wireValue, 100.0); // values above 100 are shown as 100
    default:
        return wireValue * tagInfo(tag).scale;
    }
}

QString motorCurrentText(double raw) {
    if (raw == 0)
        return QStringLiteral("< 0.65");
    return formatNumber(displayValue(Tag::MotorCurrent, raw), "0.00");
}

QString displayText(Tag tag, double wireValue) {
    if (tag == Tag::MotorCurrent)
        return motorCurrentText(wireValue);
    const TagInfo& info = tagInfo(tag);
    const std::string_view format = info.format.empty() ? std::string_view("0") : info.format;
    return formatNumber(displayValue(tag, wireValue), format);
}

} // namespace mivel::wire
