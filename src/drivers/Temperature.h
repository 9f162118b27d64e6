#pragma once

#include "DriverObject.h"
#include "MemberTable.h"

#include "core/Clock.h"

namespace mivel {

// The unit's temperature sensors, fan, secondary-mirror heater and dew heaters as automation
// clients see them. Readings come from one temperature query (" T " is answered with every
// value below), made at most once a second. Modes: 0 manual (the caller sets the power or
// speed), 1 and 2 the unit's two automatic modes.
class Temperature final : public DriverObject {
public:
    static constexpr int LinkAttempts = 7;
    static constexpr qint64 LinkTickMs = 250;
    static constexpr qint64 QueryIntervalMs = 1001; // at least this long between queries
    static constexpr qint64 QueryWaitMs = 501;      // "more than 500 ms"

    explicit Temperature(AppContext& ctx);
    ~Temperature() override;

    bool connected() const { return linked(); }
    Task<Status> setConnected(bool on) { return setLinked(on); }
    Task<double> ambientTemp();
    Task<double> primaryTemp();
    Task<double> secondaryTemp();
    Task<double> electronicTemp();
    Task<qint16> ambientTempRaw();
    Task<qint16> primaryTempRaw();
    Task<qint16> secondaryTempRaw();
    Task<qint16> fanMode();
    Status setFanMode(qint16 mode);
    Task<qint16> fanSpeed();
    Status setFanSpeed(qint16 speed);
    Task<float> fanDeadband();
    Status setFanDeadband(float value);
    Task<float> fanAggressiveness();
    Status setFanAggressiveness(float value);
    Task<qint16> secondaryHeaterMode();
    Status setSecondaryHeaterMode(qint16 mode);
    Task<qint16> secondaryHeaterPower();
    Status setSecondaryHeaterPower(qint16 power);
    Task<float> secondaryHeaterSetpoint();
    Status setSecondaryHeaterSetpoint(float value);
    Task<qint16> dewHeater1Power();
    Status setDewHeater1Power(qint16 power);
    Task<qint16> dewHeater2Power();
    Status setDewHeater2Power(qint16 power);
    qint16 temperatureUnits() const { return 1; } // degrees Celsius as the unit reports them

private:
    void onNumber(wire::Tag tag, double value) override;
    void onLinked() override;
    void onText(wire::Tag tag, std::string_view value) override;
    Task<void> temperatureQuery();
    // A getter of a reading: the temperature query, then the stored value.
    template <class V> Task<V> reading(const V& stored);

    static const TagHandler<Temperature> kTagHandlers[];
    void onAmbient(double v);
    void onPrimary(double v);
    void onSecondary(double v);
    void onElectronics(double v);
    void onRawAmbient(double v);
    void onRawPrimary(double v);
    void onRawSecondary(double v);
    void onFanMode(double v);
    void onFanSpeed(double v);
    void onFanGain(double v);
    void onFanDeadband(double v);
    void onHeaterMode(double v);
    void onHeaterPower(double v);
    void onHeaterSetpoint(double v);
    void onDew1(double v);
    void onDew2(double v);

    double electronicTemp_ = 0;
    qint16 rawAmbient_ = 0;
    qint16 rawPrimary_ = 0;
    qint16 rawSecondary_ = 0;
    qint16 fanMode_ = 0;
    qint16 fanSpeed_ = 0;
    float fanDeadband_ = 0;
    float fanAggressiveness_ = 0;
    qint16 heaterMode_ = 0;
    qint16 heaterPower_ = 0;
    float heaterSetpoint_ = 0;
    qint16 dew1Power_ = 0;
    qint16 dew2Power_ = 0;
    bool readingReceived_ = false;
    qint64 lastQuery_ = 0;
};

} // namespace mivel
