#pragma once

#include "console/Readings.h"
#include "console/ReplyWatchdog.h"
#include "wire/Commands.h"
#include "wire/Replies.h"

#include <QByteArray>

#include <climits>
#include <cstddef>
#include <iterator>

namespace mivel::console {

// How a control's value travels to the unit and back.
enum class ControlKind : std::uint8_t {
    // A number: sent as the command's argument, reported back as the new value.
    Level,
    // Automatic (1) sends the mode command with 1; manual sends the paired level's own command
    // with the level the control shows, which is how the unit learns both at once.
    Mode,
    // On or off: sent as the row's argument for on, or 0; reported back as a number whose
    // reading the row names.
    Switch,
};

// How a switch's reply reads as on or off.
enum class SwitchReply : std::uint8_t {
    NonZero, // any value but 0
    OddFlag, // the record flags: odd is on, 8 or more also means recorded
};

// A value the user sets from a console control and the unit reports back. Setting it stores the
// value, raises the row's watchdog flag and sends the command; while the flag is up, replies stay
// off the control (see ReplyWatchdog). Adding such a value is its flag in ReplyWatchdog and one
// row below; the checks under the table hold the two together.
struct UnitControl {
    ReplyWatchdog::Flag flag;
    ControlKind kind;
    wire::Tag reply;                     // the reply that reports the value
    wire::Cmd command;                   // the command that sets it
    wire::Lead lead = wire::Lead::Space; // the command's leading space
    int Readings::*level = nullptr;      // Level and Mode rows
    bool Readings::*state = nullptr;     // Switch rows
    const char* control = nullptr;       // the window's control by object name (a Mode: its
                                         // automatic button)
    const char* manualButton = nullptr;  // a Mode: its manual button
    ReplyWatchdog::Flag pairedLevel = ReplyWatchdog::Flag::Count; // a Mode: the level it sends
    int onArgument = 0;                             // a Switch: the argument that switches on
    SwitchReply switchReply = SwitchReply::NonZero; // a Switch: how its reply reads
    int replyMax = INT_MAX;                         // a Level: replies above this read as this
    int shownDivisor = 1;                           // the control shows the value divided by this
};

namespace unit_controls {
using Flag = ReplyWatchdog::Flag;
using wire::Cmd;
using wire::Lead;
using wire::Tag;

constexpr UnitControl level(Flag flag, Tag reply, Cmd command, int Readings::*field,
                            const char* control, int replyMax = INT_MAX, int shownDivisor = 1) {
    return {.flag = flag,
            .kind = ControlKind::Level,
            .reply = reply,
            .command = command,
            .level = field,
            .control = control,
            .replyMax = replyMax,
            .shownDivisor = shownDivisor};
}
constexpr UnitControl mode(Flag flag, Tag reply, Cmd command, int Readings::*field,
                           const char* automaticButton, const char* manualButton,
                           Flag pairedLevel) {
    return {.flag = flag,
            .kind = ControlKind::Mode,
            .reply = reply,
            .command = command,
            .lead = Lead::None,
            .level = field,
            .control = automaticButton,
            .manualButton = manualButton,
            .pairedLevel = pairedLevel};
}
constexpr UnitControl onOff(Flag flag, Tag reply, Cmd command, Lead lead, bool Readings::*field,
                            const char* checkBox, int onArgument, SwitchReply switchReply) {
    return {.flag = flag,
            .kind = ControlKind::Switch,
            .reply = reply,
            .command = command,
            .lead = lead,
            .state = field,
            .control = checkBox,
            .onArgument = onArgument,
            .switchReply = switchReply};
}

// One row per watchdog flag, in the flags' order.
// clang-format off
inline constexpr UnitControl kRows[] = {
    //    flag                 reply                command              readings field             control
    level(Flag::FanPower,       Tag::FanPower,       Cmd::FanPower,       &Readings::fanPower,       "UpDown2", 100),
    level(Flag::FanGain,        Tag::FanGain,        Cmd::FanGain,        &Readings::fanGain,        "UpDown3", INT_MAX, 10),
    level(Flag::FanDeadBand,    Tag::FanDeadBand,    Cmd::FanDeadBand,    &Readings::fanDeadBand,    "UpDown1"),
    mode( Flag::FanMode,        Tag::FanMode,        Cmd::FanMode,        &Readings::fanMode,        "optFanAuto", "optFanManual", Flag::FanPower),
    level(Flag::HeaterPower,    Tag::HeaterPower,    Cmd::HeaterPower,    &Readings::heaterPower,    "UpDown5"),
    level(Flag::HeaterSetPoint, Tag::HeaterSetPoint, Cmd::HeaterSetPoint, &Readings::heaterSetPoint, "UpDown6"),
    mode( Flag::HeaterMode,     Tag::HeaterMode,     Cmd::HeaterMode,     &Readings::heaterMode,     "optSecAuto", "optSecManual", Flag::HeaterPower),
    level(Flag::Dew1Power,      Tag::Dew1Power,      Cmd::Dew1Power,      &Readings::dew1,           "udDew1"),
    level(Flag::Dew2Power,      Tag::Dew2Power,      Cmd::Dew2Power,      &Readings::dew2,           "udDew2"),
    onOff(Flag::ForceMotorOff,  Tag::ForceMotorOff,  Cmd::ForceMotorOff,  Lead::None,  &Readings::forceMotorOff, "Check1",           32, SwitchReply::NonZero),
    onOff(Flag::RecallFocus,    Tag::FocusRecord,    Cmd::RecallFocus,    Lead::Space, &Readings::recallFocus,   "chkRecallFocus",    1, SwitchReply::OddFlag),
    onOff(Flag::RecallRotator,  Tag::RotatorRecord,  Cmd::RecallRotator,  Lead::Space, &Readings::recallRotator, "chkRecallRotator",  1, SwitchReply::OddFlag),
};
// clang-format on

constexpr bool rowsFollowTheFlags() {
    if (std::size(kRows) != std::size_t(ReplyWatchdog::FlagCount))
        return false;
    for (std::size_t i = 0; i < std::size(kRows); ++i)
        if (kRows[i].flag != Flag(i))
            return false;
    return true;
}
constexpr bool everyReplyOnce() {
    for (std::size_t i = 0; i < std::size(kRows); ++i)
        for (std::size_t j = i + 1; j < std::size(kRows); ++j)
            if (kRows[i].reply == kRows[j].reply)
                return false;
    return true;
}
constexpr bool modesPairWithLevels() {
    for (const UnitControl& row : kRows)
        if (row.kind == ControlKind::Mode &&
            (row.pairedLevel == Flag::Count ||
             kRows[std::size_t(row.pairedLevel)].kind != ControlKind::Level))
            return false;
    return true;
}
} // namespace unit_controls

inline constexpr const auto& kUnitControls = unit_controls::kRows;
static_assert(unit_controls::rowsFollowTheFlags(), "one row per watchdog flag, in their order");
static_assert(unit_controls::everyReplyOnce(), "a reply sets one control");
static_assert(unit_controls::modesPairWithLevels(), "a manual mode sends a level");

inline const UnitControl& unitControl(ReplyWatchdog::Flag flag) {
    return kUnitControls[std::size_t(flag)];
}
// The row a reply reports, or nullptr.
const UnitControl* unitControlFor(wire::Tag reply);

// The command that sets a row's control to value; a Mode's manual setting takes its paired
// level from the readings.
QByteArray unitControlCommand(const UnitControl& row, int value, const Readings& readings);
// The value a row's reply reports, as its readings field takes it.
int unitControlReading(const UnitControl& row, double reply);

} // namespace mivel::console
