#include "MivelDevice.h"

#include "IndiAlerts.h"
#include "UnitConnection.h"

#include <cmath>
#include <cstring>

namespace mivel::indi {
namespace {

bool named(const char* name, const char* prefix) {
    return std::strstr(name, prefix) != nullptr;
}

} // namespace

MivelDevice::MivelDevice()
    : FocuserInterface(this)
    , RotatorInterface(this)
    , session_([this](const QString& text, bool warning) { message(text, warning); }) {
    setVersion(MIVEL_VERSION_MAJOR, MIVEL_VERSION_MINOR);
    FI::SetCapability(FOCUSER_CAN_ABS_MOVE | FOCUSER_CAN_REL_MOVE | FOCUSER_CAN_ABORT);
    RI::SetCapability(ROTATOR_CAN_ABORT | ROTATOR_CAN_HOME | ROTATOR_CAN_SYNC |
                      ROTATOR_CAN_REVERSE);
}

MivelDevice::~MivelDevice() = default;

bool MivelDevice::initProperties() {
    DefaultDevice::initProperties();
    FI::initProperties(MAIN_CONTROL_TAB);
    RI::initProperties(RotatorTab);
    initFocuserExtras();
    initRotatorExtras();
    thermal_.init(getDeviceName());

    setDriverInterface(FOCUSER_INTERFACE | ROTATOR_INTERFACE);
    addDebugControl();
    addConfigurationControl();
    addPollPeriodControl();
    setDefaultPollingPeriod(DefaultPollMs);

    connection_ = new UnitConnection(this);
    connection_->registerHandshake([this] { return linkUnit(); });
    connection_->onDisconnect([this] {
        focuserMove_.stop();
        rotatorMove_.stop();
        compensationKnown_ = false;
        session_.unlink();
    });
    registerConnection(connection_);
    return true;
}

// The focuser's travel is the unit's: 40000 steps, not a client's choice.
void MivelDevice::initFocuserExtras() {
    const char* dev = getDeviceName();
    FocusAbsPosN[0].min = 0;
    FocusAbsPosN[0].max = Focuser::MaxSteps;
    FocusAbsPosN[0].step = 100;
    FocusRelPosN[0].min = 0;
    FocusRelPosN[0].max = Focuser::MaxSteps;
    FocusRelPosN[0].step = 100;
    FocusRelPosN[0].value = 100;
    FocusMaxPosN[0].value = Focuser::MaxSteps;
    FocusMaxPosNP.p = IP_RO;

    focusTemperature_[0].fill("TEMPERATURE", "Celsius", "%.2f", -100, 150, 0, 0);
    focusTemperature_.fill(dev, "FOCUS_TEMPERATURE", "Temperature", MAIN_CONTROL_TAB, IP_RO, 0,
                           IPS_IDLE);
    // The unit's compensation: off, or on in its automatic or manual mode.
    compensationMode_[0].fill("TEMP_COMP_OFF", "Off", ISS_ON);
    compensationMode_[1].fill("TEMP_COMP_AUTOMATIC", "Automatic", ISS_OFF);
    compensationMode_[2].fill("TEMP_COMP_MANUAL", "Manual", ISS_OFF);
    compensationMode_.fill(dev, "MIVEL_TEMP_COMP_MODE", "Compensation", MAIN_CONTROL_TAB, IP_RW,
                           ISR_1OFMANY, 0, IPS_IDLE);
    compensation_[0].fill("COEFFICIENT", "Steps per °F", "%.2f", -Focuser::CoefficientLimit,
                          Focuser::CoefficientLimit, 0.1, 0);
    compensation_[1].fill("THRESHOLD", "Threshold (steps)", "%.0f", 0, Focuser::ThresholdLimit, 1,
                          0);
    compensation_.fill(dev, "MIVEL_TEMP_COMP", "Compensation", MAIN_CONTROL_TAB, IP_RW, 0,
                       IPS_IDLE);
}

void MivelDevice::initRotatorExtras() {
    const char* dev = getDeviceName();
    wrap_[0].fill("WRAP", "Degrees", "%.2f", -3600, 3600, 0, 0);
    wrap_.fill(dev, "MIVEL_ROTATOR_WRAP", "Cable wrap", RotatorTab, IP_RO, 0, IPS_IDLE);
    wrapLimit_[0].fill("LIMIT", "Degrees", "%.0f", 0, Rotator::WrapLimitMax, 1, 0);
    wrapLimit_.fill(dev, "MIVEL_WRAP_LIMIT", "Wrap limit", RotatorTab, IP_RW, 0, IPS_IDLE);
}

bool MivelDevice::updateProperties() {
    DefaultDevice::updateProperties();
    FI::updateProperties();
    RI::updateProperties();
    if (isConnected()) {
        defineProperty(focusTemperature_);
        defineProperty(compensationMode_);
        defineProperty(compensation_);
        defineProperty(wrap_);
        wrapLimit_[0].setValue(session_.rotator().wrapLimit());
        defineProperty(wrapLimit_);
        thermal_.define(*this);
        // What the configuration holds for the device applies once it is linked.
        loadConfig(true, ReverseRotatorSP.name);
        loadConfig(true, wrapLimit_.getName());
        SetTimer(getCurrentPollingPeriod());
    } else {
        for (const char* name : {focusTemperature_.getName(), compensationMode_.getName(),
                                 compensation_.getName(), wrap_.getName(), wrapLimit_.getName()})
            deleteProperty(name);
        thermal_.remove(*this);
    }
    return true;
}

// INDI asks for the connection synchronously, so Qt's events run here until the three objects
// have linked or given up; INDI's own loop, and with it every other request, waits meanwhile.
bool MivelDevice::linkUnit() {
    const QString port = QString::fromStdString(connection_->candidatePort());
    Task<Status> linking = session_.link(port);
    if (!pump_.runUntil([&linking] { return linking.isDone(); }, LinkTimeoutMs)) {
        session_.unlink();
        refused(errors::NoResponseFromMivel);
        return false;
    }
    if (const Status& failed = linking.result()) {
        refused(*failed);
        return false;
    }
    LOGF_INFO("The unit answers on %s.", port.toLocal8Bit().constData());
    return true;
}

void MivelDevice::message(const QString& text, bool warning) {
    const QByteArray line = text.toUtf8();
    if (warning)
        LOGF_WARN("%s", line.constData());
    else
        LOGF_INFO("%s", line.constData());
}

void MivelDevice::refused(const Error& error) {
    LOGF_ERROR("%s", error.description.toUtf8().constData());
}

bool MivelDevice::ISNewNumber(const char* dev, const char* name, double values[], char* names[],
                              int n) {
    if (dev && std::strcmp(dev, getDeviceName()) == 0 && linked()) {
        if (compensation_.isNameMatch(name))
            return newCompensationSettings(values, names, n);
        if (wrapLimit_.isNameMatch(name))
            return newWrapLimit(values[0]);
        if (thermal_.newNumber(session_.temperature(), name, values, names, n))
            return true;
        if (named(name, "FOCUS_"))
            return FI::processNumber(dev, name, values, names, n);
        if (named(name, "ROTATOR"))
            return RI::processNumber(dev, name, values, names, n);
    }
    return DefaultDevice::ISNewNumber(dev, name, values, names, n);
}

bool MivelDevice::ISNewSwitch(const char* dev, const char* name, ISState* states, char* names[],
                              int n) {
    if (dev && std::strcmp(dev, getDeviceName()) == 0 && linked()) {
        if (compensationMode_.isNameMatch(name))
            return newCompensationMode(states, names, n);
        if (thermal_.newSwitch(session_.temperature(), name, states, names, n))
            return true;
        if (named(name, "FOCUS_"))
            return FI::processSwitch(dev, name, states, names, n);
        if (named(name, "ROTATOR"))
            return RI::processSwitch(dev, name, states, names, n);
    }
    return DefaultDevice::ISNewSwitch(dev, name, states, names, n);
}

// Saved with INDI's configuration: the connection's port, the rotator's direction and its wrap
// limit. What the unit itself keeps (the compensation, the fan and heater settings) is not.
bool MivelDevice::saveConfigItems(FILE* fp) {
    DefaultDevice::saveConfigItems(fp);
    RI::saveConfigItems(fp);
    wrapLimit_.save(fp);
    return true;
}

bool MivelDevice::newCompensationMode(ISState* states, char* names[], int n) {
    if (!compensationMode_.update(states, names, n))
        return false;
    const int mode = compensationMode_.findOnSwitchIndex();
    Focuser& focuser = session_.focuser();
    focuser.setTempCompManualMode(mode == 2);
    focuser.setTempComp(mode > 0);
    compensationMode_.setState(IPS_OK);
    compensationMode_.apply();
    return true;
}

bool MivelDevice::newCompensationSettings(double values[], char* names[], int n) {
    Focuser& focuser = session_.focuser();
    for (int i = 0; i < n; ++i) {
        const bool coefficient = std::strcmp(names[i], "COEFFICIENT") == 0;
        const double v = values[i];
        const Status set = coefficient ? focuser.setTempCompCoefficient(float(v))
                                       : focuser.setTempCompMovementThreshold(
                                             qint16(std::lround(std::clamp(v, -32768.0, 32767.0))));
        if (set)
            return alert(compensation_, *set), true;
        compensation_[coefficient ? 0 : 1].setValue(v);
    }
    compensation_.setState(IPS_OK);
    compensation_.apply();
    return true;
}

bool MivelDevice::newWrapLimit(double degrees) {
    if (const Status set = session_.rotator().setWrapLimit(degrees))
        return alert(wrapLimit_, *set), true;
    wrapLimit_[0].setValue(degrees);
    wrapLimit_.setState(IPS_OK);
    wrapLimit_.apply();
    return true;
}

void MivelDevice::TimerHit() {
    if (!isConnected())
        return;
    if (!polling_)
        Task<void> round = poll();
    SetTimer(getCurrentPollingPeriod());
}

// The objects ask the unit no more often than they always have (the focuser and the rotator
// every half second, the temperatures every second); a round that takes longer than the poll
// period makes the next tick skip.
Task<void> MivelDevice::poll() {
    polling_ = true;
    struct Done {
        bool& polling;
        ~Done() { polling = false; }
    } done{polling_};

    Focuser& focuser = session_.focuser();
    const qint32 position = co_await focuser.position();
    const bool focusing = co_await focuser.isMoving();
    const bool manual = co_await focuser.tempCompManualMode();
    if (!linked())
        co_return;
    showFocuser(position, focusing);
    showCompensation(focuser.tempComp(), manual);

    Rotator& rotator = session_.rotator();
    const double angle = co_await rotator.position();
    const bool turning = co_await rotator.isMoving();
    const double wrap = co_await rotator.wrap();
    if (!linked())
        co_return;
    showRotator(angle, turning, wrap);

    co_await thermal_.refresh(session_.temperature(), [this] { return linked(); });
    if (!linked())
        co_return;
    const double ambient = thermal_.ambientCelsius();
    if (focusTemperature_[0].getValue() != ambient || focusTemperature_.getState() == IPS_IDLE) {
        focusTemperature_[0].setValue(ambient);
        focusTemperature_.setState(IPS_OK);
        focusTemperature_.apply();
    }
    if (!compensationKnown_)
        co_await readCompensationSettings();
}

// The unit may not have reported its compensation settings yet: the next round asks again.
Task<void> MivelDevice::readCompensationSettings() {
    Focuser& focuser = session_.focuser();
    const Outcome<float> coefficient = co_await focuser.tempCompCoefficient();
    const Outcome<qint32> threshold = co_await focuser.tempCompMovementThreshold();
    if (!linked() || coefficient.error || threshold.error)
        co_return;
    compensationKnown_ = true;
    compensation_[0].setValue(coefficient.value);
    compensation_[1].setValue(threshold.value);
    compensation_.setState(IPS_OK);
    compensation_.apply();
}

void MivelDevice::showCompensation(bool on, bool manual) {
    const int mode = !on ? 0 : manual ? 2 : 1;
    if (compensationMode_.findOnSwitchIndex() == mode && compensationMode_.getState() != IPS_IDLE)
        return;
    compensationMode_.reset();
    compensationMode_[mode].setState(ISS_ON);
    compensationMode_.setState(IPS_OK);
    compensationMode_.apply();
}

} // namespace mivel::indi
