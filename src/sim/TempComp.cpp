#include "TempComp.h"

#include <cmath>
#include <cstdlib>

namespace mivel::sim {

std::optional<int> TempComp::correctionFrom(int raw) {
    const long counts = std::lround(double(raw - reference_) * coefficient_ / 1000.0);
    if (counts == 0 || std::abs(counts) < threshold_)
        return std::nullopt;
    reference_ = raw;
    return int(counts);
}

std::optional<int> TempComp::command(int mode, int raw) {
    const int chosen = mode == Automatic || mode == Manual ? mode : Off;
    if (chosen == Manual && mode_ == Manual)
        return correctionFrom(raw);
    if (chosen != mode_)
        reference_ = raw;
    mode_ = chosen;
    return std::nullopt;
}

std::optional<int> TempComp::follow(int raw) {
    if (mode_ != Automatic)
        return std::nullopt;
    return correctionFrom(raw);
}

} // namespace mivel::sim
