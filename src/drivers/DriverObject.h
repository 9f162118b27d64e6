#pragma once

#include "AutomationDevice.h"
#include "DriverErrors.h"
#include "MemberTable.h"

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

// How an object probes for the unit when it links: "! " at most `probes` times, each probe ended
// by the next tick of the object's link timer, which ticks every tickMs from the start of the
// attempt. The unit answered when ":!" was parsed before the tick that ends a probe.
//
// The timer runs only while an attempt probes. Ticks after an attempt would change nothing (only
// a probing attempt reads them, and each attempt starts the timer afresh), so a linked object
// leaves the program asleep between requests.
struct LinkProbing {
    int probes;
    qint64 tickMs;
};

// What the three driver objects share: a user of the one serial link that receives every
// chunk through its own tokeniser, sends commands, opens and closes the shared port, links by
// probing the unit, and waits without blocking; its automation members are reached through its
// member table. The objects' members run on the one thread of the program; a member that waits
// is a coroutine, and other calls and received chunks run while it waits.
class DriverObject : public QObject, public AutomationDevice {
public:
    ~DriverObject() override;

    AppContext& context() const { return ctx_; }

    // AutomationDevice, through the member table.
    std::span<const MemberInfo> members() const final { return members_.infos(); }
    Task<CallResult> get(const QString& member) final { return members_.get(*this, member); }
    Task<CallResult> set(const QString& member, const QVariant& value) final {
        return members_.set(*this, member, value);
    }
    Task<CallResult> call(const QString& method, const QVariantList& args) final {
        return members_.call(*this, method, args);
    }
    bool linked() const final { return link_.linked; }

    // The object was linked when the link to the unit was lost: it links again by itself once
    // the port is back, and until then reports itself unlinked.
    bool linkLost() const override { return recovering_; }
    static constexpr qint64 RelinkRetryMs = 1000;

protected:
    // noResponse: the error of a link attempt that the unit did not answer. members: the
    // object's member table, which outlives every object.
    DriverObject(AppContext& ctx, const Error& noResponse, LinkProbing probing,
                 const MemberDirectory& members);

    // Link let. There is one link attempt at a time: a link asked for while one runs shares it
    // and its outcome, and an unlink ends it at once (its callers get LinkCancelled). Unlinking
    // closes the shared port for every holder of the link, the consoles included.
    Task<Status> setLinked(bool on);
    // After the unit answered a link attempt.
    virtual void onLinked() = 0;
    // A query of a linked object ended without its reply (the link may have gone silent).
    void noteUnanswered() {
        if (linked())
            ctx_.hub().noteUnanswered();
    }

    // A value of a tag this object cares about. Numeric tags come only with numeric values.
    virtual void onNumber(wire::Tag tag, double value) = 0;
    // A reply tag and the member of Obj that takes its value; an object lists one per tag it
    // reads and hands each value on with applyTagged.
    template <class Obj> struct TagHandler {
        wire::Tag tag;
        void (Obj::*apply)(double);
    };
    template <class Obj>
    static void applyTagged(Obj& obj, std::span<const TagHandler<Obj>> handlers, wire::Tag tag,
                            double value) {
        for (const TagHandler<Obj>& h : handlers)
            if (h.tag == tag)
                return (obj.*h.apply)(value);
    }
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

    AppContext& ctx_;

private:
    void receive(std::string_view chunk);
    void onPiece(std::string_view tag, std::string_view piece);
    bool attemptOver(quint64 attempt) const {
        return attempt != attempt_.number || !attempt_.running;
    }
    Task<void> runAttempt(quint64 attempt);
    // The probing of attempt number `attempt`; true when the unit answered. Once
    // attemptOver(attempt) it stops without touching the object's state.
    Task<bool> probe(quint64 attempt);
    // After the last probe: ticks no longer count, and the timer stops.
    bool endProbing();
    // A tick of the link timer: during an attempt it ends the probe's wait with its answer.
    void onLinkTick();
    // Closes the shared port for every holder and clears the object's link state.
    void unlink();
    // After a timer changed state that a wait's condition reads.
    void recheckWaits() { ctx_.hub().waits().recheck(); }
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
    // The link flags of the probing: whether the unit answered the last attempt, whether one is
    // probing (only then do ticks count), whether ":!" came since the last tick, and whether a
    // probe waits for the next tick.
    struct LinkFlags {
        bool linked = false;
        bool pending = false;
        bool answered = false;
        bool tickWait = false;
    };
    // A probe's wait ends with a tick of the link timer; this deadline only keeps an attempt
    // from waiting for ever on a timer that was stopped under it.
    static constexpr qint64 ProbeWaitGuardMs = 5'000;

    LinkAttempt attempt_;
    LinkFlags link_;
    LinkProbing probing_;
    Timer linkTimer_;
    const MemberDirectory& members_;
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
