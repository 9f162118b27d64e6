#include "MainConsole.h"

#include "RotatorMoves.h"

#include "tempcomp/FocusMoveRule.h"
#include "tempcomp/TempCompReplies.h"

#include "app/SettingsKey.h"
#include "core/Format.h"
#include "core/Numbers.h"

#include <QDir>

#include <array>
#include <cmath>

namespace mivel::console {

using wire::Cmd;
using wire::Lead;
using wire::Tag;

namespace {

const QString kMivel = QStringLiteral("Mivel");
const QString kVark = QStringLiteral("Vark");

const QString kPortNotOpen = QStringLiteral("Error:  The communications port is not open.");
const QString kNoAnswer = QStringLiteral("Warning:  Unable to communicate with controller.");
const QString kMustHome = QStringLiteral(
    "Warning:  You must first find the home position before moving to absolute positions.  "
    "Please press the 'HOME' button and try again.");
const QString kPastWrapLimit = QStringLiteral("Warning:  Can not slew past wrap limit.");
const QString kJogStepNotNumber =
    QStringLiteral("The rotator jog step must be a number of degrees (at most 360).");
const QString kWrapStopped =
    QStringLiteral("Wrap limit reached.  The Dorna has been stopped to protect its cables.");

// The unit's focus error reports (:e), by code.
const std::array<QString, 3> kFocusErrors{
    QStringLiteral("Error:  Excessive position error.  The focus position has been adjusted."),
    QStringLiteral(
        "Error:  Excessive motor current detected.  The focus motor has been turned off."),
    QStringLiteral(
        "Error:  Excessive motor driver temperature.  The focus motor has been turned off."),
};

// The focus jog increments offered by the consoles; the FocusStep setting is the index.
constexpr std::array<int, 7> kFocusJogSteps{1, 5, 10, 50, 100, 500, 1000};

// Ideal mirror spacing: counts to the first unit (mils), and the factor of the second unit
// applied on top of the stored focus scale factor.
constexpr double kSpacingPerCount = 0.025;
constexpr double kScaledSpacingFactor = 0.0408;

void setText(QString& field, const QString& value, bool& dirty) {
    if (field != value) {
        field = value;
        dirty = true;
    }
}

template <class T> void setValue(T& field, T value, bool& dirty) {
    if (field != value) {
        field = value;
        dirty = true;
    }
}

} // namespace

MainConsole::MainConsole(AppContext& ctx, Role role, QObject* parent)
    : QObject(parent)
    , ctx_(ctx)
    , role_(role)
    , connector_(ctx.hub())
    , jogTimer_(ctx.clock())
    , commandSentTimer_(ctx.clock())
    , retryTimer_(ctx.clock())
    , pollTimer_(ctx.clock())
    , errorMemoryTimer_(ctx.clock())
    , linkCheckTimer_(ctx.clock()) {
    subscription_ = ctx.hub().subscribe(LinkHub::Audience::Console,
                                        [this](std::string_view chunk) { handleReceived(chunk); });
    connect(&connector_.serial(), &Serial::connectedChanged, this, &MainConsole::onPortChanged);

    jogTimer_.setInterval(JogRepeatMs);
    connect(&jogTimer_, &Timer::timeout, this, &MainConsole::onJogTick);
    commandSentTimer_.setSingleShot(true);
    commandSentTimer_.setInterval(CommandSentMs);
    connect(&commandSentTimer_, &Timer::timeout, this, [this] { commandSent_ = false; });
    retryTimer_.setSingleShot(true);
    retryTimer_.setInterval(RetryMs);
    connect(&retryTimer_, &Timer::timeout, this, &MainConsole::onRetry);
    pollTimer_.setInterval(PollMs);
    connect(&pollTimer_, &Timer::timeout, this, &MainConsole::onPollTick);
    errorMemoryTimer_.setSingleShot(true);
    errorMemoryTimer_.setInterval(ErrorMemoryMs);
    connect(&errorMemoryTimer_, &Timer::timeout, this, [this] { lastFocusError_.reset(); });
    linkCheckTimer_.setSingleShot(true);
    linkCheckTimer_.setInterval(LinkCheckMs);
    connect(&linkCheckTimer_, &Timer::timeout, this, &MainConsole::onLinkCheck);

    // Timers enabled at design time.
    commandSentTimer_.start();
    retryTimer_.start();
    pollTimer_.start();

    updateWrapLimitText();
    if (role_ == Role::Main) {
        send(wire::command(Cmd::ConsoleStart, Lead::Space));
        send(wire::command(Cmd::TempCompParams, Lead::Space));
        send(wire::command(Cmd::FocusStatus, Lead::Space));
        diagnostic_ = std::make_unique<DiagnosticFile>(
            QDir(ctx.paths().dataDir).filePath(diagnosticFileName()));
    }
}

MainConsole::~MainConsole() = default;

void MainConsole::setDialogs(ConsoleDialogs* dialogs) {
    dialogs_ = dialogs ? dialogs : &defaultDialogs_;
}

// --- Sending and the common checks ----------------------------------------------------------

void MainConsole::send(const QByteArray& command) {
    connector_.serial().transmit(command);
}

void MainConsole::sendCommand(const QByteArray& command) {
    send(command);
    // The next poll tick gives way to a command just sent (one tick at most, see onPollTick).
    commandSent_ = true;
    commandSentTimer_.start();
}

bool MainConsole::portOpen() const {
    return connector_.serial().connected();
}

bool MainConsole::requirePort() {
    if (portOpen())
        return true;
    inform(kPortNotOpen, kVark, Prompt::Icon::Warning);
    return false;
}

bool MainConsole::confirm(const QString& text) {
    return ctx_.prompt().confirm(text, kMivel);
}

void MainConsole::inform(const QString& text, const QString& title, Prompt::Icon icon) {
    ctx_.prompt().inform(text, title, icon);
}

void MainConsole::flush() {
    if (std::exchange(dirty_, false))
        emit readingsChanged();
}

void MainConsole::armRetryTimer() {
    // A pending Goto retry keeps its two seconds.
    if (!focusGotoRetry_ && !rotatorGotoRetry_)
        retryTimer_.start();
    else if (!retryTimer_.isActive())
        retryTimer_.start();
}

// --- Link -----------------------------------------------------------------------------------

void MainConsole::onPortChanged(bool open) {
    // Any holder of the link may open or close the port; the controls follow it.
    if (!open) {
        linkCheckTimer_.stop();
        stopJog();
    }
    emit linkStateChanged();
}

void MainConsole::connectLink() {
    Serial& serial = connector_.serial();
    const Settings& settings = ctx_.settings();
    if (!serial.connected() && settings.port > 0) {
        serial.setPort(settings.port);
        serial.setDevicePath(settings.portDevice);
    }
    if (const Status failed = serial.setConnected(true)) {
        inform(failed->description, kVark, Prompt::Icon::Warning);
        serial.setConnected(false);
        return;
    }
    probeAnswered_ = false;
    linkRetries_ = 0;
    send(wire::command(Cmd::Probe, Lead::Space));
    linkCheckTimer_.start();
}

void MainConsole::disconnectLink() {
    Serial& serial = connector_.serial();
    if (serial.connected())
        serial.setConnected(false);
    linkCheckTimer_.stop();
}

void MainConsole::onLinkCheck() {
    if (probeAnswered_) {
        send(wire::command(Cmd::Version, Lead::Space));
        send(wire::command(Cmd::TempCompParams, Lead::Space));
        return;
    }
    if (linkRetries_ < LinkCheckRetries) {
        ++linkRetries_;
        send(wire::command(Cmd::Probe, Lead::Space));
        linkCheckTimer_.start();
        return;
    }
    inform(kNoAnswer, kMivel, Prompt::Icon::Warning);
    connector_.serial().setConnected(false); // the controls follow the port
    linkRetries_ = 0;
}

void MainConsole::showComPort() {
    const Serial& serial = connector_.serial();
    QString text = QStringLiteral("The current com port is: ") + QString::number(serial.port());
    if (!serial.devicePath().isEmpty())
        text += QStringLiteral(" (") + serial.devicePath() + QLatin1Char(')');
    inform(text, kMivel, Prompt::Icon::Information);
}

// --- Polling --------------------------------------------------------------------------------

void MainConsole::setTab(ConsoleTab tab) {
    tab_ = tab; // the next tick asks for the new tab's values
}

void MainConsole::setThermalReaders(std::function<ThermalReaders()> readers) {
    thermalReaders_ = std::move(readers);
}

QByteArray MainConsole::pollCommand() const {
    // A held rotator jog checks every step against the wrap, so the poll keeps it fresh.
    if (jog_ && jog_->axis == JogAxis::Rotator)
        return wire::command(Cmd::RotatorStatus, Lead::Space);
    switch (tab_) {
    case ConsoleTab::Focus:
        return wire::command(Cmd::FocusStatus, Lead::Space);
    case ConsoleTab::Rotator:
        return wire::command(Cmd::RotatorStatus, Lead::Space);
    case ConsoleTab::Diagnostic:
        return wire::command(Cmd::DiagnosticPoll, 0, Lead::Space);
    case ConsoleTab::Temperatures:
        break;
    }
    // The data log and the graph ask for temperatures themselves; the console adds its own
    // request only when it asks more often than they do.
    const ThermalReaders r = thermalReaders_ ? thermalReaders_() : ThermalReaders{};
    const double pollPeriodS = PollMs / 1000.0;
    const bool ask = (!r.logRunning && !r.graphRunning) ||
                     (r.logRunning ? pollPeriodS < r.logIntervalS
                                   : r.graphRunning && pollPeriodS < r.graphPeriodS);
    return ask ? wire::command(Cmd::Temperatures, Lead::Space) : QByteArray();
}

void MainConsole::onPollTick() {
    if (!portOpen())
        return;
    // A command just sent delays the poll by one tick, never more: the display and the wrap
    // guard need the readings however often the user sends.
    if (commandSent_ && !pollGaveWay_) {
        pollGaveWay_ = true;
        return;
    }
    pollGaveWay_ = false;
    const QByteArray command = pollCommand();
    if (command.isEmpty())
        return;
    // Beside the main console, the mini console asks only for what the main one does not.
    if (peer_ && peer_->portOpen() && peer_->pollCommand() == command)
        return;
    send(command);
}

// --- Retry timer (Timer3) -------------------------------------------------------------------

void MainConsole::onRetry() {
    watchdog_.clearAll();
    if (std::exchange(focusGotoRetry_, false)) {
        if (readings_.focusHomed) {
            skipConfirmation_ = true;
            focusGoto();
        } else {
            inform(kMustHome, kVark, Prompt::Icon::Warning);
        }
    }
    if (std::exchange(rotatorGotoRetry_, false)) {
        if (readings_.rotatorHomed) {
            skipConfirmation_ = true;
            rotatorGoto();
        } else {
            inform(kMustHome, kVark, Prompt::Icon::Warning);
        }
    }
}

// --- Focus ----------------------------------------------------------------------------------

void MainConsole::focusGoto() {
    if (readings_.forceMotorOff) {
        inform(QStringLiteral("FORCE MOTOR OFF is checked.  Please uncheck to move motor."), kMivel,
               Prompt::Icon::Information);
        return;
    }
    if (const auto refusal = tempcomp::focusMoveRefusal(ctx_.shared().tempComp,
                                                        tempcomp::FocusMoveSource::ConsoleMove)) {
        inform(*refusal, kMivel, Prompt::Icon::Information);
        return;
    }
    if (!requirePort())
        return;
    if (!skipConfirmation_ && !confirm(QStringLiteral("Confirm slew?")))
        return;
    skipConfirmation_ = false;
    if (!readings_.focusHomed) {
        // The unit answers with its homed state; the retry timer repeats the Goto then.
        sendCommand(wire::command(Cmd::FocusHomedQuery));
        focusGotoRetry_ = true;
        retryTimer_.start();
        return;
    }
    const auto position = wire::toNumber(focusGotoText_.trimmed().toStdString());
    if (!position || std::fabs(*position) > 2147483647.0) {
        ctx_.prompt().beep();
        return;
    }
    sendCommand(wire::command(Cmd::FocusMove, std::int64_t(std::floor(*position))));
}

void MainConsole::focusHome() {
    if (!requirePort() || !confirm(QStringLiteral("Confirm slew home?")))
        return;
    sendCommand(wire::command(Cmd::FocusHome));
}

void MainConsole::focusStop() {
    if (!requirePort())
        return;
    stopJog();
    sendCommand(wire::command(Cmd::FocusStop));
}

void MainConsole::recordFocus() {
    if (!requirePort())
        return;
    sendCommand(wire::command(Cmd::RecordFocus, Lead::Space));
}

void MainConsole::setRecallFocus(bool on) {
    setValue(readings_.recallFocus, on, dirty_);
    flush();
    if (!requirePort())
        return;
    watchdog_.set(Flag::RecallFocus);
    armRetryTimer();
    sendCommand(wire::command(Cmd::RecallFocus, on ? 1 : 0, Lead::Space));
}

void MainConsole::setForceMotorOff(bool on) {
    setValue(readings_.forceMotorOff, on, dirty_);
    flush();
    if (!requirePort())
        return;
    watchdog_.set(Flag::ForceMotorOff);
    armRetryTimer();
    sendCommand(wire::command(Cmd::ForceMotorOff, on ? 32 : 0));
}

void MainConsole::setMirrorSpacing() {
    if (!requirePort())
        return;
    if (!readings_.focusHomed) {
        inform(
            QStringLiteral("You must first set home position before setting ideal mirror spacing."),
            kMivel, Prompt::Icon::Information);
        return;
    }
    if (!confirm(QStringLiteral("Set current position for ideal mirror spacing?")))
        return;
    idealSpacingPosition_ = focusPosition_;
    sendCommand(wire::command(Cmd::MirrorSpacing, focusPosition_, Lead::Space));
    updateSpacing();
    flush();
}

void MainConsole::setSpacingUnit(int unit) {
    spacingUnit_ = unit == 1 ? 1 : 0;
    updateSpacing();
    flush();
}

void MainConsole::updateSpacing() {
    setText(readings_.spacingUnit,
            !readings_.focusHomed ? QString()
            : spacingUnit_ == 0   ? QStringLiteral("mils")
                                  : QStringLiteral("scaled"),
            dirty_);
    QString text = QStringLiteral("GO HOME");
    if (readings_.focusHomed) {
        const double counts = double(focusPosition_) - double(idealSpacingPosition_);
        const double spacing =
            spacingUnit_ == 0 ? counts * kSpacingPerCount
                              : counts * double(ctx_.settings().stepSize) * kScaledSpacingFactor;
        text = formatNumber(spacing, "0.000");
    }
    setText(readings_.spacing, text, dirty_);
}

void MainConsole::synchTempComp() {
    if (!requirePort())
        return;
    sendCommand(wire::command(Cmd::TempCompMode, 2, Lead::Space));
}

void MainConsole::openTempComp() {
    if (!dialogs_->tempCompDialogAvailable() || !requirePort())
        return;
    send(wire::command(Cmd::TempCompPrepare, Lead::Space));
    dialogs_->runTempCompDialog();
    // The mode goes to the unit whenever the dialog closes, Cancel included.
    showTempComp(Tag::TempCompMode);
    flush();
    sendCommand(wire::command(Cmd::TempCompMode, ctx_.shared().tempComp.mode, Lead::Space));
}

std::span<const int> MainConsole::focusJogSteps() {
    return kFocusJogSteps;
}

int MainConsole::focusJogStep() const {
    const int index = std::clamp<int>(ctx_.settings().focusStep, 0, int(kFocusJogSteps.size()) - 1);
    return kFocusJogSteps[std::size_t(index)];
}

void MainConsole::setFocusJogStepIndex(int index) {
    ctx_.settings().focusStep =
        std::int16_t(std::clamp<int>(index, 0, int(kFocusJogSteps.size()) - 1));
}

// --- Rotator --------------------------------------------------------------------------------

std::int64_t MainConsole::wrapLimitSteps() const {
    return std::int64_t(ctx_.settings().dornaLimit) * StepsPerDegree;
}

bool MainConsole::setWrapLimitDeg(int degrees) {
    if (degrees < 0 || degrees > WrapLimitMaxDeg)
        return false;
    ctx_.settings().dornaLimit = degrees;
    // Saved where the rotator driver saves it; the settings key is never created for this.
    writeSetting(ctx_.store(), QStringLiteral("DornaLimit"), int(SettingsStore::Type::Dword),
                 degrees, SettingsKeyUse::OnlyIfPresent);
    updateWrapLimitText();
    flush();
    return true;
}

void MainConsole::updateWrapLimitText() {
    setText(readings_.wrapLimit, QStringLiteral("of \u00b1%1").arg(ctx_.settings().dornaLimit),
            dirty_);
}

void MainConsole::rotatorGoto() {
    if (!requirePort())
        return;
    if (!skipConfirmation_ && !confirm(QStringLiteral("Confirm slew?")))
        return;
    skipConfirmation_ = false;
    if (!readings_.rotatorHomed) {
        sendCommand(wire::command(Cmd::RotatorHomedQuery));
        rotatorGotoRetry_ = true;
        retryTimer_.start();
        return;
    }
    const auto target = wire::toNumber(rotatorGotoText_.trimmed().toStdString());
    if (!target) {
        ctx_.prompt().beep();
        return;
    }
    const auto move = planRotatorGoto({*target, rotatorOffsetDeg_, rotatorPosition_, wrap_,
                                       ctx_.settings().dornaLimit, ctx_.settings().autoReverse});
    if (!move) {
        inform(kPastWrapLimit, kMivel, Prompt::Icon::Warning);
        return;
    }
    rearmWrapGuard();
    sendCommand(wire::command(Cmd::RotatorMove, *move));
}

void MainConsole::rotatorHome() {
    if (!requirePort())
        return;
    const QString question =
        skyLinked_ ? QStringLiteral("Warning:  Homing while connected to TheSky will cause loss of "
                                    "TheSky/Dorna synchronization.  Do you want to continue?")
                   : QStringLiteral("Confirm Rotate HOME");
    if (!confirm(question))
        return;
    sendCommand(wire::command(Cmd::RotatorHome));
}

void MainConsole::rotatorStop() {
    if (!requirePort())
        return;
    stopJog();
    sendCommand(wire::command(Cmd::RotatorStep, 0));
}

void MainConsole::recordRotator() {
    if (!requirePort())
        return;
    sendCommand(wire::command(Cmd::RecordRotator, Lead::Space));
}

void MainConsole::setRecallRotator(bool on) {
    setValue(readings_.recallRotator, on, dirty_);
    flush();
    if (!requirePort())
        return;
    watchdog_.set(Flag::RecallRotator);
    armRetryTimer();
    sendCommand(wire::command(Cmd::RecallRotator, on ? 1 : 0, Lead::Space));
}

void MainConsole::wrapZero() {
    if (!requirePort() || !confirm(QStringLiteral("Initialize wrap to current Dorna position?")))
        return;
    sendCommand(wire::command(Cmd::WrapZero, Lead::Space));
}

void MainConsole::unwrap() {
    if (!requirePort())
        return;
    const int choice = dialogs_->chooseUnwrap();
    ctx_.shared().unwrapChoice = std::int16_t(choice);
    if (choice == 1) {
        // A full turn against the wrap; below half a turn that only winds the other way.
        if (std::abs(wrap_) <= StepsPerTurn / 2 &&
            !confirm(QStringLiteral("The current wrap is less than 180 degrees.  Unwrapping by 360 "
                                    "degrees will result in a greater wrap.  Do you wish to "
                                    "continue?")))
            return;
        rearmWrapGuard();
        sendCommand(wire::command(Cmd::RotatorMove, wrap_ >= 0 ? -StepsPerTurn : StepsPerTurn,
                                  Lead::Space));
    } else if (choice == 2) {
        rearmWrapGuard();
        sendCommand(wire::command(Cmd::RotatorMove, -std::int64_t(wrap_), Lead::Space));
    }
}

// --- Jog (Timer1) ---------------------------------------------------------------------------

void MainConsole::jogPress(JogAxis axis, int direction) {
    stopJog();
    if (!requirePort())
        return;
    jog_ = Jog{axis, direction < 0 ? -1 : 1, true, false, std::nullopt};
    jogTimer_.start(JogFirstDelayMs);
    jogOnce();
}

void MainConsole::jogRelease() {
    // A click whose one step still waits for a fresh wrap reading keeps that step.
    if (jog_ && jog_->held && !jog_->stepSent) {
        jog_->held = false;
        return;
    }
    stopJog();
}

void MainConsole::stopJog() {
    jogTimer_.stop();
    jog_.reset();
}

bool MainConsole::wrapFresh() const {
    return wrapReadAtMs_ && ctx_.clock().nowMs() - *wrapReadAtMs_ <= WrapFreshMs;
}

void MainConsole::onJogTick() {
    if (!jog_ || !portOpen()) {
        stopJog();
        return;
    }
    if (jog_->stepSent && jogTimer_.interval() != JogRepeatMs)
        jogTimer_.start(JogRepeatMs);
    jogOnce();
}

void MainConsole::jogOnce() {
    Jog& jog = *jog_;
    QByteArray command;
    if (jog.axis == JogAxis::Focus) {
        // The unit owns the focus while it compensates; a held jog stops when that begins.
        if (const auto refusal = tempcomp::focusMoveRefusal(
                ctx_.shared().tempComp, tempcomp::FocusMoveSource::ConsoleMove)) {
            stopJog();
            inform(*refusal, kMivel, Prompt::Icon::Information);
            return;
        }
        command = wire::command(Cmd::FocusStep, std::int64_t(jog.direction) * focusJogStep());
    } else {
        const auto degrees = wire::toNumber(rotatorJogText_.trimmed().toStdString());
        if (!degrees) {
            stopJog();
            inform(kJogStepNotNumber, kMivel, Prompt::Icon::Warning);
            return;
        }
        const std::int64_t steps =
            jog.direction * std::int64_t(std::floor(std::min(std::fabs(*degrees), 360.0) * 200));
        if (!wrapFresh()) {
            // Never a step on an old wrap: wait for the poll's answer, and give up when the unit
            // does not report its wrap at all.
            const qint64 now = ctx_.clock().nowMs();
            if (!jog.waitingSince) {
                jog.waitingSince = now;
                send(wire::command(Cmd::RotatorStatus, Lead::Space));
                jogTimer_.start(JogRepeatMs);
            } else if (now - *jog.waitingSince > RetryMs) {
                stopJog();
            }
            return;
        }
        jog.waitingSince.reset();
        if (!jogKeepsWrapInLimit(wrap_, steps, ctx_.settings().dornaLimit)) {
            stopJog();
            inform(kPastWrapLimit, kMivel, Prompt::Icon::Warning);
            return;
        }
        rearmWrapGuard();
        command = wire::command(Cmd::RotatorMove, steps);
    }
    // Jog steps do not hold the poll back: the readings keep coming while a button is held.
    send(command);
    const bool first = !std::exchange(jog.stepSent, true);
    if (!jog.held)
        stopJog();
    else if (first && jogTimer_.interval() != JogFirstDelayMs)
        jogTimer_.start(JogFirstDelayMs); // the repeat starts a moment after the first step
}

// --- Fan, heater and dew --------------------------------------------------------------------

void MainConsole::beginEdit(Flag flag) {
    watchdog_.set(flag);
    armRetryTimer();
}

void MainConsole::sendUserValue(Flag flag, int& field, int value, const QByteArray& command) {
    setValue(field, value, dirty_);
    flush();
    if (!requirePort())
        return;
    watchdog_.set(flag);
    armRetryTimer();
    sendCommand(command);
}

void MainConsole::setFanMode(int mode) {
    const QByteArray command = mode == 1
                                   ? wire::command(Cmd::FanMode, 1)
                                   : wire::command(Cmd::FanPower, readings_.fanPower, Lead::Space);
    sendUserValue(Flag::FanMode, readings_.fanMode, mode, command);
}

void MainConsole::setFanPower(int percent) {
    sendUserValue(Flag::FanPower, readings_.fanPower, percent,
                  wire::command(Cmd::FanPower, percent, Lead::Space));
}

void MainConsole::setFanGain(int gain) {
    sendUserValue(Flag::FanGain, readings_.fanGain, gain,
                  wire::command(Cmd::FanGain, gain, Lead::Space));
}

void MainConsole::setFanDeadBand(int value) {
    sendUserValue(Flag::FanDeadBand, readings_.fanDeadBand, value,
                  wire::command(Cmd::FanDeadBand, value, Lead::Space));
}

void MainConsole::setHeaterMode(int mode) {
    const QByteArray command =
        mode == 1 ? wire::command(Cmd::HeaterMode, 1)
                  : wire::command(Cmd::HeaterPower, readings_.heaterPower, Lead::Space);
    sendUserValue(Flag::HeaterMode, readings_.heaterMode, mode, command);
}

void MainConsole::setHeaterPower(int percent) {
    sendUserValue(Flag::HeaterPower, readings_.heaterPower, percent,
                  wire::command(Cmd::HeaterPower, percent, Lead::Space));
}

void MainConsole::setHeaterSetPoint(int value) {
    sendUserValue(Flag::HeaterSetPoint, readings_.heaterSetPoint, value,
                  wire::command(Cmd::HeaterSetPoint, value, Lead::Space));
}

void MainConsole::setDew1(int percent) {
    sendUserValue(Flag::Dew1Power, readings_.dew1, percent,
                  wire::command(Cmd::Dew1Power, percent, Lead::Space));
}

void MainConsole::setDew2(int percent) {
    sendUserValue(Flag::Dew2Power, readings_.dew2, percent,
                  wire::command(Cmd::Dew2Power, percent, Lead::Space));
}

void MainConsole::setLimits(int value) {
    if (!requirePort())
        return;
    sendCommand(wire::command(Cmd::Limits, value, Lead::Space));
}

// --- Replies (Handle_Received) --------------------------------------------------------------

void MainConsole::handleReceived(std::string_view chunk) {
    watchdog_.onChunk();
    tokeniser_.feed(
        chunk, [this](std::string_view tag, std::string_view value) { handleValue(tag, value); });
    flush();
    // Alerts wait until the chunk is parsed: a message box lets further chunks in meanwhile.
    while (!pendingAlerts_.empty()) {
        const QString text = pendingAlerts_.front();
        pendingAlerts_.pop_front();
        inform(text, kMivel, Prompt::Icon::Warning);
    }
}

void MainConsole::handleValue(std::string_view tag, std::string_view value) {
    const wire::TagInfo* info = wire::findTag(tag);
    if (!info)
        return;
    switch (info->kind) {
    case wire::ValueKind::Any:
        if (info->tag == Tag::Probe)
            probeAnswered_ = true;
        return;
    case wire::ValueKind::Char:
        if (!value.empty())
            emit loaderStatus(int(static_cast<unsigned char>(value.front())));
        return;
    case wire::ValueKind::Text:
        if (value.empty())
            return;
        if (info->tag == Tag::Diagnostic)
            onDiagnostic(value);
        else if (info->tag == Tag::Version)
            ctx_.shared().versionText = QString::fromLatin1(value.data(), qsizetype(value.size()));
        return;
    case wire::ValueKind::Number:
        // The compensation replies go to the shared state the way every holder applies them.
        if (tempcomp::applyTempCompReply(ctx_.shared().tempComp, info->tag, value))
            showTempComp(info->tag);
        else if (const auto number = wire::toNumber(value))
            applyNumber(info->tag, *number);
        return;
    }
}

void MainConsole::applyGuarded(Flag flag, int& field, int value) {
    if (!watchdog_.isSet(flag))
        setValue(field, value, dirty_);
}

void MainConsole::applyNumber(Tag tag, double value) {
    SharedValues& shared = ctx_.shared();
    const int whole = wire::roundToInt<int>(value).value_or(0);
    const QString text = wire::displayText(tag, value);
    switch (tag) {
    case Tag::FocusTarget:
        setText(readings_.focusTarget, text, dirty_);
        break;
    case Tag::FocusActual:
        focusPosition_ = wire::roundToInt<std::int32_t>(value).value_or(focusPosition_);
        setText(readings_.focusActual, text, dirty_);
        updateSpacing();
        break;
    case Tag::FocusHomed:
        setValue(readings_.focusHomed, value == 1, dirty_);
        updateSpacing();
        break;
    case Tag::MotorCurrent:
        setText(readings_.motorCurrent, text, dirty_);
        break;
    case Tag::MotorOn:
        setText(readings_.motorState, value == 0 ? QStringLiteral("OFF") : QStringLiteral("ON"),
                dirty_);
        break;
    case Tag::ForceMotorOff:
        shared.pendingU0 = value != 0;
        if (!watchdog_.isSet(Flag::ForceMotorOff))
            setValue(readings_.forceMotorOff, value != 0, dirty_);
        break;
    case Tag::FocusError:
        onFocusError(whole);
        break;
    case Tag::Ambient:
        shared.ambientTemp = wire::displayValue(tag, value);
        setText(readings_.ambient, text, dirty_);
        break;
    case Tag::Primary:
        shared.primaryTemp = wire::displayValue(tag, value);
        setText(readings_.primary, text, dirty_);
        break;
    case Tag::Secondary:
        shared.secondaryTemp = wire::displayValue(tag, value);
        setText(readings_.secondary, text, dirty_);
        break;
    case Tag::Electronics:
        setText(readings_.electronicsStatus, QStringLiteral("Mivel Temp ") + text, dirty_);
        break;
    case Tag::FanMode:
        applyGuarded(Flag::FanMode, readings_.fanMode, whole);
        break;
    case Tag::FanPower:
        applyGuarded(Flag::FanPower, readings_.fanPower, std::min(whole, 100));
        break;
    case Tag::FanGain:
        applyGuarded(Flag::FanGain, readings_.fanGain, whole);
        break;
    case Tag::FanDeadBand:
        applyGuarded(Flag::FanDeadBand, readings_.fanDeadBand, whole);
        break;
    case Tag::HeaterMode:
        applyGuarded(Flag::HeaterMode, readings_.heaterMode, whole);
        break;
    case Tag::HeaterPower:
        applyGuarded(Flag::HeaterPower, readings_.heaterPower, whole);
        break;
    case Tag::HeaterSetPoint:
        applyGuarded(Flag::HeaterSetPoint, readings_.heaterSetPoint, whole);
        break;
    case Tag::Dew1Power:
        applyGuarded(Flag::Dew1Power, readings_.dew1, whole);
        break;
    case Tag::Dew2Power:
        applyGuarded(Flag::Dew2Power, readings_.dew2, whole);
        break;
    case Tag::RotatorTarget:
        rotatorTarget_ = wire::roundToInt<std::int32_t>(value).value_or(rotatorTarget_);
        setText(readings_.rotatorTarget, text, dirty_);
        break;
    case Tag::RotatorActual:
        rotatorPosition_ = wire::roundToInt<std::int32_t>(value).value_or(rotatorPosition_);
        setText(readings_.rotatorActual, text, dirty_);
        break;
    case Tag::Wrap:
        if (const auto wrap = wire::roundToInt<std::int32_t>(value))
            onWrap(*wrap);
        break;
    case Tag::RotatorHomed:
        setRotatorHomed(value != 0);
        break;
    case Tag::FocusRecord:
        onFocusRecord(value);
        break;
    case Tag::RotatorRecord:
    case Tag::ImageRotatorRecord:
        onRotatorRecord(value);
        break;
    default:
        break; // shown by the calibration window, or not the console's
    }
}

void MainConsole::onFocusError(int code) {
    if (lastFocusError_ == code)
        return;
    // Remembered for 15 seconds, so a fault that persists is reported again after that.
    lastFocusError_ = code;
    errorMemoryTimer_.start();
    if (!leadConsole() || ctx_.settings().errorMessage == 0 || code < 1 ||
        code > int(kFocusErrors.size()))
        return;
    pendingAlerts_.push_back(kFocusErrors[std::size_t(code - 1)]);
}

void MainConsole::setRotatorHomed(bool homed) {
    setValue(readings_.rotatorHomed, homed, dirty_);
    setText(readings_.rotatorHomedText,
            homed ? QStringLiteral("HOMED") : QStringLiteral("NOT HOMED"), dirty_);
}

void MainConsole::onWrap(std::int32_t wrap) {
    wrap_ = wrap;
    wrapReadAtMs_ = ctx_.clock().nowMs();
    ctx_.shared().wrapCounter = wrap;
    setText(readings_.wrap, wire::displayText(Tag::Wrap, wrap), dirty_);
    const std::int64_t limit = wrapLimitSteps();
    if (previousWrap_ && !wrapStopSent_ && leadConsole()) {
        const bool outward =
            (wrap > *previousWrap_ && wrap > limit) || (wrap < *previousWrap_ && wrap < -limit);
        if (outward) {
            send(wire::command(Cmd::RotatorStep, 0));
            wrapStopSent_ = true;
            dialogs_->showWrapWarning(kWrapStopped);
            retryTimer_.start();
        }
    } else if (wrapStopSent_ && std::abs(std::int64_t(wrap)) <= limit) {
        rearmWrapGuard(); // back inside the limit
    }
    previousWrap_ = wrap;
}

void MainConsole::onFocusRecord(double value) {
    const bool odd = wire::isOddFlag(value);
    if (odd)
        setValue(readings_.focusHomed, true, dirty_);
    ctx_.shared().focusRecordState = std::int16_t(odd ? (value >= 8 ? 8 : 4) : 0);
    if (!watchdog_.isSet(Flag::RecallFocus))
        setValue(readings_.recallFocus, odd, dirty_);
    setText(readings_.focusRecordCaption,
            value >= 8 ? QStringLiteral("RECORDED") : QStringLiteral("RECORD"), dirty_);
    updateSpacing();
}

void MainConsole::onRotatorRecord(double value) {
    const bool odd = wire::isOddFlag(value);
    if (odd)
        setRotatorHomed(true);
    ctx_.shared().rotatorRecordState = std::int16_t(odd ? (value >= 8 ? 8 : 4) : 0);
    if (!watchdog_.isSet(Flag::RecallRotator))
        setValue(readings_.recallRotator, odd, dirty_);
    setText(readings_.rotatorRecordCaption,
            value >= 8 ? QStringLiteral("RECORDED") : QStringLiteral("RECORD"), dirty_);
}

void MainConsole::showTempComp(Tag tag) {
    const TempCompState& comp = ctx_.shared().tempComp;
    if (tag == Tag::TempCompMode) {
        const tempcomp::TempCompButtons buttons = tempcomp::tempCompButtons(comp.mode);
        setText(readings_.tempCompCaption, buttons.caption, dirty_);
        setValue(readings_.synchEnabled, buttons.synchEnabled, dirty_);
    } else if (comp.sensorRawReceived &&
               (tag == Tag::CompSensorRaw || tag == Tag::Slope1 || tag == Tag::Offset1)) {
        setText(readings_.ambientStatus,
                QStringLiteral("Amb Temp ") + formatNumber(comp.sensorTemp, "0.0 F"), dirty_);
    }
}

void MainConsole::onDiagnostic(std::string_view value) {
    if (role_ != Role::Main)
        return;
    if (diagnostic_)
        diagnostic_->add(value);
    if (value == "*") {
        readings_.lastDiagnosticRecord = std::exchange(readings_.diagnosticItems, {});
        changed();
    } else if (const auto number = wire::toNumber(value)) {
        readings_.diagnosticItems << QString::number(*number, 'g', 15);
        changed();
    }
}

} // namespace mivel::console
