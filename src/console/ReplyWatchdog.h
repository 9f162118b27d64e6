#pragma once

#include <array>
#include <cstdint>

namespace mivel {

// The console's awaiting-reply flags. While the user edits a value, or just after a command
// changed it, the matching flag keeps incoming replies off the control. A lost reply must not
// freeze a control for ever: after more than 1000 chunks with any flag set, all are cleared.
// Each flag's control, reply and command are its row in console/UnitControls.h.
class ReplyWatchdog {
public:
    enum class Flag : std::uint8_t {
        FanPower,
        FanGain,
        FanDeadBand,
        FanMode,
        HeaterPower,
        HeaterSetPoint,
        HeaterMode,
        Dew1Power,
        Dew2Power,
        ForceMotorOff,
        RecallFocus,
        RecallRotator,
        Count
    };
    static constexpr int FlagCount = int(Flag::Count);
    static constexpr int ReleaseAfterChunks = 1000;

    void set(Flag f) { flags_[std::size_t(f)] = true; }
    void clear(Flag f) { flags_[std::size_t(f)] = false; }
    bool isSet(Flag f) const { return flags_[std::size_t(f)]; }
    bool anySet() const {
        for (bool f : flags_)
            if (f)
                return true;
        return false;
    }
    void clearAll() {
        flags_.fill(false);
        counter_ = 0;
    }
    int counter() const { return counter_; }

    // Called once for every received chunk, before its tags are handled.
    void onChunk() {
        if (!anySet()) {
            counter_ = 0;
            return;
        }
        if (++counter_ > ReleaseAfterChunks)
            clearAll();
    }

private:
    std::array<bool, FlagCount> flags_{};
    std::int16_t counter_ = 0;
};

} // namespace mivel
