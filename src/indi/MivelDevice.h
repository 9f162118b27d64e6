#pragma once

#include "MotionWatch.h"
#include "QtPump.h"
#include "RotatorFrame.h"
#include "ThermalPanel.h"
#include "UnitSession.h"

#include <libindi/defaultdevice.h>
#include <libindi/indifocuserinterface.h>
#include <libindi/indipropertynumber.h>
#include <libindi/indipropertyswitch.h>
#include <libindi/indirotatorinterface.h>

namespace mivel::indi {

class UnitConnection;

// The Mivel unit as one INDI device, "Mivel": an absolute focuser, a rotator with cable-wrap
// protection, and the temperatures, fan and heaters in a tab of their own. It drives the same
// driver objects as the Alpaca server, so every command, limit and refusal is theirs; a
// refusal puts the property in the Alert state with the object's message.
//
// Rotator angles: the unit's angle is the mechanical one; Reverse mirrors it (for optics that
// turn the image the other way) and Sync redefines the unit's angle, as the object's
// ResetPosition does.
class MivelDevice final : public INDI::DefaultDevice,
                          public INDI::FocuserInterface,
                          public INDI::RotatorInterface {
public:
    static constexpr const char* DeviceName = "Mivel";
    static constexpr const char* RotatorTab = "Rotator";
    static constexpr uint32_t DefaultPollMs = 500;
    // The focuser's four probes of half a second, with room to spare.
    static constexpr int LinkTimeoutMs = 5000;

    MivelDevice();
    ~MivelDevice() override;

    const char* getDefaultName() override { return DeviceName; }
    bool initProperties() override;
    bool updateProperties() override;
    bool ISNewNumber(const char* dev, const char* name, double values[], char* names[],
                     int n) override;
    bool ISNewSwitch(const char* dev, const char* name, ISState* states, char* names[],
                     int n) override;
    void TimerHit() override;

protected:
    bool saveConfigItems(FILE* fp) override;

    IPState MoveAbsFocuser(uint32_t targetTicks) override;
    IPState MoveRelFocuser(FocusDirection dir, uint32_t ticks) override;
    bool AbortFocuser() override;

    IPState MoveRotator(double angle) override;
    bool SyncRotator(double angle) override;
    IPState HomeRotator() override;
    bool AbortRotator() override;
    bool ReverseRotator(bool enabled) override;

private:
    void initFocuserExtras();
    void initRotatorExtras();
    // The handshake of the connection: links the unit over the port being tried.
    bool linkUnit();
    void message(const QString& text, bool warning);
    // A refusal of a driver object, as the device's log shows it.
    void refused(const Error& error);
    bool linked() const { return isConnected() && session_.linked(); }

    bool newCompensationMode(ISState* states, char* names[], int n);
    bool newCompensationSettings(double values[], char* names[], int n);
    bool newWrapLimit(double degrees);

    // One round of reading the unit and sending what changed.
    Task<void> poll();
    Task<void> readCompensationSettings();
    void showFocuser(qint32 position, bool moving);
    void showCompensation(bool on, bool manual);
    void showRotator(double mechanical, bool moving, double wrapDegrees);

    QtPump pump_; // first: the Qt application the session needs
    UnitSession session_;
    UnitConnection* connection_ = nullptr; // owned by the device once registered
    ThermalPanel thermal_;
    MotionWatch focuserMove_;
    MotionWatch rotatorMove_;
    RotatorFrame frame_;
    bool polling_ = false;
    bool compensationKnown_ = false;

    INDI::PropertyNumber focusTemperature_{1};
    INDI::PropertySwitch compensationMode_{3};
    INDI::PropertyNumber compensation_{2};
    INDI::PropertyNumber wrap_{1};
    INDI::PropertyNumber wrapLimit_{1};
};

} // namespace mivel::indi
