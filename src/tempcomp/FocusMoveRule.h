#pragma once

// While the unit compensates focus for temperature it owns the focuser: a move from the console
// or from an automation client would fight the compensation. Every place that moves the focus
// asks here first. Header only, so that the driver objects need no link to this library.

#include "app/SharedValues.h"

#include <QString>

#include <optional>

namespace mivel::tempcomp {

enum class FocusMoveSource {
    ConsoleMove,    // a console's Goto, jog and step buttons
    StoredPosition, // choosing an entry in a console's box of stored focus positions
    FocuserDriver,  // the focuser object's Move
};

inline const QString ConsoleFocusBlockedMessage =
    QStringLiteral("Temperature compensation is active.  Focus movement is disabled.");
inline const QString StoredFocusBlockedMessage =
    QStringLiteral("Temperature compensation is active.  Focuser movement is disabled.");
inline const QString FocuserBlockedMessage =
    QStringLiteral("Temperature compensation active, focus movement not allowed.");

// The message that refuses a focus move, or nothing when the move may go ahead.
inline std::optional<QString> focusMoveRefusal(const TempCompState& state, FocusMoveSource source) {
    if (!state.active())
        return std::nullopt;
    switch (source) {
    case FocusMoveSource::ConsoleMove:
        return ConsoleFocusBlockedMessage;
    case FocusMoveSource::StoredPosition:
        return StoredFocusBlockedMessage;
    case FocusMoveSource::FocuserDriver:
        return FocuserBlockedMessage;
    }
    return ConsoleFocusBlockedMessage;
}

} // namespace mivel::tempcomp
