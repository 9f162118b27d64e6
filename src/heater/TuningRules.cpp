#include "TuningRules.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace mivel::heater {
namespace {

// The dead time the rules work with. A plant fitted with almost none would get an unbounded
// gain; the heater's own loop period and the sensor's steps make a twentieth of the time
// constant the least a rule should assume.
double deadTime(const FirstOrderModel& m) {
    return std::max(m.deadTime, m.timeConstant / 20);
}

// Skogestad's SIMC rule with the closed-loop time constant equal to the dead time: a PI
// controller, robust and without overshoot to a change of set point.
PidTerms simc(const FirstOrderModel& m) {
    const double L = deadTime(m);
    const double closedLoop = L;
    return {m.timeConstant / (m.gain * (closedLoop + L)),
            std::min(m.timeConstant, 4 * (closedLoop + L)), 0};
}

// Åström and Hägglund's AMIGO rule for PID: robust, close to optimal load rejection.
PidTerms amigo(const FirstOrderModel& m) {
    const double L = deadTime(m);
    const double T = m.timeConstant;
    return {(0.2 + 0.45 * T / L) / m.gain, L * (0.4 * L + 0.8 * T) / (L + 0.1 * T),
            0.5 * L * T / (0.3 * L + T)};
}

// Cohen and Coon's PID rule: fast, aiming at a quarter decay ratio; it overshoots.
PidTerms cohenCoon(const FirstOrderModel& m) {
    const double L = deadTime(m);
    const double r = L / m.timeConstant;
    return {(1 / m.gain) * (1 / r) * (4.0 / 3 + r / 4), L * (32 + 6 * r) / (13 + 8 * r),
            4 * L / (11 + 2 * r)};
}

const std::array<TuningRule, 3> Rules{{
    {QStringLiteral("SIMC (PI)"),
     QStringLiteral("S. Skogestad, \"Simple analytic rules for model reduction and PID controller "
                    "tuning\", Journal of Process Control 13 (2003) 291-309."),
     QStringLiteral("Smooth and robust: settles without overshoot."), simc},
    {QStringLiteral("AMIGO (PID)"),
     QStringLiteral("K. J. Åström and T. Hägglund, \"Revisiting the Ziegler-Nichols step response "
                    "method for PID control\", Journal of Process Control 14 (2004) 635-650."),
     QStringLiteral("Robust, with good rejection of changes in the air."), amigo},
    {QStringLiteral("Cohen-Coon (PID)"),
     QStringLiteral("G. H. Cohen and G. A. Coon, \"Theoretical consideration of retarded "
                    "control\", Transactions of the ASME 75 (1953) 827-834."),
     QStringLiteral("Fast but oscillatory: aims at a quarter decay ratio."), cohenCoon},
}};

QString twoDecimals(double value) {
    return QString::number(value, 'f', 2);
}

} // namespace

std::span<const TuningRule> tuningRules() {
    return Rules;
}

int derivativeSeconds(const FirstOrderModel& model) {
    return std::clamp(int(std::lround(deadTime(model) / 4)), 1, 60);
}

tempcomp::HeaterLoopValues unitValues(const PidTerms& terms, const FirstOrderModel& model,
                                      double integralLimit) {
    const int span = derivativeSeconds(model);
    const double integral = terms.integralTime > 0 ? terms.gain / terms.integralTime : 0;
    return {twoDecimals(terms.gain), twoDecimals(terms.gain * terms.derivativeTime / span),
            QString::number(span), twoDecimals(integral), QString::number(integralLimit)};
}

} // namespace mivel::heater
