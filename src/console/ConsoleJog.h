#pragma once

#include "core/Clock.h"

#include <optional>

namespace mivel::console {

struct ConsoleCore;
class FocusCommands;
class RotatorCommands;

// The jog buttons (Timer1): a press sends one step at once, a held button repeats it after a
// short delay. A rotator step goes only on a fresh wrap reading that it keeps inside the limit.
class ConsoleJog {
public:
    enum class Axis { Focus, Rotator };

    ConsoleJog(ConsoleCore& core, const FocusCommands& focus, RotatorCommands& rotator);

    void press(Axis axis, int direction); // direction +1 or -1
    void release();
    void stop(); // at once, a click's step still waiting included
    bool jogging() const { return jog_.has_value(); }
    bool rotatorJogging() const { return jog_ && jog_->axis == Axis::Rotator; }

private:
    void onTick();
    void stepOnce();
    std::optional<QByteArray> focusStep();
    std::optional<QByteArray> rotatorStep();

    ConsoleCore& core_;
    const FocusCommands& focus_;
    RotatorCommands& rotator_;
    Timer timer_;
    struct Jog {
        Axis axis;
        int direction;
        bool held = true;                   // the button is still down
        bool stepSent = false;              // the press's own step has gone
        std::optional<qint64> waitingSince; // waiting for a fresh wrap reading since then
    };
    std::optional<Jog> jog_;
};

} // namespace mivel::console
