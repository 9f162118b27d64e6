#pragma once

#include <QtGlobal>

#include <deque>
#include <random>

namespace mivel::sim {

// How the secondary mirror answers its heater: once a change of power reaches the mirror (after
// the dead time), the mirror moves towards its new warmth above the air along one exponential.
// Its sensor adds noise of its own. A first-order plant with dead time, which is what the
// heater tuning of the console fits.
struct HeaterPlant {
    double gain = 0.08;        // degrees F above the air per percent of power, once settled
    double timeConstant = 600; // seconds
    double deadTime = 60;      // seconds from a change of power to the first warming
    double noise = 0.1;        // standard deviation of the sensor's reading, degrees F
};

// The unit's heater loop, as it holds its gains: the proportional and integral gains in percent
// of power per degree F and per degree F second; the derivative term is the derivative gain
// times how far the error moved over the derivative time; the integral term is held within the
// integral limit, in percent of power.
struct HeaterLoopGains {
    double proportional = 5;
    double integral = 0.1;
    double derivative = 1;
    int derivativeSeconds = 10;
    double integralLimit = 50;
};

// The secondary heater: mode, power and set point as the unit keeps them, the loop that sets
// the power in the automatic modes, and the plant's delay between the power commanded and the
// power the mirror feels.
class SecondaryHeater {
public:
    // The loop runs, and the sensor is read, once a second of the night.
    static constexpr double LoopPeriod = 1;
    static constexpr int MaxDerivativeSeconds = 60;

    SecondaryHeater();

    const HeaterPlant& plant() const { return plant_; }
    void setPlant(const HeaterPlant& plant) { plant_ = plant; }
    const HeaterLoopGains& gains() const { return gains_; }
    void setGains(const HeaterLoopGains& gains);

    // Mode 0 is manual power, 1 holds the secondary at the air temperature plus the set point,
    // 2 at the primary's plus the set point.
    int mode() const { return mode_; }
    int power() const { return power_; }
    int setPoint() const { return setPoint_; } // tenths of a degree F
    void setMode(int mode, double now);
    void setPower(int percent, double now); // and manual mode
    void setSetPoint(int tenths) { setPoint_ = qBound(-100, tenths, 100); }

    // The loop's last error (degrees F) and its integral (degree F seconds).
    double error() const { return error_; }
    double integral() const { return integral_; }

    // Lets the power commands whose dead time has passed by `now` reach the mirror.
    void arrive(double now);
    // The power the mirror feels: what was commanded one dead time earlier.
    int feltPower() const { return felt_; }
    // When the next command on its way reaches the mirror; infinity when none is.
    double nextArrival() const;
    // How far above the air the mirror settles with the power it feels.
    double warmth() const { return plant_.gain * felt_; }
    // The night's clock starts again: commands on their way keep their delay.
    void shiftTime(double seconds);

    // One turn of the loop at `now`, with the secondary's and the reference's true temperatures.
    void runLoop(double now, double secondary, double reference);
    // A new reading of the sensor's noise, degrees F.
    void sampleNoise();
    double noise() const { return noise_; }

private:
    void command(int percent, double now);

    HeaterPlant plant_;
    HeaterLoopGains gains_;
    int mode_ = 1;
    int power_ = 0;
    int setPoint_ = 20;
    double error_ = 0;
    double integral_ = 0;
    std::deque<double> pastErrors_; // one a loop, newest last
    // Power commands still on their way to the mirror: when each arrives and its power.
    struct Change {
        double at;
        int power;
    };
    std::deque<Change> inFlight_;
    int felt_ = 0;
    std::mt19937 random_{20240611};
    std::normal_distribution<double> gauss_{0, 1};
    double noise_ = 0;
};

} // namespace mivel::sim
