#include "ConsoleLink.h"

#include "ConsoleTexts.h"

#include "wire/Commands.h"

namespace mivel::console {

using wire::Cmd;
using wire::Lead;

namespace {
using texts::kVark;
const QString kNoAnswer = QStringLiteral("Warning:  Unable to communicate with controller.");
} // namespace

ConsoleLink::ConsoleLink(AppContext& ctx, std::function<bool()> rotatorJogging)
    : ctx_(ctx)
    , connector_(ctx.hub())
    , rotatorJogging_(std::move(rotatorJogging))
    , commandSentTimer_(ctx.clock())
    , pollTimer_(ctx.clock())
    , linkCheckTimer_(ctx.clock()) {
    commandSentTimer_.setSingleShot(true);
    commandSentTimer_.setInterval(timing::CommandSentMs);
    connect(&commandSentTimer_, &Timer::timeout, this, [this] { commandSent_ = false; });
    pollTimer_.setInterval(timing::PollMs);
    connect(&pollTimer_, &Timer::timeout, this, &ConsoleLink::onPollTick);
    linkCheckTimer_.setSingleShot(true);
    linkCheckTimer_.setInterval(timing::LinkCheckMs);
    connect(&linkCheckTimer_, &Timer::timeout, this, &ConsoleLink::onLinkCheck);
}

bool ConsoleLink::portOpen() const {
    return connector_.serial().connected();
}

void ConsoleLink::send(const QByteArray& command) {
    connector_.serial().transmit(command);
}

void ConsoleLink::sendCommand(const QByteArray& command) {
    send(command);
    // The next poll tick gives way to a command just sent (one tick at most, see onPollTick).
    commandSent_ = true;
    commandSentTimer_.start();
}

void ConsoleLink::inform(const QString& text, const QString& title, Prompt::Icon icon) {
    ctx_.prompt().inform(text, title, icon);
}

// --- Link -----------------------------------------------------------------------------------

void ConsoleLink::connectLink() {
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

void ConsoleLink::disconnectLink() {
    Serial& serial = connector_.serial();
    if (serial.connected())
        serial.setConnected(false);
    linkCheckTimer_.stop();
}

void ConsoleLink::onLinkCheck() {
    if (probeAnswered_) {
        send(wire::command(Cmd::Version, Lead::Space));
        send(wire::command(Cmd::TempCompParams, Lead::Space));
        return;
    }
    if (linkRetries_ < timing::LinkCheckRetries) {
        ++linkRetries_;
        send(wire::command(Cmd::Probe, Lead::Space));
        linkCheckTimer_.start();
        return;
    }
    inform(kNoAnswer, MessageTitle, Prompt::Icon::Warning);
    connector_.serial().setConnected(false); // the controls follow the port
    linkRetries_ = 0;
}

void ConsoleLink::showComPort() {
    const Serial& serial = connector_.serial();
    QString text = QStringLiteral("The current com port is: ") + QString::number(serial.port());
    if (!serial.devicePath().isEmpty())
        text += QStringLiteral(" (") + serial.devicePath() + QLatin1Char(')');
    inform(text, MessageTitle, Prompt::Icon::Information);
}

// --- Polling --------------------------------------------------------------------------------

void ConsoleLink::setThermalReaders(std::function<ThermalReaders()> readers) {
    thermalReaders_ = std::move(readers);
}

QByteArray ConsoleLink::pollCommand() const {
    // A held rotator jog checks every step against the wrap, so the poll keeps it fresh.
    if (rotatorJogging_ && rotatorJogging_())
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
    const double pollPeriodS = timing::PollMs / 1000.0;
    const bool ask = (!r.logRunning && !r.graphRunning) ||
                     (r.logRunning ? pollPeriodS < r.logIntervalS
                                   : r.graphRunning && pollPeriodS < r.graphPeriodS);
    return ask ? wire::command(Cmd::Temperatures, Lead::Space) : QByteArray();
}

void ConsoleLink::onPollTick() {
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

} // namespace mivel::console
