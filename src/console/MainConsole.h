#pragma once

#include "ConsoleDialogs.h"
#include "DiagnosticFile.h"
#include "Readings.h"

#include "app/AppContext.h"
#include "console/ReplyWatchdog.h"
#include "core/Clock.h"
#include "link/LinkHub.h"
#include "wire/Commands.h"
#include "wire/Replies.h"
#include "wire/Tokeniser.h"

#include <QObject>
#include <QPointer>

#include <array>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <span>

namespace mivel::console {

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

// The logic of a console window: the link to the unit, its polling and link check, the live
// readings, the alerts and every command the console's controls send. Windows are thin views
// over it; tests drive it without a display.
//
// The main console (frmMain) and the mini console (frmConsole) run the same logic; only the
// main one sends the start sequence and writes the diagnostic file.
class MainConsole : public QObject {
    Q_OBJECT
public:
    enum class Role { Main, Mini };
    using Flag = ReplyWatchdog::Flag;

    // Timer intervals of the console.
    static constexpr qint64 JogRepeatMs = 30;      // Timer1
    static constexpr qint64 JogFirstDelayMs = 300; // before the first repeat
    static constexpr qint64 CommandSentMs = 100;   // Timer2
    static constexpr qint64 RetryMs = 2000;        // Timer3
    static constexpr qint64 PollMs = 250;          // Timer4
    static constexpr qint64 ErrorMemoryMs = 15000; // Timer5
    static constexpr qint64 LinkCheckMs = 1000;    // Timer6
    static constexpr int LinkCheckRetries = 3;
    // The oldest wrap reading a rotator jog step may be checked against: the reply to the latest
    // poll, or to the one before it while the latest is still on its way.
    static constexpr qint64 WrapFreshMs = 2 * PollMs;
    static constexpr int WrapLimitMaxDeg = 2000;

    explicit MainConsole(AppContext& ctx, Role role = Role::Main, QObject* parent = nullptr);
    ~MainConsole() override;

    Role role() const { return role_; }
    const Readings& readings() const { return readings_; }
    AppContext& context() const { return ctx_; }
    void setDialogs(ConsoleDialogs* dialogs);
    ConsoleDialogs& dialogs() const { return *dialogs_; }

    // --- Link ------------------------------------------------------------------------------
    // The link state is the shared port's: every window reads it from there and follows its
    // connectedChanged signal (through linkStateChanged), so no window can disagree with it.
    bool portOpen() const;
    bool connectEnabled() const { return !portOpen(); }
    bool disconnectEnabled() const { return portOpen(); }
    int linkRetries() const { return linkRetries_; }
    bool probeAnswered() const { return probeAnswered_; }
    void connectLink();    // mnuConnect, "DialPhoneNumber"
    void disconnectLink(); // mnuDisconnect, "HangUpPhone"
    void showComPort();    // "The current com port is: "

    // --- Polling ---------------------------------------------------------------------------
    ConsoleTab tab() const { return tab_; }
    void setTab(ConsoleTab tab);
    // What the next poll tick sends on the shown tab; empty when it sends nothing.
    QByteArray pollCommand() const;
    void setThermalReaders(std::function<ThermalReaders()> readers);
    // Another console whose poll this one need not repeat (the mini console beside the main).
    void setPeer(const MainConsole* peer) { peer_ = peer; }
    // The console that raises alerts and guards the wrap: the main one, or the mini console
    // when it is alone.
    bool leadConsole() const { return role_ == Role::Main || !peer_; }

    // --- Focus -----------------------------------------------------------------------------
    void setFocusGotoText(const QString& text) { focusGotoText_ = text; }
    QString focusGotoText() const { return focusGotoText_; }
    void focusGoto();               // cmdGoto
    void focusHome();               // cmdHome
    void focusStop();               // cmdStopFocus
    void recordFocus();             // cmdRecordFocus
    void setRecallFocus(bool on);   // chkRecallFocus
    void setForceMotorOff(bool on); // Check1
    void setMirrorSpacing();        // cmdSetMirrorSpacing
    int spacingUnit() const { return spacingUnit_; }
    void setSpacingUnit(int unit); // 0: 0.025 per count; 1: the focus scale factor
    void synchTempComp();          // cmdSynchTempComp
    void openTempComp();           // cmdTempComp
    bool tempCompAvailable() const { return dialogs_->tempCompDialogAvailable(); }
    static std::span<const int> focusJogSteps();
    int focusJogStep() const; // counts, from the FocusStep setting
    void setFocusJogStepIndex(int index);

    // --- Rotator ---------------------------------------------------------------------------
    void setRotatorGotoText(const QString& text) { rotatorGotoText_ = text; }
    QString rotatorGotoText() const { return rotatorGotoText_; }
    void setRotatorJogText(const QString& text) { rotatorJogText_ = text; }
    QString rotatorJogText() const { return rotatorJogText_; }
    void rotatorGoto();   // cmdRotGOTO
    void rotatorHome();   // cmdRotHome
    void rotatorStop();   // cmdStopRot
    void recordRotator(); // cmdRecordRotator
    void setRecallRotator(bool on);
    void wrapZero(); // cmdWrapZero
    void unwrap();   // cmdUnwrap
    bool skyLinked() const { return skyLinked_; }
    void setSkyLinked(bool on) { skyLinked_ = on; } // chkConnectTheSky
    double rotatorOffsetDeg() const { return rotatorOffsetDeg_; }
    void setRotatorOffsetDeg(double deg) { rotatorOffsetDeg_ = deg; }
    std::int32_t rotatorPosition() const { return rotatorPosition_; }
    std::int32_t rotatorTargetSteps() const { return rotatorTarget_; }
    std::int32_t wrapSteps() const { return wrap_; }
    bool wrapStopSent() const { return wrapStopSent_; }
    // DornaLimit in degrees, shared with the rotator driver; 0 to 2000 are accepted and saved.
    int wrapLimitDeg() const { return ctx_.settings().dornaLimit; }
    bool setWrapLimitDeg(int degrees);

    // --- Jog (Timer1) ----------------------------------------------------------------------
    enum class JogAxis { Focus, Rotator };
    void jogPress(JogAxis axis, int direction); // direction +1 or -1
    void jogRelease();
    void stopJog(); // at once, a click's step still waiting included
    bool jogging() const { return jog_.has_value(); }

    // --- Fan, heater and dew ---------------------------------------------------------------
    // The user started changing a value: replies stay off its control until the retry timer.
    void beginEdit(Flag flag);
    void setFanMode(int mode); // 1 automatic, else manual
    void setFanPower(int percent);
    void setFanGain(int gain);
    void setFanDeadBand(int value);
    void setHeaterMode(int mode); // 1 automatic, else manual
    void setHeaterPower(int percent);
    void setHeaterSetPoint(int value);
    void setDew1(int percent);
    void setDew2(int percent);
    void setLimits(int value); // the diagnostic tab's limits spinner
    const ReplyWatchdog& watchdog() const { return watchdog_; }

    // --- Reply handling --------------------------------------------------------------------
    // Handle_Received: one received chunk.
    void handleReceived(std::string_view chunk);
    QString diagnosticPath() const { return diagnostic_ ? diagnostic_->path() : QString(); }
    static QString diagnosticFileName() { return QStringLiteral("debug.txt"); }

signals:
    // The readings changed; emitted at most once per received chunk or command.
    void readingsChanged();
    // The shared port opened or closed (whoever did it).
    void linkStateChanged();
    // The unit's firmware loader reported a status character (:x).
    void loaderStatus(int code);

private:
    void send(const QByteArray& command);
    void sendCommand(const QByteArray& command); // a user command: marks the command-sent flag
    bool requirePort();
    bool confirm(const QString& text);
    void inform(const QString& text, const QString& title, Prompt::Icon icon);
    void changed() { dirty_ = true; }
    void armRetryTimer();
    void flush();
    void onPortChanged(bool open);

    void onPollTick();
    void onLinkCheck();
    void onRetry();
    void onJogTick();
    void jogOnce();
    bool wrapFresh() const;

    void handleValue(std::string_view tag, std::string_view value);
    void applyNumber(wire::Tag tag, double value);
    void applyGuarded(Flag flag, int& field, int value);
    void onFocusError(int code);
    void onWrap(std::int32_t wrap);
    void setRotatorHomed(bool homed);
    void onFocusRecord(double value);
    void onRotatorRecord(double value);
    void showTempComp(wire::Tag tag);
    void onDiagnostic(std::string_view value);
    void updateSpacing();
    void updateWrapLimitText();
    void rearmWrapGuard() { wrapStopSent_ = false; }
    void sendUserValue(Flag flag, int& field, int value, const QByteArray& command);
    std::int64_t wrapLimitSteps() const;

    AppContext& ctx_;
    Role role_;
    Connector connector_;
    LinkHub::Subscription subscription_;
    wire::Tokeniser tokeniser_;
    ReplyWatchdog watchdog_;
    Readings readings_;
    ConsoleDialogs defaultDialogs_;
    ConsoleDialogs* dialogs_ = &defaultDialogs_;
    std::unique_ptr<DiagnosticFile> diagnostic_;
    std::function<ThermalReaders()> thermalReaders_;
    QPointer<const MainConsole> peer_; // cleared when that console goes
    bool dirty_ = false;

    Timer jogTimer_;         // Timer1
    Timer commandSentTimer_; // Timer2
    Timer retryTimer_;       // Timer3
    Timer pollTimer_;        // Timer4
    Timer errorMemoryTimer_; // Timer5
    Timer linkCheckTimer_;   // Timer6

    ConsoleTab tab_ = ConsoleTab::Focus;
    int linkRetries_ = 0;
    bool probeAnswered_ = false;
    bool commandSent_ = false;
    bool pollGaveWay_ = false; // the last tick gave way to a command: the next one polls

    bool focusGotoRetry_ = false;
    bool rotatorGotoRetry_ = false;
    bool skipConfirmation_ = false;
    std::optional<int> lastFocusError_;
    std::deque<QString> pendingAlerts_;

    std::int32_t focusPosition_ = 0;
    std::int32_t idealSpacingPosition_ = 0;
    int spacingUnit_ = 0;
    std::int32_t rotatorTarget_ = 0;
    std::int32_t rotatorPosition_ = 0;
    std::int32_t wrap_ = 0;
    std::optional<std::int32_t> previousWrap_;
    std::optional<qint64> wrapReadAtMs_; // when the latest :wr arrived
    bool wrapStopSent_ = false;
    bool skyLinked_ = false;
    double rotatorOffsetDeg_ = 0;

    QString focusGotoText_;
    QString rotatorGotoText_;
    QString rotatorJogText_ = QStringLiteral("1");
    struct Jog {
        JogAxis axis;
        int direction;
        bool held = true;                   // the button is still down
        bool stepSent = false;              // the press's own step has gone
        std::optional<qint64> waitingSince; // waiting for a fresh wrap reading since then
    };
    std::optional<Jog> jog_;
};

} // namespace mivel::console
