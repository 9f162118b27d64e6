#include "SettingsTable.h"

#include "core/Numbers.h"

#include <algorithm>
#include <type_traits>

namespace mivel {

namespace {

using Type = SettingsStore::Type;

Status typeMismatch() {
    return Error{ErrorKind::InvalidValue, 13, {}, QStringLiteral("Type mismatch")};
}

Status overflow() {
    return Error{ErrorKind::InvalidValue, 6, {}, QStringLiteral("Overflow")};
}

template <class Int> Status toWhole(const QVariant& value, Int* out) {
    const auto number = settingNumber(value);
    if (!number)
        return typeMismatch();
    const auto whole = wire::roundToInt<Int>(*number);
    if (!whole)
        return overflow();
    *out = *whole;
    return {};
}

// A 16- or 32-bit integer copy.
template <auto Member> Status whole(Settings& settings, const QVariant& value) {
    using Int = std::remove_reference_t<decltype(settings.*Member)>;
    return toWhole<Int>(value, &(settings.*Member));
}

// A 16-bit flag: any number but 0 is set.
template <auto Member> Status flag(Settings& settings, const QVariant& value) {
    qint16 number = 0;
    if (auto error = toWhole(value, &number))
        return error;
    settings.*Member = number != 0;
    return {};
}

// A boolean that only a stored 1 sets; any other number, or text, clears it.
template <auto Member> Status exactlyOne(Settings& settings, const QVariant& value) {
    settings.*Member = settingNumber(value) == 1.0;
    return {};
}

// A number taken only when the stored value reads as one; otherwise the copy keeps its value.
template <auto Member> Status ifNumeric(Settings& settings, const QVariant& value) {
    if (const auto number = settingNumber(value))
        settings.*Member = float(*number);
    return {};
}

template <auto Member> Status text(Settings& settings, const QVariant& value) {
    settings.*Member = value.toString();
    return {};
}

QVariant str(const char* text) {
    return QString::fromLatin1(text);
}

} // namespace

const std::vector<SettingValue>& settingValues() {
    using S = Settings;
    const std::nullopt_t notRepaired = std::nullopt;
    // clang-format off
    static const std::vector<SettingValue> table{
        // value                     First        then           Missing       copy
        {setting::DisplayName,      str("Vark Mivel"), {},     notRepaired,  nullptr},
        {setting::Absolute,   0,           {},            0,            flag<&S::absolute>},
        {setting::PORT,       1,           {},            1,            whole<&S::port>},
        {setting::Prompt,     0,           {},            0,            flag<&S::prompt>},
        {setting::ControlConsole,  0,      {},            0,            flag<&S::controlConsole>},
        // Written first as a DWORD and then as text, so a fresh store holds the text "0".
        {setting::ErrorMessage,  0, {{Type::String, str("0")}}, 0,      whole<&S::errorMessage>},
        {setting::StepSize,  str("0.25"), {},            str("0.25"),  ifNumeric<&S::stepSize>},
        {setting::FocusStep,  0,           {},            0,            whole<&S::focusStep>},
        {setting::RotateStep,  0,          {},            0,            whole<&S::rotateStep>},
        {setting::RotateStepOption,  str("0"), {},       str("0"),     text<&S::rotateStepOption>},
        {setting::MainPosX,   0,           {},            0,            whole<&S::mainPosX>},
        {setting::MainPosY,   0,           {},            0,            whole<&S::mainPosY>},
        {setting::MiniPosX,   0,           {},            0,            whole<&S::miniPosX>},
        {setting::MiniPosY,   0,           {},            0,            whole<&S::miniPosY>},
        {setting::CheckTelescope,  0,      {},            0,            exactlyOne<&S::checkTelescope>},
        {setting::PromptTheSky,  0,        {},            0,            exactlyOne<&S::promptTheSky>},
        {setting::DornaSynchedToTelescope,  0, {},        0,            flag<&S::dornaSynchedToTelescope>},
        // The alignment values: written only at creation; the alignment reads them itself.
        {setting::ImageScale,  str("1.7"), {},           notRepaired,  nullptr},
        {setting::MaxPosErr,  str("2.0"), {},            notRepaired,  nullptr},
        {setting::MaxRotErr,  str("1.0"), {},            notRepaired,  nullptr},
        {setting::MaxItterations,  5,      {},            notRepaired,  nullptr},
        {setting::LargeStepSize,  80,      {},            80,           whole<&S::largeStepSize>},
        {setting::SmallStepSize,  5,       {},            5,            whole<&S::smallStepSize>},
        {setting::DornaLimit,  540,        {},            540,          whole<&S::dornaLimit>},
        {setting::AutoReverse,  1,         {},            1,            flag<&S::autoReverse>},
        {setting::Detector,  str(""),     {},            str(""),      text<&S::detector>},
    };
    // clang-format on
    return table;
}

const SettingValue* findSettingValue(const QString& name) {
    const auto& table = settingValues();
    const auto it = std::find_if(table.begin(), table.end(), [&](const SettingValue& v) {
        return v.key.name.compare(name, Qt::CaseInsensitive) == 0;
    });
    return it == table.end() ? nullptr : &*it;
}

} // namespace mivel
