#include "DriverObject.h"

#include "AutomationArgs.h"
#include "DriverErrors.h"

#include "core/Numbers.h"

namespace mivel {

DriverObject::DriverObject(AppContext& ctx, const Error& noResponse, LinkProbing probing,
                           const MemberDirectory& members)
    : ctx_(ctx)
    , probing_(probing)
    , linkTimer_(ctx.clock())
    , members_(members)
    , noResponse_(noResponse)
    , relinkRetry_(ctx.clock()) {
    ctx.hub().ensureSerial();
    subscription_ = ctx.hub().subscribe(LinkHub::Audience::Driver,
                                        [this](std::string_view chunk) { receive(chunk); });
    connect(&ctx.hub(), &LinkHub::linkLost, this, &DriverObject::onLinkLost);
    connect(&ctx.hub(), &LinkHub::linkRestored, this, &DriverObject::relink);
    relinkRetry_.setSingleShot(true);
    relinkRetry_.setInterval(RelinkRetryMs);
    connect(&relinkRetry_, &Timer::timeout, this, &DriverObject::relink);
    connect(&linkTimer_, &Timer::timeout, this, &DriverObject::onLinkTick);
}

DriverObject::~DriverObject() {
    // Coroutines still waiting inside this object end now, without touching it again.
    *alive_ = false;
    subscription_.reset();
    ctx_.hub().waits().recheck();
}

void DriverObject::receive(std::string_view chunk) {
    tokeniser_.feed(chunk,
                    [this](std::string_view tag, std::string_view piece) { onPiece(tag, piece); });
}

void DriverObject::onPiece(std::string_view tag, std::string_view piece) {
    const wire::TagInfo* info = wire::findTag(tag);
    if (!info)
        return;
    switch (info->kind) {
    case wire::ValueKind::Any: // ":!", whatever it holds
        link_.answered = true;
        return;
    case wire::ValueKind::Number:
        if (const auto value = wire::toNumber(piece))
            onNumber(info->tag, *value);
        return;
    case wire::ValueKind::Text:
        if (!piece.empty())
            onText(info->tag, piece);
        return;
    case wire::ValueKind::Char:
        return; // the loader's status is the firmware wizard's business
    }
}

Status DriverObject::openPortFromSettings() {
    Serial& port = serial();
    port.setPort(ctx_.settings().port);
    if (!ctx_.settings().portDevice.isEmpty())
        port.setDevicePath(ctx_.settings().portDevice);
    return port.setConnected(true);
}

void DriverObject::closePort() {
    serial().setConnected(false);
}

void DriverObject::onLinkLost() {
    if (!linked())
        return;
    recovering_ = true;
    unlink(); // the port is closed already: this clears the object's link state
}

void DriverObject::relink() {
    if (!recovering_ || attempt_.running)
        return;
    attempt_.running = true;
    Task<void> probing = runAttempt(++attempt_.number);
}

Task<Status> DriverObject::setLinked(bool on) {
    if (!on) {
        recovering_ = false;
        relinkRetry_.stop();
        unlink();
        if (attempt_.running)
            endAttempt(errors::LinkCancelled);
        return Task<Status>::ready(Status());
    }
    if (!attempt_.running) {
        attempt_.running = true;
        // Runs on its own: every caller, the first one included, waits for its outcome.
        Task<void> probing = runAttempt(++attempt_.number);
    }
    return attemptOutcome(attempt_.number);
}

Task<void> DriverObject::runAttempt(quint64 attempt) {
    const Alive token = alive();
    const bool answered = co_await probe(attempt);
    if (gone(token) || attemptOver(attempt))
        co_return;
    if (answered) {
        onLinked();
        recovering_ = false;
    } else if (recovering_ && !ctx_.hub().lost())
        relinkRetry_.start(); // the port is back but the unit did not answer yet
    endAttempt(answered ? Status() : Status(noResponse_));
}

Task<Status> DriverObject::attemptOutcome(quint64 attempt) {
    const Alive token = alive();
    // Every wait of an attempt ends within its guard, so this one never runs out in practice.
    constexpr qint64 AttemptGuardMs = 60'000;
    co_await waitFor(AttemptGuardMs, [this, attempt] { return attemptOver(attempt); });
    if (gone(token))
        co_return Status();
    if (!attemptOver(attempt))
        endAttempt(noResponse_);
    co_return attempt_.outcome;
}

void DriverObject::endAttempt(Status outcome) {
    attempt_.running = false;
    attempt_.outcome = std::move(outcome);
    recheckWaits();
}

// A port that will not open leaves the probes unanswered. The answer a probe waits for may have
// come before the probe went out: any ":!" since the last tick counts.
Task<bool> DriverObject::probe(quint64 attempt) {
    const Alive token = alive();
    linkTimer_.setInterval(probing_.tickMs);
    linkTimer_.start();
    if (!portOpen())
        openPortFromSettings();
    link_.linked = false;
    link_.pending = true;
    co_await yieldOnce();
    if (gone(token) || attemptOver(attempt))
        co_return false;
    for (int probe = 0; probe < probing_.probes && !link_.linked; ++probe) {
        send(wire::command(wire::Cmd::Probe));
        co_await yieldOnce();
        if (gone(token) || attemptOver(attempt))
            co_return false;
        link_.tickWait = true;
        co_await waitFor(ProbeWaitGuardMs,
                         [this, attempt] { return attemptOver(attempt) || !link_.tickWait; });
        if (gone(token) || attemptOver(attempt))
            co_return false;
    }
    co_return endProbing();
}

bool DriverObject::endProbing() {
    link_.pending = false;
    linkTimer_.stop();
    return link_.linked;
}

void DriverObject::onLinkTick() {
    if (!link_.pending)
        return;
    link_.linked = link_.answered;
    link_.answered = false;
    link_.tickWait = false;
    recheckWaits();
}

void DriverObject::unlink() {
    if (portOpen())
        closePort();
    link_.linked = false;
    link_.pending = false;
    link_.tickWait = false;
    linkTimer_.stop(); // a late tick must not link the object again
}

bool DriverObject::mainConsoleOpen() const {
    const ConsoleWindows* windows = ctx_.windows();
    return ctx_.shared().mainConsoleOpen || (windows && windows->mainConsoleOpen());
}

void DriverObject::showConsoleOnLink() {
    ConsoleWindows* windows = ctx_.windows();
    if (windows && ctx_.settings().controlConsole && !mainConsoleOpen())
        windows->showMiniConsole();
}

Status DriverObject::showForm(int which) {
    ConsoleWindows* windows = ctx_.windows();
    if (!windows)
        return errors::ShowFormUnavailable;
    if (mainConsoleOpen())
        return {};
    if (which == 1)
        windows->showMiniConsole();
    else if (which == 2)
        windows->showMainConsole();
    return {};
}

Status DriverObject::showSetup(void (ConsoleWindows::*dialog)()) {
    ConsoleWindows* windows = ctx_.windows();
    if (!windows)
        return errors::SetupDialogUnavailable;
    (windows->*dialog)();
    return {};
}

QString DriverObject::appVersionText() {
    return QStringLiteral("%1.%2.%3")
        .arg(MIVEL_VERSION_MAJOR)
        .arg(MIVEL_VERSION_MINOR)
        .arg(MIVEL_VERSION_PATCH);
}

Waits::Awaiter DriverObject::waitFor(qint64 timeoutMs, std::function<bool()> condition) {
    return ctx_.hub().waits().until(timeoutMs, [token = alive(), condition = std::move(condition)] {
        return gone(token) || condition();
    });
}

bool linkRequested(const QVariant& value) {
    return !args::isFalse(value);
}

} // namespace mivel
