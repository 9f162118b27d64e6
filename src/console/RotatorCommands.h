#pragma once

#include <QString>

#include <cstdint>
#include <optional>

namespace mivel::console {

struct ConsoleCore;
class ConsoleJog;

// The rotator tab: Goto, home, stop, record, the wrap and its limit, and the wrap guard that
// stops the rotator when the wrap runs out past the limit.
class RotatorCommands {
public:
    static constexpr int WrapLimitMaxDeg = 2000;

    RotatorCommands(ConsoleCore& core, ConsoleJog& jog);

    void setGotoText(const QString& text) { gotoText_ = text; }
    QString gotoText() const { return gotoText_; }
    void setJogText(const QString& text) { jogText_ = text; }
    QString jogText() const { return jogText_; }
    void goTo();     // cmdRotGOTO
    void home();     // cmdRotHome
    void stop();     // cmdStopRot
    void record();   // cmdRecordRotator
    void wrapZero(); // cmdWrapZero
    void unwrap();   // cmdUnwrap
    // The retry timer ran: a Goto that waited for the homed state goes on, or tells why not.
    void resumeGoto();

    bool skyLinked() const { return skyLinked_; }
    void setSkyLinked(bool on) { skyLinked_ = on; } // chkConnectTheSky
    double offsetDeg() const { return offsetDeg_; }
    void setOffsetDeg(double deg) { offsetDeg_ = deg; }
    std::int32_t position() const { return position_; }
    std::int32_t targetSteps() const { return target_; }
    std::int32_t wrapSteps() const { return wrap_; }
    bool wrapStopSent() const { return wrapStopSent_; }
    // Whether the wrap reading is recent enough for a jog step to be checked against it.
    bool wrapFresh() const;
    // A move of the user's own: the guard may stop the rotator again.
    void rearmWrapGuard() { wrapStopSent_ = false; }

    // DornaLimit in degrees, shared with the rotator driver; 0 to 2000 are accepted and saved.
    int wrapLimitDeg() const;
    bool setWrapLimitDeg(int degrees);

    // Replies.
    void onTarget(double value, const QString& text); // :rs
    void onActual(double value, const QString& text); // :rt
    void onWrap(std::int32_t wrap);                   // :wr
    void onHomed(bool homed);                         // :rh
    void onRecord(double value);                      // :rrp, :ims

private:
    void updateWrapLimitText();
    std::int64_t wrapLimitSteps() const;

    ConsoleCore& core_;
    ConsoleJog& jog_;
    QString gotoText_;
    QString jogText_ = QStringLiteral("1");
    bool skyLinked_ = false;
    double offsetDeg_ = 0;
    std::int32_t target_ = 0;
    std::int32_t position_ = 0;
    std::int32_t wrap_ = 0;
    std::optional<std::int32_t> previousWrap_;
    std::optional<qint64> wrapReadAtMs_; // when the latest :wr arrived
    bool wrapStopSent_ = false;
};

} // namespace mivel::console
