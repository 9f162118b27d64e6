#pragma once

#include <QtGlobal>

#include <optional>

namespace mivel::sim {

// The unit's own temperature compensation of focus. The coefficient is held as the unit stores
// it, focus counts per 1000 raw units of the compensation sensor, so the unit works on raw
// readings alone and never needs the calibration. A correction is made from the reading at the
// last correction: continuously in automatic mode, once per synch in manual mode, and in both
// only when it reaches the movement threshold.
class TempComp {
public:
    enum Mode { Off = 0, Automatic = 1, Manual = 2 };

    int mode() const { return mode_; }
    int coefficient() const { return coefficient_; }
    int threshold() const { return threshold_; }
    void setCoefficient(int countsPerThousandRaw) { coefficient_ = countsPerThousandRaw; }
    void setThreshold(int counts) { threshold_ = counts; }

    // The mode command. Choosing manual while in manual is the synch: the correction it returns
    // is to be made now. Entering a mode starts from the present reading.
    std::optional<int> command(int mode, int raw);
    // Called as the reading changes; in automatic mode returns a correction that is due.
    std::optional<int> follow(int raw);

private:
    std::optional<int> correctionFrom(int raw);

    int mode_ = Off;
    int coefficient_ = 0;
    int threshold_ = 5;
    int reference_ = 0;
};

} // namespace mivel::sim
