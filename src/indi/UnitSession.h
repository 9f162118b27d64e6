#pragma once

#include "app/AppContext.h"
#include "app/Prompt.h"
#include "core/Error.h"
#include "core/Task.h"
#include "drivers/DriverSet.h"

#include <functional>
#include <optional>

namespace mivel::indi {

// Where the driver's messages go: the INDI log of the device, as the user sees it in the client.
using MessageSink = std::function<void(const QString& text, bool warning)>;

// Every prompt of the driver objects becomes a message of the device; a question takes its first
// button, as nobody sits at the driver to answer it.
class IndiPrompt final : public Prompt {
public:
    explicit IndiPrompt(MessageSink sink)
        : sink_(std::move(sink)) {}
    Answer ask(const QString& text, const QString& title, Icon icon, Buttons buttons) override {
        sink_(text, icon == Icon::Warning || icon == Icon::Critical);
        return buttons == Buttons::YesNo || buttons == Buttons::YesNoCancel ? Answer::Yes
                                                                            : Answer::Ok;
    }

private:
    MessageSink sink_;
};

// The unit as the INDI driver holds it: the program's context with mivel's own settings file,
// and the three driver objects over the one serial link, linked together and unlinked together.
// The objects are those the Alpaca server drives, so the unit behaves the same under either.
class UnitSession {
public:
    explicit UnitSession(MessageSink sink);
    ~UnitSession();
    UnitSession(const UnitSession&) = delete;
    UnitSession& operator=(const UnitSession&) = delete;

    // Opens the serial device at devicePath and links the focuser, rotator and temperature
    // objects over it. The first failure ends the link: the port is closed again.
    Task<Status> link(const QString& devicePath);
    void unlink();
    // While linked, or while the objects bring back a link whose port went away.
    bool holding() const { return hold_.has_value(); }
    bool linked() const;

    AppContext& context() { return ctx_; }
    Focuser& focuser() { return drivers_.focuser(); }
    Rotator& rotator() { return drivers_.rotator(); }
    Temperature& temperature() { return drivers_.temperature(); }

private:
    AppContext ctx_;
    std::optional<Connector> hold_;
    DriverSet drivers_;
    quint64 attempt_ = 0;
};

} // namespace mivel::indi
