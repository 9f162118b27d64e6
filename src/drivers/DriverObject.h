#pragma once

#include "AutomationDevice.h"
#include "DriverErrors.h"

#include "app/AppContext.h"
#include "core/Clock.h"
#include "core/Waits.h"
#include "link/LinkHub.h"
#include "wire/Commands.h"
#include "wire/Replies.h"
#include "wire/Tokeniser.h"

#include <QObject>

#include <memory>
#include <string_view>

namespace mivel {

// The link of the rotator and the temperature object: while a link attempt runs, the link
// timer ticks every 250 ms and each tick ends one "! " probe, taking its answer.
struct TickedLink {
    static constexpr int Attempts = 7;
    static constexpr qint64 TickMs = 250;

    TickedLink(Clock& clock, qint64 idleTickMs)
        : tm(clock)
        , idleTickMs(idleTickMs) {}
    Timer tm;
    qint64 idleTickMs; // the timer's interval once linked (its ticks then no longer matter)
    bool linked = false;
    bool pending = false;
    bool answered = false;
    bool tickWait = false;
};

// What the three driver objects share: a user of the one serial link that receives every
// chunk through its own tokeniser, sends commands, opens and closes the shared port, and waits
// without blocking. The objects' members run on the one thread of the program; a member that
// waits is a coroutine, and other calls and received chunks run while it waits.
class DriverObject : public QObject, public AutomationDevice {
public:
    ~DriverObject() override;

    AppContext& context() const { return ctx_; }

    // The object was linked when the link to the unit was lost: it links again by itself once
    // the port is back, and until then reports itself unlinked.
    bool linkLost() const override { return recovering_; }
    static constexpr qint64 RelinkRetryMs = 1000;

protected:
    // noResponse: the error of a link attempt that the unit did not answer.
    DriverObject(AppContext& ctx, const Error& noResponse);

    // Link let. There is one link attempt at a time: a link asked for while one runs shares it
    // and its outcome, and an unlink ends it at once (its callers get LinkCancelled).
    Task<Status> setLinked(bool on);
    // The probing of attempt number `attempt`; true when the unit answered. Once
    // attemptOver(attempt) it stops without touching the object's state.
    virtual Task<bool> probeForLink(quint64 attempt) = 0;
    // After the unit answered an attempt, and after it did not.
    virtual void onLinked() = 0;
    virtual void onLinkFailed() {}
    // Unlinks: closes the shared port for every holder and clears the object's link state.
    virtual void unlink() = 0;
    // A query of a linked object ended without its reply (the link may have gone silent).
    void noteUnanswered() {
        if (linked())
            ctx_.hub().noteUnanswered();
    }
    bool attemptOver(quint64 attempt) const {
        return attempt != attempt_.number || !attempt_.running;
    }

    // A value of a tag this object cares about. Numeric tags come only with numeric values.
    virtual void onNumber(wire::Tag tag, double value) = 0;
    // The token after a probe answer (":!"), whatever it holds.
    virtual void onProbeAnswer() = 0;
    // A text value (the version text).
    virtual void onText(wire::Tag tag, std::string_view value) {}

    // The shared Serial. The object holds the link only while a client holds the object
    // (DriverSet.h); it reaches the shared Serial all the same.
    Serial& serial() const { return ctx_.hub().ensureSerial(); }
    bool portOpen() const { return serial().connected(); }
    void send(const QByteArray& command) { serial().transmit(command); }
    // Opens the shared port on the port of the settings (and, on this platform, the chosen
    // device path).
    Status openPortFromSettings();
    void closePort();

    qint64 now() const { return ctx_.clock().nowMs(); }

    bool mainConsoleOpen() const;
    // After a successful link: the mini console opens when the user asked for it and the main
    // console is not open.
    void showConsoleOnLink();
    // ShowForm(Which): 1 the mini console, 2 the main console, nothing while the main console
    // is open.
    Status showForm(int which);
    // SetupDialog with the given dialog.
    Status showSetup(void (ConsoleWindows::*dialog)());
    static QString appVersionText();

    // Waits resume coroutines that hold this object; the token tells them whether it is still
    // there. A coroutine copies it first and checks it after every co_await.
    using Alive = std::shared_ptr<const bool>;
    Alive alive() const { return alive_; }
    static bool gone(const Alive& token) { return !*token; }
    // Resumes when condition holds or timeoutMs have passed, or at once when the object goes.
    Waits::Awaiter waitFor(qint64 timeoutMs, std::function<bool()> condition);
    // Lets everything already queued run once.
    Waits::Awaiter yieldOnce() { return ctx_.hub().waits().yield(); }
    // After a timer changed state that a wait's condition reads.
    void recheckWaits() { ctx_.hub().waits().recheck(); }

    // The probing and the unlink of the rotator and the temperature object.
    Task<bool> probeTicked(TickedLink& link, quint64 attempt);
    void unlinkTicked(TickedLink& link);
    // A tick of the link timer: during an attempt it ends the probe's wait with its answer.
    void onLinkTick(TickedLink& link);
    // A probe's wait ends with a tick of the link timer; this deadline only keeps an attempt
    // from waiting for ever on a timer that was stopped under it.
    static constexpr qint64 ProbeWaitGuardMs = 5'000;

    AppContext& ctx_;

private:
    void receive(std::string_view chunk);
    void onPiece(std::string_view tag, std::string_view piece);
    Task<void> runAttempt(quint64 attempt);
    Task<Status> attemptOutcome(quint64 attempt);
    void endAttempt(Status outcome);
    void onLinkLost();
    // Starts a link attempt of its own (no client waits for it) if none runs.
    void relink();

    struct LinkAttempt {
        quint64 number = 0;
        bool running = false;
        Status outcome; // of the last attempt that ended
    };
    LinkAttempt attempt_;
    const Error& noResponse_;
    bool recovering_ = false;
    Timer relinkRetry_;

    LinkHub::Subscription subscription_;
    wire::Tokeniser tokeniser_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

// Link let of a variant: False (or 0) unlinks, anything else links.
bool linkRequested(const QVariant& value);

} // namespace mivel
