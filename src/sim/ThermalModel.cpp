#include "ThermalModel.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace mivel::sim {
namespace {

// Each sensor's true response, raw reading to degrees F, as the factory calibrated it; the
// small spread between them is what sensor calibration is for.
struct Response {
    double slope;
    double offset;
};
constexpr std::array<Response, SensorCount> kResponse{{
    {0.17578, -58.00},
    {0.17602, -58.30},
    {0.17551, -57.80},
    {0.17578, -58.00},
}};
constexpr int RawMax = 1023; // ten-bit converter

constexpr double Day = 86400;
constexpr double Phase = std::numbers::pi / 4; // the night starts with the air already cooling

// Time constants, seconds.
constexpr double PrimaryLag = 2400; // a thick mirror in still air
constexpr double ElectronicsLag = 600;
constexpr double ElectronicsAboveAir = 15;

double approach(double value, double goal, double lag, double seconds) {
    return goal + (value - goal) * std::exp(-seconds / lag);
}

qint32 scaled(double value) {
    return qint32(std::lround(value * 100000));
}

} // namespace

ThermalModel::ThermalModel() {
    for (std::size_t i = 0; i < kResponse.size(); ++i)
        calibration_[i] = {scaled(kResponse[i].slope), scaled(kResponse[i].offset)};
    setAmbient(airStart_);
}

void ThermalModel::setAmbient(double degreesF) {
    airStart_ = degreesF;
    heater_.shiftTime(-night_);
    nextLoop_ -= night_;
    night_ = 0;
    true_[index(Sensor::Ambient)] = degreesF;
    true_[index(Sensor::Primary)] = degreesF + 3;
    true_[index(Sensor::Secondary)] = degreesF + 2;
    true_[index(Sensor::Electronics)] = degreesF + ElectronicsAboveAir;
}

double ThermalModel::airAt(double seconds) const {
    const double w = 2 * std::numbers::pi / Day;
    return airStart_ -
           swing_ * (std::cos(Phase) - std::cos(w * seconds + Phase)) / (1 + std::cos(Phase));
}

int ThermalModel::raw(Sensor s) const {
    const Response& r = kResponse[index(s)];
    const double sensed = temperature(s) + (s == Sensor::Secondary ? heater_.noise() : 0.0);
    return int(qBound(0L, std::lround((sensed - r.offset) / r.slope), long(RawMax)));
}

int ThermalModel::reported(Sensor s) const {
    const Calibration& c = calibration_[index(s)];
    return int(std::lround((double(raw(s)) * c.slope + c.offset) / 1000.0));
}

void ThermalModel::setSlope(Sensor s, double degreesPerUnit) {
    calibration_[index(s)].slope = scaled(degreesPerUnit);
}

void ThermalModel::setOffset(Sensor s, double degrees) {
    calibration_[index(s)].offset = scaled(degrees);
}

void ThermalModel::setFanMode(int mode) {
    fanMode_ = qBound(0, mode, 2);
}

void ThermalModel::setFanPower(int percent) {
    fanMode_ = 0;
    fanPower_ = qBound(0, percent, 100);
}

double ThermalModel::fanError() const {
    return temperature(Sensor::Primary) - temperature(Sensor::Ambient) - fanDeadBand_ / 10.0;
}

void ThermalModel::runFan() {
    const double error = fanError();
    if (fanMode_ == 1)
        fanPower_ = int(qBound(0L, std::lround(error * fanGain_ / 10.0 * 25), 100L));
    else if (fanMode_ == 2)
        fanPower_ = error > 0 ? 100 : 0;
}

void ThermalModel::runLoops() {
    runFan();
    const Sensor reference = heater_.mode() == 2 ? Sensor::Primary : Sensor::Ambient;
    heater_.runLoop(night_, temperature(Sensor::Secondary), temperature(reference));
    heater_.sampleNoise();
}

void ThermalModel::integrate(double seconds, double end) {
    night_ = end;
    const double air = airAt(night_);
    auto& t = true_;
    t[index(Sensor::Ambient)] = air;
    const double fanLag = PrimaryLag / (1 + 2 * fanPower_ / 100.0);
    t[index(Sensor::Primary)] = approach(t[index(Sensor::Primary)], air, fanLag, seconds);
    t[index(Sensor::Secondary)] = approach(t[index(Sensor::Secondary)], air + heater_.warmth(),
                                           heater_.plant().timeConstant, seconds);
    t[index(Sensor::Electronics)] =
        approach(t[index(Sensor::Electronics)], air + ElectronicsAboveAir, ElectronicsLag, seconds);
}

void ThermalModel::advance(double clockSeconds) {
    // The loops act on whole seconds of the night and the heater's power changes when its dead
    // time has passed, whatever the steps of the clock: a night run faster goes through the same
    // states as one at the clock's pace.
    double remaining = clockSeconds * speed_;
    while (remaining > 0) {
        heater_.arrive(night_);
        const double toLoop = nextLoop_ - night_;
        const double step = std::min({remaining, toLoop, heater_.nextArrival() - night_});
        const bool loopDue = step >= toLoop;
        integrate(step, loopDue ? nextLoop_ : night_ + step);
        remaining -= step;
        if (loopDue) {
            runLoops();
            nextLoop_ += SecondaryHeater::LoopPeriod;
        }
    }
}

} // namespace mivel::sim
