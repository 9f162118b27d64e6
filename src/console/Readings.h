#pragma once

#include <QString>
#include <QStringList>

namespace mivel::console {

// Everything a console window shows, as text ready for its labels or as the value of its
// controls. The logic fills it from the unit's replies; the windows only copy it out.
struct Readings {
    // Focus tab.
    QString focusTarget;                                   // :s, counts
    QString focusActual;                                   // :a, counts
    QString motorCurrent;                                  // :mc, amperes
    QString motorState;                                    // :mo, "ON" / "OFF"
    QString spacing = QStringLiteral("GO HOME");           // ideal mirror spacing, or "GO HOME"
    QString spacingUnit;                                   // "mils" / "scaled"; empty unhomed
    QString focusRecordCaption = QStringLiteral("RECORD"); // "RECORD" / "RECORDED"
    bool forceMotorOff = false;                            // Check1
    bool recallFocus = false;                              // chkRecallFocus
    bool focusHomed = false;
    QString tempCompCaption = QStringLiteral("Temperature Compensation = OFF");
    bool synchEnabled = false; // cmdSynchTempComp: manual compensation only

    // Temperatures tab.
    QString ambient;   // :t1, degrees F
    QString primary;   // :t2
    QString secondary; // :t3
    int fanMode = 0;   // :fm; 1 is the automatic setting
    int fanPower = 0;  // :fs, percent
    int fanGain = 10;  // :fg, 1...100 (shown divided by 10)
    int fanDeadBand = 0;
    int heaterMode = 0; // :sm; 1 is the automatic setting
    int heaterPower = 0;
    int heaterSetPoint = 0;
    int dew1 = 0;
    int dew2 = 0;

    // Rotator tab.
    QString rotatorTarget; // :rs, degrees
    QString rotatorActual; // :rt, degrees
    QString wrap;          // :wr, degrees
    QString rotatorRecordCaption = QStringLiteral("RECORD");
    bool recallRotator = false;
    bool rotatorHomed = false;
    QString rotatorHomedText = QStringLiteral("NOT HOMED");
    QString wrapLimit; // "of ±540" beside the wrap, degrees

    // Fourth tab: the latest diagnostic record, item by item, and the one before it.
    QStringList diagnosticItems;
    QStringList lastDiagnosticRecord;

    // Status bar.
    QString electronicsStatus = QStringLiteral("Mivel Temp -"); // "Mivel Temp " + :t7
    QString ambientStatus = QStringLiteral("Amb Temp -");       // "Amb Temp " + calibrated :tca
};

} // namespace mivel::console
