#pragma once

#include "core/Clock.h"
#include "wire/Replies.h"

#include <QString>

#include <cstdint>
#include <optional>
#include <span>

namespace mivel::console {

struct ConsoleCore;
class ConsoleJog;

// The focus tab: Goto, home, stop, record, the ideal mirror spacing and temperature
// compensation, and what the focus replies show there.
class FocusCommands {
public:
    FocusCommands(ConsoleCore& core, ConsoleJog& jog);

    void setGotoText(const QString& text) { gotoText_ = text; }
    QString gotoText() const { return gotoText_; }
    std::int32_t position() const { return position_; } // the last :a
    void goTo();                                        // cmdGoto
    void home();                                        // cmdHome
    void stop();                                        // cmdStopFocus
    void record();                                      // cmdRecordFocus
    // The retry timer ran: a Goto that waited for the homed state goes on, or tells why not.
    void resumeGoto();

    void setMirrorSpacing(); // cmdSetMirrorSpacing
    int spacingUnit() const { return spacingUnit_; }
    void setSpacingUnit(int unit); // 0: 0.025 per count; 1: the focus scale factor
    void synchTempComp();          // cmdSynchTempComp
    void openTempComp();           // cmdTempComp

    static std::span<const int> jogSteps();
    int focusJogStep() const; // counts, from the FocusStep setting
    void setJogStepIndex(int index);

    // Replies.
    void onActual(double value, const QString& text); // :a
    void onHomed(bool homed);                         // :fh
    void onRecord(double value);                      // :frp
    void onError(int code);                           // :e
    void showTempComp(wire::Tag tag);                 // a compensation reply was applied

private:
    void updateSpacing();

    ConsoleCore& core_;
    ConsoleJog& jog_;
    Timer errorMemoryTimer_; // Timer5
    std::optional<int> lastError_;
    QString gotoText_;
    std::int32_t position_ = 0;
    std::int32_t idealSpacingPosition_ = 0;
    int spacingUnit_ = 0;
};

} // namespace mivel::console
