#pragma once

#include "app/AppContext.h"
#include "core/Clock.h"
#include "link/LinkHub.h"

#include <QByteArray>
#include <QObject>
#include <QPointer>

#include <functional>

namespace mivel::console {

// The console's timer intervals.
namespace timing {
inline constexpr qint64 JogRepeatMs = 30;      // Timer1
inline constexpr qint64 JogFirstDelayMs = 300; // before the first repeat
inline constexpr qint64 CommandSentMs = 100;   // Timer2
inline constexpr qint64 RetryMs = 2000;        // Timer3
inline constexpr qint64 PollMs = 250;          // Timer4
inline constexpr qint64 ErrorMemoryMs = 15000; // Timer5
inline constexpr qint64 LinkCheckMs = 1000;    // Timer6
inline constexpr int LinkCheckRetries = 3;
// The oldest wrap reading a rotator jog step may be checked against: the reply to the latest
// poll, or to the one before it while the latest is still on its way.
inline constexpr qint64 WrapFreshMs = 2 * PollMs;
} // namespace timing

// The tabs of a console, in the order of its tab control.
enum class ConsoleTab { Focus = 0, Temperatures = 1, Rotator = 2, Diagnostic = 3 };

// Whether the data log and the temperature graph run, and their periods: the temperature poll
// gives way to them when they ask the unit less often than the console would.
struct ThermalReaders {
    bool logRunning = false;
    double logIntervalS = 0;
    bool graphRunning = false;
    double graphPeriodS = 0;
};

// A console's hold on the shared port: connecting and the link check that follows (Timer6),
// sending, and the poll of the shown tab (Timer4) that a command just sent delays (Timer2).
// The link state is the shared port's, so no window can disagree with it.
class ConsoleLink : public QObject {
    Q_OBJECT
public:
    // rotatorJogging: whether a rotator jog is held, which keeps the wrap reading fresh.
    ConsoleLink(AppContext& ctx, std::function<bool()> rotatorJogging);

    Serial& serial() const { return connector_.serial(); }
    bool portOpen() const;
    void send(const QByteArray& command);
    void sendCommand(const QByteArray& command); // a user command: the next poll gives way

    void connectLink();
    void disconnectLink();
    void showComPort();
    void onPortClosed() { linkCheckTimer_.stop(); }
    void onProbeAnswered() { probeAnswered_ = true; }
    int linkRetries() const { return linkRetries_; }
    bool probeAnswered() const { return probeAnswered_; }

    ConsoleTab tab() const { return tab_; }
    void setTab(ConsoleTab tab) { tab_ = tab; } // the next tick asks for the new tab's values
    QByteArray pollCommand() const;
    void setThermalReaders(std::function<ThermalReaders()> readers);
    void setPeer(const ConsoleLink* peer) { peer_ = peer; }
    bool hasPeer() const { return bool(peer_); }

    void startCommandSentTimer() { commandSentTimer_.start(); }
    void startPolling() { pollTimer_.start(); }

private:
    void onPollTick();
    void onLinkCheck();
    void inform(const QString& text, const QString& title, Prompt::Icon icon);

    AppContext& ctx_;
    Connector connector_;
    std::function<bool()> rotatorJogging_;
    std::function<ThermalReaders()> thermalReaders_;
    QPointer<const ConsoleLink> peer_; // cleared when that console goes

    Timer commandSentTimer_; // Timer2
    Timer pollTimer_;        // Timer4
    Timer linkCheckTimer_;   // Timer6

    ConsoleTab tab_ = ConsoleTab::Focus;
    int linkRetries_ = 0;
    bool probeAnswered_ = false;
    bool commandSent_ = false;
    bool pollGaveWay_ = false; // the last tick gave way to a command: the next one polls
};

} // namespace mivel::console
