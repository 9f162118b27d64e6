#pragma once

#include "alpaca/ServeOptions.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace mivel {

// The command line of the mivel program: where the driver server serves, and the run's choices.
struct ProgramOptions : ServeOptions {
    bool headless = false;
    bool simulate = false;
    bool help = false;
    QString portDevice;      // serial device path over the stored port; empty: the stored one
    QString configDir;       // empty: the standard folders
    double thermalSpeed = 1; // how many times faster the simulated unit's night runs
    QString flashFile;       // --flash: upload this firmware file in the terminal, then end
};

struct ParsedOptions {
    std::optional<ProgramOptions> options; // empty when the command line is wrong
    QString error;                         // one line saying what is wrong
};

// args as main received them, program name first.
ParsedOptions parseProgramOptions(const QStringList& args);
QString programUsage();

// Whether a graphical session is there to show windows in: on Linux and other X11/Wayland
// systems, DISPLAY or WAYLAND_DISPLAY; elsewhere always.
bool displayAvailable();

} // namespace mivel
