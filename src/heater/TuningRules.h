#pragma once

// Published tuning rules for a first-order plant with dead time, and the conversion of their
// controller to the gains the unit's heater loop holds.
//
// The unit's heater loop acts once a second on the error e (set temperature less the
// secondary's, degrees F):
//
//     power = Kp e + Ki (sum of e over the seconds, held within the integral limit / Ki)
//                  + Kd (e now - e one derivative time ago)
//
// with Kp in percent per degree F, Ki in percent per degree F second, Kd in percent per degree F
// of change, the derivative time in whole seconds and the integral limit in percent of power.
// The rules give an ideal controller, gain Kc, integral time Ti and derivative time Td:
// Kp = Kc, Ki = Kc / Ti, and the derivative, taken over the unit's derivative time, Kd = Kc Td /
// derivative time.

#include "FirstOrderFit.h"

#include "tempcomp/HeaterLoopUpload.h"

#include <QString>

#include <span>

namespace mivel::heater {

// An ideal PID controller: gain (percent per degree F), integral and derivative times (seconds).
struct PidTerms {
    double gain = 0;
    double integralTime = 0;
    double derivativeTime = 0; // 0: a PI controller
};

struct TuningRule {
    QString name;
    QString reference; // where the rule is published
    QString note;      // what it aims for
    PidTerms (*terms)(const FirstOrderModel& model);
};

// The rules the observer chooses from; the first is the default.
std::span<const TuningRule> tuningRules();

// The integral limit the wizard proposes: the integral term may supply any power the heater has,
// since holding the secondary above the air is the integral's work alone.
inline constexpr double WizardIntegralLimit = 100;

// The span the unit takes the error's change over: a quarter of the dead time, which smooths
// the sensor's steps and is short beside the time the loop must react in.
int derivativeSeconds(const FirstOrderModel& model);

// The unit's five heater-loop values for a controller, as the upload sends them.
tempcomp::HeaterLoopValues unitValues(const PidTerms& terms, const FirstOrderModel& model,
                                      double integralLimit = WizardIntegralLimit);

} // namespace mivel::heater
