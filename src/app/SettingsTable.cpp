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
        // name                      type          First        then           Missing       copy
        {QString(),                  Type::String, str("Vark Mivel"), {},     notRepaired,  nullptr},
        {QStringLiteral("Absolute"), Type::Dword,  0,           {},            0,            flag<&S::absolute>},
        {QStringLiteral("PORT"),     Type::Dword,  1,           {},            1,            whole<&S::port>},
        {QStringLiteral("Prompt"),   Type::Dword,  0,           {},            0,            flag<&S::prompt>},
        {QStringLiteral("ControlConsole"), Type::Dword, 0,      {},            0,            flag<&S::controlConsole>},
        // Written first as a DWORD and then as text, so a fresh store holds the text "0".
        {QStringLiteral("ErrorMessage"), Type::Dword, 0, {{Type::String, str("0")}}, 0,      whole<&S::errorMessage>},
        {QStringLiteral("StepSize"), Type::String, str("0.25"), {},            str("0.25"),  ifNumeric<&S::stepSize>},
        {QStringLiteral("FocusStep"), Type::Dword, 0,           {},            0,            whole<&S::focusStep>},
        {QStringLiteral("RotateStep"), Type::Dword, 0,          {},            0,            whole<&S::rotateStep>},
        {QStringLiteral("RotateStepOption"), Type::String, str("0"), {},       str("0"),     text<&S::rotateStepOption>},
        {QStringLiteral("MainPosX"), Type::Dword,  0,           {},            0,            whole<&S::mainPosX>},
        {QStringLiteral("MainPosY"), Type::Dword,  0,           {},            0,            whole<&S::mainPosY>},
        {QStringLiteral("MiniPosX"), Type::Dword,  0,           {},            0,            whole<&S::miniPosX>},
        {QStringLiteral("MiniPosY"), Type::Dword,  0,           {},            0,            whole<&S::miniPosY>},
        {QStringLiteral("CheckTelescope"), Type::Dword, 0,      {},            0,            exactlyOne<&S::checkTelescope>},
        {QStringLiteral("PromptTheSky"), Type::Dword, 0,        {},            0,            exactlyOne<&S::promptTheSky>},
        {QStringLiteral("DornaSynchedToTelescope"), Type::Dword, 0, {},        0,            flag<&S::dornaSynchedToTelescope>},
        // The alignment values: written only at creation; the alignment reads them itself.
        {QStringLiteral("ImageScale"), Type::String, str("1.7"), {},           notRepaired,  nullptr},
        {QStringLiteral("MaxPosErr"), Type::String, str("2.0"), {},            notRepaired,  nullptr},
        {QStringLiteral("MaxRotErr"), Type::String, str("1.0"), {},            notRepaired,  nullptr},
        {QStringLiteral("MaxItterations"), Type::Dword, 5,      {},            notRepaired,  nullptr},
        {QStringLiteral("LargeStepSize"), Type::Dword, 80,      {},            80,           whole<&S::largeStepSize>},
        {QStringLiteral("SmallStepSize"), Type::Dword, 5,       {},            5,            whole<&S::smallStepSize>},
        {QStringLiteral("DornaLimit"), Type::Dword, 540,        {},            540,          whole<&S::dornaLimit>},
        {QStringLiteral("AutoReverse"), Type::Dword, 1,         {},            1,            flag<&S::autoReverse>},
        {QStringLiteral("Detector"), Type::String, str(""),     {},            str(""),      text<&S::detector>},
    };
    // clang-format on
    return table;
}

const SettingValue* findSettingValue(const QString& name) {
    const auto& table = settingValues();
    const auto it = std::find_if(table.begin(), table.end(), [&](const SettingValue& v) {
        return v.name.compare(name, Qt::CaseInsensitive) == 0;
    });
    return it == table.end() ? nullptr : &*it;
}

} // namespace mivel
