#include "SecondaryHeater.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace mivel::sim {

SecondaryHeater::SecondaryHeater() = default;

void SecondaryHeater::setGains(const HeaterLoopGains& gains) {
    gains_ = gains;
    gains_.derivativeSeconds = qBound(1, gains.derivativeSeconds, MaxDerivativeSeconds);
    gains_.integralLimit = std::max(0.0, gains.integralLimit);
}

void SecondaryHeater::setMode(int mode, double now) {
    mode_ = qBound(0, mode, 2);
    integral_ = 0;
    pastErrors_.clear();
    if (mode_ == 0)
        error_ = 0;
}

void SecondaryHeater::setPower(int percent, double now) {
    setMode(0, now);
    command(qBound(0, percent, 100), now);
}

void SecondaryHeater::command(int percent, double now) {
    power_ = percent;
    const int last = inFlight_.empty() ? felt_ : inFlight_.back().power;
    if (percent != last)
        inFlight_.push_back({now + plant_.deadTime, percent});
}

void SecondaryHeater::arrive(double now) {
    while (!inFlight_.empty() && inFlight_.front().at <= now) {
        felt_ = inFlight_.front().power;
        inFlight_.pop_front();
    }
}

double SecondaryHeater::nextArrival() const {
    return inFlight_.empty() ? std::numeric_limits<double>::infinity() : inFlight_.front().at;
}

void SecondaryHeater::shiftTime(double seconds) {
    for (Change& c : inFlight_)
        c.at += seconds;
}

void SecondaryHeater::runLoop(double now, double secondary, double reference) {
    if (mode_ == 0)
        return;
    const HeaterLoopGains& g = gains_;
    error_ = reference + setPoint_ / 10.0 - secondary;
    pastErrors_.push_back(error_);
    while (int(pastErrors_.size()) > g.derivativeSeconds + 1)
        pastErrors_.pop_front();
    const double proportional = g.proportional * error_;
    const double derivative = g.derivative * (error_ - pastErrors_.front());
    // The integral is held within its limit, and stops growing while the output is saturated in
    // the direction the error pushes it, so that it does not wind up while the heater is flat
    // out or off.
    const double limit = g.integral > 0 ? g.integralLimit / g.integral : 0;
    const double grown = std::clamp(integral_ + error_ * LoopPeriod, -limit, limit);
    const double wanted = proportional + g.integral * grown + derivative;
    if (!((wanted > 100 && error_ > 0) || (wanted < 0 && error_ < 0)))
        integral_ = grown;
    const double output = proportional + g.integral * integral_ + derivative;
    command(int(std::lround(std::clamp(output, 0.0, 100.0))), now);
}

void SecondaryHeater::sampleNoise() {
    noise_ = plant_.noise * gauss_(random_);
}

} // namespace mivel::sim
