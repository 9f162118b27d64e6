#pragma once

#include "ConsoleCore.h"
#include "ConsoleJog.h"
#include "ConsoleLink.h"
#include "ConsoleReplies.h"
#include "FocusCommands.h"
#include "GuardedControls.h"
#include "RotatorCommands.h"
#include "StoredRecall.h"

#include <QObject>

#include <functional>
#include <span>

namespace mivel::console {

// The logic of a console window, as the windows and the tests see it: the link and its polling
// (ConsoleLink), the focus and rotator commands, the jog buttons, the values set from the
// temperatures tab and the recall boxes (GuardedControls over the control table), and the replies
// that fill the readings (ConsoleReplies). Windows are thin views over it; tests drive it without
// a display.
//
// The main console (frmMain) and the mini console (frmConsole) run the same logic; only the
// main one sends the start sequence and writes the diagnostic file.
class MainConsole : public QObject {
    Q_OBJECT
public:
    using Role = ConsoleRole;
    using Flag = ReplyWatchdog::Flag;
    using JogAxis = ConsoleJog::Axis;

    static constexpr qint64 JogRepeatMs = timing::JogRepeatMs;
    static constexpr qint64 JogFirstDelayMs = timing::JogFirstDelayMs;
    static constexpr qint64 CommandSentMs = timing::CommandSentMs;
    static constexpr qint64 RetryMs = timing::RetryMs;
    static constexpr qint64 PollMs = timing::PollMs;
    static constexpr qint64 ErrorMemoryMs = timing::ErrorMemoryMs;
    static constexpr qint64 LinkCheckMs = timing::LinkCheckMs;
    static constexpr int LinkCheckRetries = timing::LinkCheckRetries;
    static constexpr qint64 WrapFreshMs = timing::WrapFreshMs;
    static constexpr int WrapLimitMaxDeg = RotatorCommands::WrapLimitMaxDeg;

    explicit MainConsole(AppContext& ctx, Role role = Role::Main, QObject* parent = nullptr);
    ~MainConsole() override;

    Role role() const { return core_.role; }
    const Readings& readings() const { return core_.readings; }
    AppContext& context() const { return core_.ctx; }
    void setDialogs(ConsoleDialogs* dialogs);
    ConsoleDialogs& dialogs() const { return *core_.dialogs; }

    // --- Link and polling ------------------------------------------------------------------
    bool portOpen() const { return core_.link.portOpen(); }
    bool connectEnabled() const { return !portOpen(); }
    bool disconnectEnabled() const { return portOpen(); }
    int linkRetries() const { return core_.link.linkRetries(); }
    bool probeAnswered() const { return core_.link.probeAnswered(); }
    void connectLink() { core_.link.connectLink(); }       // mnuConnect, "DialPhoneNumber"
    void disconnectLink() { core_.link.disconnectLink(); } // mnuDisconnect, "HangUpPhone"
    void showComPort() { core_.link.showComPort(); }       // "The current com port is: "
    ConsoleTab tab() const { return core_.link.tab(); }
    void setTab(ConsoleTab tab) { core_.link.setTab(tab); }
    // What the next poll tick sends on the shown tab; empty when it sends nothing.
    QByteArray pollCommand() const { return core_.link.pollCommand(); }
    void setThermalReaders(std::function<ThermalReaders()> readers);
    // Another console whose poll this one need not repeat (the mini console beside the main).
    void setPeer(const MainConsole* peer);
    bool leadConsole() const { return core_.leadConsole(); }

    // --- Focus -----------------------------------------------------------------------------
    void setFocusGotoText(const QString& text) { focus_.setGotoText(text); }
    QString focusGotoText() const { return focus_.gotoText(); }
    void focusGoto() { focus_.goTo(); }                                        // cmdGoto
    void focusHome() { focus_.home(); }                                        // cmdHome
    void focusStop() { focus_.stop(); }                                        // cmdStopFocus
    void recordFocus() { focus_.record(); }                                    // cmdRecordFocus
    void setRecallFocus(bool on) { controls_.set(Flag::RecallFocus, on); }     // chkRecallFocus
    void setForceMotorOff(bool on) { controls_.set(Flag::ForceMotorOff, on); } // Check1
    void setMirrorSpacing() { focus_.setMirrorSpacing(); } // cmdSetMirrorSpacing
    int spacingUnit() const { return focus_.spacingUnit(); }
    void setSpacingUnit(int unit) { focus_.setSpacingUnit(unit); }
    void synchTempComp() { focus_.synchTempComp(); } // cmdSynchTempComp
    void openTempComp() { focus_.openTempComp(); }   // cmdTempComp
    bool tempCompAvailable() const { return core_.dialogs->tempCompDialogAvailable(); }
    static std::span<const int> focusJogSteps() { return FocusCommands::jogSteps(); }
    int focusJogStep() const { return focus_.focusJogStep(); }
    void setFocusJogStepIndex(int index) { focus_.setJogStepIndex(index); }

    // --- Rotator ---------------------------------------------------------------------------
    void setRotatorGotoText(const QString& text) { rotator_.setGotoText(text); }
    QString rotatorGotoText() const { return rotator_.gotoText(); }
    void setRotatorJogText(const QString& text) { rotator_.setJogText(text); }
    QString rotatorJogText() const { return rotator_.jogText(); }
    void rotatorGoto() { rotator_.goTo(); }     // cmdRotGOTO
    void rotatorHome() { rotator_.home(); }     // cmdRotHome
    void rotatorStop() { rotator_.stop(); }     // cmdStopRot
    void recordRotator() { rotator_.record(); } // cmdRecordRotator
    void setRecallRotator(bool on) { controls_.set(Flag::RecallRotator, on); }
    void wrapZero() { rotator_.wrapZero(); } // cmdWrapZero
    void unwrap() { rotator_.unwrap(); }     // cmdUnwrap
    bool skyLinked() const { return rotator_.skyLinked(); }
    void setSkyLinked(bool on) { rotator_.setSkyLinked(on); } // chkConnectTheSky
    double rotatorOffsetDeg() const { return rotator_.offsetDeg(); }
    void setRotatorOffsetDeg(double deg) { rotator_.setOffsetDeg(deg); }
    std::int32_t rotatorPosition() const { return rotator_.position(); }
    std::int32_t rotatorTargetSteps() const { return rotator_.targetSteps(); }
    std::int32_t wrapSteps() const { return rotator_.wrapSteps(); }
    bool wrapStopSent() const { return rotator_.wrapStopSent(); }
    int wrapLimitDeg() const { return rotator_.wrapLimitDeg(); }
    bool setWrapLimitDeg(int degrees) { return rotator_.setWrapLimitDeg(degrees); }

    // --- Stored positions: the recall boxes and their editors ----------------------------------
    void setStoredPositions(records::StoredPositions* positions) {
        recall_.setPositions(positions);
    }
    records::StoredPositions* storedPositions() const { return recall_.positions(); }
    QStringList recallItems(records::RecordKind kind) const { return recall_.items(kind); }
    // An entry chosen in a recall box: 0 ("<new>") opens the editor, r goes to record r.
    void recall(records::RecordKind kind, int entry) { recall_.recall(kind, entry); }
    void editStoredPositions(records::RecordKind kind) { recall_.edit(kind); }

    // --- Jog (Timer1) ----------------------------------------------------------------------
    void jogPress(JogAxis axis, int direction) { jog_.press(axis, direction); } // +1 or -1
    void jogRelease() { jog_.release(); }
    void stopJog() { jog_.stop(); } // at once, a click's step still waiting included
    bool jogging() const { return jog_.jogging(); }

    // --- Values set from the controls (the control table) -----------------------------------
    // The user started changing a value: replies stay off its control until the retry timer.
    void beginEdit(Flag flag) { controls_.beginEdit(flag); }
    // Sets a row's value from its control: Modes take 1 for automatic, Switches 0 for off.
    void setControl(Flag flag, int value) { controls_.set(flag, value); }
    void setFanMode(int mode) { setControl(Flag::FanMode, mode); } // 1 automatic, else manual
    void setFanPower(int percent) { setControl(Flag::FanPower, percent); }
    void setFanGain(int gain) { setControl(Flag::FanGain, gain); }
    void setFanDeadBand(int value) { setControl(Flag::FanDeadBand, value); }
    void setHeaterMode(int mode) { setControl(Flag::HeaterMode, mode); } // 1 automatic
    void setHeaterPower(int percent) { setControl(Flag::HeaterPower, percent); }
    void setHeaterSetPoint(int value) { setControl(Flag::HeaterSetPoint, value); }
    void setDew1(int percent) { setControl(Flag::Dew1Power, percent); }
    void setDew2(int percent) { setControl(Flag::Dew2Power, percent); }
    void setLimits(int value) { controls_.setLimits(value); } // the diagnostic tab's spinner
    const ReplyWatchdog& watchdog() const { return core_.watchdog; }

    // --- Replies ---------------------------------------------------------------------------
    void handleReceived(std::string_view chunk) { replies_.handleReceived(chunk); }
    QString diagnosticPath() const { return replies_.diagnosticPath(); }
    static QString diagnosticFileName() { return ConsoleReplies::diagnosticFileName(); }

signals:
    // The readings changed; emitted at most once per received chunk or command.
    void readingsChanged();
    // The shared port opened or closed (whoever did it).
    void linkStateChanged();
    // The unit's firmware loader reported a status character (:x).
    void loaderStatus(int code);
    // A recalled position was put into a Goto box.
    void gotoTextsChanged();
    // A stored-position editor closed: the recall boxes are to be rebuilt from the lists.
    void recallListsChanged();

private:
    void onPortChanged(bool open);
    void onRetry();

    ConsoleCore core_;
    // The jog and the two command groups know one another: the jog steps on their readings, and
    // their stop buttons end a jog.
    ConsoleJog jog_;
    FocusCommands focus_;
    RotatorCommands rotator_;
    GuardedControls controls_;
    ConsoleReplies replies_;
    StoredRecall recall_;
    LinkHub::Subscription subscription_;
};

} // namespace mivel::console
