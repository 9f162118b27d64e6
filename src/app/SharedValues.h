#pragma once

#include "core/Numbers.h"

#include <QString>

#include <algorithm>
#include <cstdint>

namespace mivel {

// Temperature-compensation state, shared by the consoles, the compensation dialog and the
// focuser object. Written by the reply parsers.
struct TempCompState {
    std::int16_t mode = 0; // 0 off, 1 automatic, 2 manual
    float coefficient = 0; // counts per degree Fahrenheit
    std::int32_t movementThreshold = 0;
    bool paramsReceived = false; // a :tcc or :tcm was accepted; never cleared
    bool dialogOpen = false;
    float sensorSlope = 0;  // :sl1 / 100000, degrees F per raw unit
    float sensorOffset = 0; // :of1 / 100000
    float sensorTemp = 0;   // :tca x slope + offset
    double sensorRaw = 0;   // last :tca, kept to follow later slope or offset changes
    bool sensorRawReceived = false;
    bool active() const { return mode != 0; }

    // The two compensation replies, applied by this one rule whichever holder parses them, so
    // that the state does not depend on which windows are open.
    // :tcc, counts per 1000 raw sensor units. It cannot be converted before the sensor's slope
    // is known and is then dropped (false).
    bool acceptCoefficientReply(double unitValue) {
        if (sensorSlope == 0)
            return false;
        coefficient = float(unitValue / sensorSlope / 1000);
        paramsReceived = true;
        return true;
    }
    // :tcm, counts, held to 0..100.
    void acceptThresholdReply(double counts) {
        movementThreshold = *wire::roundToInt<std::int32_t>(std::clamp(counts, 0.0, 100.0));
        paramsReceived = true;
    }
};

// Values that several holders of the link need, held once for the process.
struct SharedValues {
    double ambientTemp = 0;   // :t1 / 100
    double primaryTemp = 0;   // :t2 / 100
    double secondaryTemp = 0; // :t3 / 100
    QString versionText;      // :vr
    TempCompState tempComp;
    std::int32_t wrapCounter = 0;        // :wr, 1/200 degree
    std::int16_t focusRecordState = 0;   // 0, 4 or 8, from :frp
    std::int16_t rotatorRecordState = 0; // 0, 4 or 8, from :rrp
    bool pendingU0 = false;              // the unit reported force-motor-off (:mb)
    bool mainConsoleOpen = false;
    std::int16_t skyLinkState = 6; // the sky link's initial state
    std::int16_t unwrapChoice = 0; // set by the unwrap dialog: 0 cancel, 1, 2
    bool rotIndicatorOpen = false;
    bool portChanged = false;     // the setup dialog changed the port
    QString settingsProblemShown; // the settings store's problem the user was last told of
};

} // namespace mivel
