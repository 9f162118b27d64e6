#pragma once

#include "console/ReplyWatchdog.h"

namespace mivel::console {

struct ConsoleCore;
struct UnitControl;

// The values the user sets that the unit also reports, one per row of the control table (fan,
// heater and dew on the temperatures tab, the focus motor and recall boxes): a user's setting is
// sent and holds the unit's replies off its control until the retry timer releases them.
class GuardedControls {
public:
    using Flag = ReplyWatchdog::Flag;

    explicit GuardedControls(ConsoleCore& core);

    // The user started changing a value: replies stay off its control until the retry timer.
    void beginEdit(Flag flag);
    void set(Flag flag, int value);
    // The row's reply arrived; it lands unless the row waits for the user.
    void applyReply(const UnitControl& row, double value);

    void setLimits(int value); // the diagnostic tab's limits spinner: sent, never reported

private:
    ConsoleCore& core_;
};

} // namespace mivel::console
