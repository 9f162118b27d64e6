#pragma once

// What the unit's compensation replies do to the shared compensation state, and the console
// buttons that show the mode. Every holder that parses these replies applies them through here,
// so the console, the compensation dialog and the focuser object agree on the state.

#include "app/SharedValues.h"
#include "link/LinkHub.h"
#include "wire/Replies.h"
#include "wire/Tokeniser.h"

#include <QString>

#include <string_view>

namespace mivel::tempcomp {

// Applies one reply of the tags :tcc, :tcm, :tc, :sl1, :of1, :tca. Returns false for any other
// tag and for a value that is not numeric (which changes nothing).
bool applyTempCompReply(TempCompState& state, wire::Tag tag, std::string_view value);

// The mode as the console's compensation buttons show it.
struct TempCompButtons {
    QString caption;   // of the compensation button
    bool synchEnabled; // the manual synchronisation button works in manual mode only
};
TempCompButtons tempCompButtons(int mode);

// A link holder that keeps the shared compensation state up to date from every received chunk.
class TempCompReceiver {
public:
    TempCompReceiver(LinkHub& hub, TempCompState& state);

private:
    TempCompState& state_;
    wire::Tokeniser tokeniser_;
    LinkHub::Subscription subscription_;
};

} // namespace mivel::tempcomp
