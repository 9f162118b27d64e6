#pragma once

// A console on a fake serial device, a manual clock and scripted prompts: what it sends is read
// back exactly, replies are delivered as the link would, and time moves only when told.

#include "support/TestRig.h"

#include "console/MainConsole.h"

#include <memory>

namespace mivel::test {

inline const QString kPortNotOpen = QStringLiteral("Error:  The communications port is not open.");

// What was sent, without the polls that ran meanwhile.
inline QByteArray withoutPolls(QByteArray sent) {
    for (const char* poll : {" Q ", " T ", " R ", " d0 "})
        sent.replace(poll, "");
    return sent;
}

class FakeDialogs final : public console::ConsoleDialogs {
public:
    int unwrapChoice = 0;
    int unwrapAsked = 0;
    QStringList wrapWarnings;
    int chooseUnwrap() override {
        ++unwrapAsked;
        return unwrapChoice;
    }
    void showWrapWarning(const QString& text) override { wrapWarnings << text; }
};

struct ConsoleRig : AppRig {
    std::unique_ptr<console::MainConsole> console;
    FakeDialogs dialogs;

    console::MainConsole&
    start(console::MainConsole::Role role = console::MainConsole::Role::Main) {
        console = std::make_unique<console::MainConsole>(*ctx, role);
        console->setDialogs(&dialogs);
        return *console;
    }
    // A main console connected to a unit that answered the probe.
    console::MainConsole& startConnected() {
        start();
        connectAnswered();
        return *console;
    }

    // Connects and lets the unit answer the probe; what was sent so far is dropped.
    void connectAnswered() {
        console->connectLink();
        reply(":! 0 ");
        clock.advance(console::MainConsole::LinkCheckMs);
        sent();
        prompt->shown.clear();
    }
    void reply(const QByteArray& chunk) { ctx->hub().deliver(chunk); }
    int shownCount(const QString& text) const { return int(prompt->texts().count(text)); }
    // The connect controls enabled and the disconnect controls not, or the other way round.
    bool showsConnected() const {
        return !console->connectEnabled() && console->disconnectEnabled();
    }
    bool showsDisconnected() const {
        return console->connectEnabled() && !console->disconnectEnabled();
    }
};

} // namespace mivel::test
