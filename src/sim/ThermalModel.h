#pragma once

#include "sim/SecondaryHeater.h"

#include <QtGlobal>

#include <array>

namespace mivel::sim {

// The unit's four temperature sensors, numbered 1 to 4 on the wire.
enum class Sensor { Ambient, Primary, Secondary, Electronics };
constexpr int SensorCount = 4;

// A sensor calibration as the unit stores it: slope (degrees F per raw unit) and offset
// (degrees F), both times 100000.
struct Calibration {
    qint32 slope;
    qint32 offset;
};

// The night around the telescope and the unit's thermal loops. The air cools slowly through the
// night; the primary mirror follows it with a lag that the fan shortens; the secondary mirror
// follows too and is warmed by its heater; the electronics run warmer than the air. Each sensor
// turns its true temperature into a whole raw reading through its own response, and the unit
// reports temperature = raw x slope + offset with the calibration it was given, so uploading a
// new calibration changes the reported temperatures and not the raw readings.
class ThermalModel {
public:
    ThermalModel();

    // How many times faster than the clock the night runs; a real night changes a raw reading
    // about every ten minutes, too slowly to watch compensation at work.
    static constexpr double MaxSpeed = 10000;
    double speed() const { return speed_; }
    void setSpeed(double factor) { speed_ = qBound(1.0, factor, MaxSpeed); }

    void advance(double seconds);

    // Restarts the night from this air temperature.
    void setAmbient(double degreesF);
    // How far the air cools over half a day; 0 keeps it steady.
    void setNightSwing(double degreesF) { swing_ = degreesF; }

    double temperature(Sensor s) const { return true_[index(s)]; }
    int raw(Sensor s) const;
    // The temperature the unit reports, in hundredths of a degree F.
    int reported(Sensor s) const;
    Calibration calibration(Sensor s) const { return calibration_[index(s)]; }
    void setSlope(Sensor s, double degreesPerUnit);
    void setOffset(Sensor s, double degrees);

    // Fan: mode 0 is manual power, 1 follows the mirror-to-air difference proportionally, 2 runs
    // flat out while the mirror is warmer than the air by more than the dead band.
    int fanMode() const { return fanMode_; }
    int fanPower() const { return fanPower_; }
    int fanGain() const { return fanGain_; }
    int fanDeadBand() const { return fanDeadBand_; }
    void setFanMode(int mode);
    void setFanPower(int percent); // and manual mode
    void setFanGain(int gain) { fanGain_ = qBound(1, gain, 100); }
    void setFanDeadBand(int tenths) { fanDeadBand_ = qBound(0, tenths, 100); }

    // Secondary heater: mode 0 is manual power, 1 holds the secondary at the air temperature
    // plus the set point, 2 at the primary's plus the set point.
    int heaterMode() const { return heater_.mode(); }
    int heaterPower() const { return heater_.power(); }
    int heaterSetPoint() const { return heater_.setPoint(); } // tenths of a degree F
    void setHeaterMode(int mode) { heater_.setMode(mode, night_); }
    void setHeaterPower(int percent) { heater_.setPower(percent, night_); } // and manual mode
    void setHeaterSetPoint(int tenths) { heater_.setSetPoint(tenths); }
    // The heater loop's error (degrees F) and integral, for the diagnostic record.
    double heaterError() const { return heater_.error(); }
    double heaterIntegral() const { return heater_.integral(); }
    const SecondaryHeater& heater() const { return heater_; }
    SecondaryHeater& heater() { return heater_; }
    double fanError() const;

    int dewPower(int heater) const { return dew_[heater == 2 ? 1 : 0]; }
    void setDewPower(int heater, int percent) {
        dew_[heater == 2 ? 1 : 0] = qBound(0, percent, 100);
    }

private:
    static std::size_t index(Sensor s) { return std::size_t(s); }
    double airAt(double seconds) const;
    // Moves every temperature `seconds` on, with the fan and the heater as they are.
    void integrate(double seconds, double end);
    // What happens once a loop period: the fan and heater loops act, the sensor is read anew.
    void runLoops();
    void runFan();

    std::array<double, SensorCount> true_{};
    std::array<Calibration, SensorCount> calibration_{};
    double airStart_ = 50;
    double swing_ = 8;
    double night_ = 0; // seconds since the night started
    double nextLoop_ = SecondaryHeater::LoopPeriod;
    double speed_ = 1;
    int fanMode_ = 1;
    int fanPower_ = 0;
    int fanGain_ = 10;
    int fanDeadBand_ = 5;
    SecondaryHeater heater_;
    std::array<int, 2> dew_{};
};

} // namespace mivel::sim
