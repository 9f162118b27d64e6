#include "GuardedControls.h"

#include "ConsoleCore.h"
#include "UnitControls.h"

namespace mivel::console {

GuardedControls::GuardedControls(ConsoleCore& core)
    : core_(core) {}

void GuardedControls::beginEdit(Flag flag) {
    core_.watchdog.set(flag);
    core_.armRetryTimer();
}

void GuardedControls::set(Flag flag, int value) {
    const UnitControl& row = unitControl(flag);
    const QByteArray command = unitControlCommand(row, value, core_.readings);
    if (row.kind == ControlKind::Switch)
        core_.setValue(core_.readings.*row.state, value != 0);
    else
        core_.setValue(core_.readings.*row.level, value);
    core_.flush();
    if (!core_.requirePort())
        return;
    beginEdit(flag);
    core_.link.sendCommand(command);
}

void GuardedControls::applyReply(const UnitControl& row, double value) {
    if (core_.watchdog.isSet(row.flag))
        return;
    const int reading = unitControlReading(row, value);
    if (row.kind == ControlKind::Switch)
        core_.setValue(core_.readings.*row.state, reading != 0);
    else
        core_.setValue(core_.readings.*row.level, reading);
}

void GuardedControls::setLimits(int value) {
    if (!core_.requirePort())
        return;
    core_.link.sendCommand(wire::command(wire::Cmd::Limits, value, wire::Lead::Space));
}

} // namespace mivel::console
