#include "UnitControls.h"

#include "core/Numbers.h"

#include <algorithm>

namespace mivel::console {

const UnitControl* unitControlFor(wire::Tag reply) {
    for (const UnitControl& row : kUnitControls)
        if (row.reply == reply)
            return &row;
    return nullptr;
}

QByteArray unitControlCommand(const UnitControl& row, int value, const Readings& readings) {
    switch (row.kind) {
    case ControlKind::Level:
        return wire::command(row.command, value, row.lead);
    case ControlKind::Mode:
        if (value == 1)
            return wire::command(row.command, 1, row.lead);
        else {
            const UnitControl& power = unitControl(row.pairedLevel);
            return wire::command(power.command, readings.*power.level, power.lead);
        }
    case ControlKind::Switch:
        return wire::command(row.command, value != 0 ? row.onArgument : 0, row.lead);
    }
    return {};
}

int unitControlReading(const UnitControl& row, double reply) {
    if (row.kind == ControlKind::Switch)
        return row.switchReply == SwitchReply::OddFlag ? int(wire::isOddFlag(reply))
                                                       : int(reply != 0);
    return std::min(wire::roundToInt<int>(reply).value_or(0), row.replyMax);
}

} // namespace mivel::console
