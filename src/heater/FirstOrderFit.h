#pragma once

// The model fitted to a step response: first order plus dead time. After the step, once the dead
// time has passed, the secondary moves from where it was towards gain x power change above it,
// along one exponential of the time constant:
//
//     T(t) = baseline                                                  for t < dead time
//     T(t) = baseline + gain x dP x (1 - exp(-(t - dead time) / tau))  after
//
// The fit is least squares over every reading, before and after the step: for each dead time
// and time constant the baseline and the rise follow exactly (a straight-line fit), and the
// pair that leaves the smallest squared residual is searched for, first on a grid and then by
// a simplex. No point is read off the curve by hand, so noise on any one reading moves the
// result little.

#include "StepResponse.h"

#include "core/Error.h"

namespace mivel::heater {

struct FirstOrderModel {
    double baseline = 0;     // degrees F before the step
    double gain = 0;         // degrees F per percent of heater power, once settled
    double timeConstant = 0; // seconds
    double deadTime = 0;     // seconds

    // The model's temperature `seconds` after the step of `powerChange` percent.
    double at(double seconds, double powerChange) const;
};

struct ModelFit {
    FirstOrderModel model;
    double rise = 0;     // degrees F the secondary settles above its baseline: gain x dP
    double residual = 0; // root mean square of the readings about the model, degrees F
    int readings = 0;
};

// Limits of an acceptable fit, stated once.
namespace fitlimits {
inline constexpr int MinReadings = 30;    // after the step, and as many again in all
inline constexpr double MinRise = 1.0;    // degrees F: a few steps of the sensor at least
inline constexpr double MaxNoise = 0.1;   // residual as a share of the rise
inline constexpr double SettledAfter = 3; // time constants after the dead time (95 %)
inline constexpr double MaxDrift = 0.25;  // drift before the step over the recording, of the rise
} // namespace fitlimits

// The fit, or why the response cannot give one: too few readings, no change of power, a
// response too small or too noisy, one that had not settled before the step or by the end.
Result<ModelFit> fitStepResponse(const StepResponse& response);

} // namespace mivel::heater
