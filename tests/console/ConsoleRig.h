#pragma once

// A console on a fake serial device, a manual clock and scripted prompts: what it sends is read
// back exactly, replies are delivered as the link would, and time moves only when told.

#include "support/FakeSerialDevice.h"

#include "console/MainConsole.h"

#include "app/AppContext.h"
#include "app/Prompt.h"
#include "core/Clock.h"

#include <QTemporaryDir>

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

struct ConsoleRig {
    ManualClock clock;
    QTemporaryDir dir;
    FakeSerialDevice* device = nullptr;
    ScriptedPrompt* prompt = nullptr;
    std::unique_ptr<AppContext> ctx;
    std::unique_ptr<console::MainConsole> console;
    FakeDialogs dialogs;

    explicit ConsoleRig(std::unique_ptr<SettingsStore> store = nullptr) {
        auto p = std::make_unique<ScriptedPrompt>();
        prompt = p.get();
        ctx = std::make_unique<AppContext>(
            std::move(store), std::move(p),
            [this] {
                auto d = std::make_unique<FakeSerialDevice>();
                device = d.get();
                return std::unique_ptr<SerialDevice>(std::move(d));
            },
            AppPaths::inDirectory(dir.path()), clock);
    }

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
    QByteArray sent() { return std::exchange(device->written, {}); }
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
