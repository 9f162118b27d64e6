#pragma once

#include "ConsoleDialogs.h"
#include "ConsoleLink.h"
#include "ConsoleTexts.h"
#include "Readings.h"

#include "app/AppContext.h"
#include "console/ReplyWatchdog.h"
#include "core/Clock.h"

#include <QString>

#include <deque>
#include <functional>

namespace mivel::console {

enum class ConsoleRole { Main, Mini };

// What every part of a console shares: the program's context, the link to the unit, the readings
// the window shows with their awaiting-reply flags, the retry timer, and the way to ask and tell
// the user. The parts change the readings through setText and setValue, which note a change;
// flush tells the window once.
struct ConsoleCore {
    ConsoleCore(AppContext& context, ConsoleRole role, std::function<bool()> rotatorJogging);

    // The timers that run from the start, in the order they were always started.
    void startTimers();

    void setText(QString& field, const QString& value);
    template <class T> void setValue(T& field, T value) {
        if (field != value) {
            field = value;
            dirty = true;
        }
    }
    void changed() { dirty = true; }
    void flush();

    bool requirePort(); // false, after telling the user, while the port is closed
    bool confirm(const QString& text);
    void inform(const QString& text, const QString& title, Prompt::Icon icon);
    // A user edit or command holds replies off its control until the retry timer runs.
    void armRetryTimer();
    // The console that raises alerts and guards the wrap: the main one, or the mini console
    // when it is alone.
    bool leadConsole() const { return role == ConsoleRole::Main || !link.hasPeer(); }

    AppContext& ctx;
    const ConsoleRole role;
    ConsoleLink link;
    Readings readings;
    ReplyWatchdog watchdog;
    ConsoleDialogs defaultDialogs;
    ConsoleDialogs* dialogs = &defaultDialogs;
    std::function<void()> readingsChanged; // the window's cue
    bool dirty = false;
    // Alerts wait until a chunk is parsed: a message box lets further chunks in meanwhile.
    std::deque<QString> pendingAlerts;

    // Timer3: releases the awaiting-reply flags, and repeats a Goto that waited for the unit's
    // homed state without asking again.
    Timer retryTimer;
    bool focusGotoRetry = false;
    bool rotatorGotoRetry = false;
    bool skipConfirmation = false;
};

} // namespace mivel::console
