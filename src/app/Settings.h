#pragma once

#include <QString>

#include <cstdint>

namespace mivel {

// The program-wide copy of the settings, loaded by checkRegistry() and read directly by every
// part of the program. Defaults are the values a fresh store is given.
struct Settings {
    bool absolute = false;         // Absolute: connection flag of the driver setup dialog
    std::int16_t port = 1;         // PORT: serial port number, 1 = "COM1"
    bool prompt = false;           // Prompt
    bool controlConsole = false;   // ControlConsole: open the mini console when a driver links
    std::int16_t errorMessage = 0; // ErrorMessage: where unit error messages are reported
    float stepSize = 0.25f;        // StepSize
    std::int16_t focusStep = 0;    // FocusStep: selected focus increment of the consoles
    std::int16_t rotateStep = 0;   // RotateStep
    QString rotateStepOption = QStringLiteral("0"); // RotateStepOption
    std::int32_t mainPosX = 0;                      // MainPosX, MainPosY: main console position
    std::int32_t mainPosY = 0;
    std::int32_t miniPosX = 0; // MiniPosX, MiniPosY: mini console position
    std::int32_t miniPosY = 0;
    bool checkTelescope = false;          // CheckTelescope: true only for a stored 1
    bool promptTheSky = false;            // PromptTheSky: true only for a stored 1
    bool dornaSynchedToTelescope = false; // DornaSynchedToTelescope
    std::int16_t largeStepSize = 80;      // LargeStepSize
    std::int16_t smallStepSize = 5;       // SmallStepSize
    std::int32_t dornaLimit = 540;        // DornaLimit: rotator wrap limit, degrees
    bool autoReverse = true;              // AutoReverse
    QString detector;                     // Detector: imager field of view in the sky chart
    // On Linux the chosen serial device path, stored beside PORT ("PortDevice"); empty means
    // the port number's usual device. With `port` it is the port in use, which every link
    // opens: a device given for the run (the command line, the simulated unit) replaces the
    // stored one here and reaches the store only when the user picks it in a setup dialog.
    QString portDevice;
};

} // namespace mivel
