#include "ThermalPanel.h"

#include "IndiAlerts.h"

#include <libindi/defaultdevice.h>

#include <cmath>
#include <cstring>
#include <memory>

namespace mivel::indi {
namespace {

// The setters of the number elements, by element name: the object judges each value itself.
struct NumberSetter {
    const char* element;
    Status (*set)(Temperature&, double);
};

qint16 whole(double v) {
    return qint16(std::lround(std::clamp(v, -32768.0, 32767.0)));
}

constexpr NumberSetter kSetters[] = {
    {"FAN_SPEED", [](Temperature& t, double v) { return t.setFanSpeed(whole(v)); }},
    {"FAN_DEADBAND", [](Temperature& t, double v) { return t.setFanDeadband(float(v)); }},
    {"FAN_AGGRESSIVENESS",
     [](Temperature& t, double v) { return t.setFanAggressiveness(float(v)); }},
    {"HEATER_POWER", [](Temperature& t, double v) { return t.setSecondaryHeaterPower(whole(v)); }},
    {"HEATER_SETPOINT",
     [](Temperature& t, double v) { return t.setSecondaryHeaterSetpoint(float(v)); }},
    {"DEW_HEATER_1", [](Temperature& t, double v) { return t.setDewHeater1Power(whole(v)); }},
    {"DEW_HEATER_2", [](Temperature& t, double v) { return t.setDewHeater2Power(whole(v)); }},
};

const NumberSetter* setterOf(const char* element) {
    for (const NumberSetter& s : kSetters)
        if (std::strcmp(s.element, element) == 0)
            return &s;
    return nullptr;
}

// The three modes of the fan and of the heater, in the order of the unit's mode numbers.
void fillModes(INDI::PropertySwitch& modes, const char* prefix) {
    const std::string p = prefix;
    modes[0].fill(p + "_MANUAL", "Manual", ISS_ON);
    modes[1].fill(p + "_AUTO_1", "Automatic 1", ISS_OFF);
    modes[2].fill(p + "_AUTO_2", "Automatic 2", ISS_OFF);
}

// Sets a value, noting whether it changed.
void put(INDI::PropertyNumber& p, int index, double value, bool& changed) {
    if (p[index].getValue() != value) {
        p[index].setValue(value);
        changed = true;
    }
}

void putMode(INDI::PropertySwitch& modes, int mode, bool& changed) {
    if (mode < 0 || mode >= int(modes.size()) || modes.findOnSwitchIndex() == mode)
        return;
    modes.reset();
    modes[mode].setState(ISS_ON);
    changed = true;
}

template <class P> void sendIfChanged(P& p, bool changed) {
    if (changed || p.getState() == IPS_IDLE) {
        p.setState(IPS_OK);
        p.apply();
    }
}

} // namespace

void ThermalPanel::init(const char* device) {
    temperatures_[0].fill("AMBIENT", "Ambient (°C)", "%.2f", -100, 150, 0, 0);
    temperatures_[1].fill("PRIMARY", "Primary mirror (°C)", "%.2f", -100, 150, 0, 0);
    temperatures_[2].fill("SECONDARY", "Secondary mirror (°C)", "%.2f", -100, 150, 0, 0);
    temperatures_[3].fill("ELECTRONICS", "Electronics (°C)", "%.2f", -100, 150, 0, 0);
    temperatures_.fill(device, "MIVEL_TEMPERATURES", "Temperatures", Tab, IP_RO, 0, IPS_IDLE);

    fillModes(fanMode_, "FAN");
    fanMode_.fill(device, "MIVEL_FAN_MODE", "Fan mode", Tab, IP_RW, ISR_1OFMANY, 0, IPS_IDLE);
    fan_[0].fill("FAN_SPEED", "Power (%)", "%.0f", 0, 100, 1, 0);
    fan_[1].fill("FAN_DEADBAND", "Dead band (°F)", "%.1f", 0, 10, 0.1, 0);
    fan_[2].fill("FAN_AGGRESSIVENESS", "Aggressiveness", "%.1f", 0.1, 10, 0.1, 1);
    fan_.fill(device, "MIVEL_FAN", "Fan", Tab, IP_RW, 0, IPS_IDLE);

    fillModes(heaterMode_, "HEATER");
    heaterMode_.fill(device, "MIVEL_HEATER_MODE", "Secondary heater mode", Tab, IP_RW, ISR_1OFMANY,
                     0, IPS_IDLE);
    heater_[0].fill("HEATER_POWER", "Power (%)", "%.0f", 0, 100, 1, 0);
    heater_[1].fill("HEATER_SETPOINT", "Set point (°F)", "%.1f", -10, 10, 0.1, 0);
    heater_.fill(device, "MIVEL_HEATER", "Secondary heater", Tab, IP_RW, 0, IPS_IDLE);

    dewHeaters_[0].fill("DEW_HEATER_1", "Dew heater 1 (%)", "%.0f", 0, 100, 1, 0);
    dewHeaters_[1].fill("DEW_HEATER_2", "Dew heater 2 (%)", "%.0f", 0, 100, 1, 0);
    dewHeaters_.fill(device, "MIVEL_DEW_HEATERS", "Dew heaters", Tab, IP_RW, 0, IPS_IDLE);
}

void ThermalPanel::define(INDI::DefaultDevice& device) {
    device.defineProperty(temperatures_);
    device.defineProperty(fanMode_);
    device.defineProperty(fan_);
    device.defineProperty(heaterMode_);
    device.defineProperty(heater_);
    device.defineProperty(dewHeaters_);
}

void ThermalPanel::remove(INDI::DefaultDevice& device) {
    for (const char* name : {temperatures_.getName(), fanMode_.getName(), fan_.getName(),
                             heaterMode_.getName(), heater_.getName(), dewHeaters_.getName()})
        device.deleteProperty(name);
}

// Each element is handed to the object in the order the client sent them; the first refusal
// stops there and is reported with the object's message.
bool ThermalPanel::newNumber(Temperature& unit, const char* name, const double values[],
                             char* const names[], int n) {
    INDI::PropertyNumber* target = nullptr;
    // (The properties' own operator& gives their low-level view.)
    for (INDI::PropertyNumber* p :
         {std::addressof(fan_), std::addressof(heater_), std::addressof(dewHeaters_)})
        if (p->isNameMatch(name))
            target = p;
    if (!target)
        return false;
    for (int i = 0; i < n; ++i) {
        const NumberSetter* setter = setterOf(names[i]);
        INDI::WidgetView<INumber>* widget = target->findWidgetByName(names[i]);
        if (!setter || !widget)
            continue;
        if (const Status refused = setter->set(unit, values[i]))
            return alert(*target, *refused), true;
        widget->setValue(values[i]);
    }
    target->setState(IPS_OK);
    target->apply();
    return true;
}

bool ThermalPanel::newSwitch(Temperature& unit, const char* name, const ISState states[],
                             char* const names[], int n) {
    const bool fan = fanMode_.isNameMatch(name);
    if (!fan && !heaterMode_.isNameMatch(name))
        return false;
    INDI::PropertySwitch& modes = fan ? fanMode_ : heaterMode_;
    int chosen = -1;
    for (int i = 0; i < n; ++i)
        if (states[i] == ISS_ON)
            chosen = modes.findWidgetIndexByName(names[i]);
    if (chosen < 0)
        return true;
    const qint16 mode = qint16(chosen);
    if (const Status refused = fan ? unit.setFanMode(mode) : unit.setSecondaryHeaterMode(mode))
        return alert(modes, *refused), true;
    modes.reset();
    modes[chosen].setState(ISS_ON);
    modes.setState(IPS_OK);
    modes.apply();
    return true;
}

Task<void> ThermalPanel::refresh(Temperature& unit, std::function<bool()> stillLinked) {
    const double ambient = co_await unit.ambientTemp();
    if (!stillLinked())
        co_return;
    // Every other reading comes from the same query: they answer at once.
    const double primary = co_await unit.primaryTemp();
    const double secondary = co_await unit.secondaryTemp();
    const double electronics = co_await unit.electronicTemp();
    const qint16 fanMode = co_await unit.fanMode();
    const qint16 fanSpeed = co_await unit.fanSpeed();
    const float deadband = co_await unit.fanDeadband();
    const float aggressiveness = co_await unit.fanAggressiveness();
    const qint16 heaterMode = co_await unit.secondaryHeaterMode();
    const qint16 heaterPower = co_await unit.secondaryHeaterPower();
    const float setpoint = co_await unit.secondaryHeaterSetpoint();
    const qint16 dew1 = co_await unit.dewHeater1Power();
    const qint16 dew2 = co_await unit.dewHeater2Power();
    if (!stillLinked())
        co_return;

    bool changed = false;
    put(temperatures_, 0, celsius(ambient), changed);
    put(temperatures_, 1, celsius(primary), changed);
    put(temperatures_, 2, celsius(secondary), changed);
    put(temperatures_, 3, celsius(electronics), changed);
    sendIfChanged(temperatures_, changed);

    changed = false;
    putMode(fanMode_, fanMode, changed);
    sendIfChanged(fanMode_, changed);
    changed = false;
    put(fan_, 0, fanSpeed, changed);
    put(fan_, 1, deadband, changed);
    put(fan_, 2, aggressiveness, changed);
    sendIfChanged(fan_, changed);

    changed = false;
    putMode(heaterMode_, heaterMode, changed);
    sendIfChanged(heaterMode_, changed);
    changed = false;
    put(heater_, 0, heaterPower, changed);
    put(heater_, 1, setpoint, changed);
    sendIfChanged(heater_, changed);

    changed = false;
    put(dewHeaters_, 0, dew1, changed);
    put(dewHeaters_, 1, dew2, changed);
    sendIfChanged(dewHeaters_, changed);
}

} // namespace mivel::indi
