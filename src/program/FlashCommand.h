#pragma once

#include "ProgramOptions.h"

namespace mivel {

// mivel --flash FILE: the firmware upload in the terminal, with a progress bar, over the port
// given with --port or over the built-in simulated unit (--simulate). Returns the exit code:
// 0 on success, 10 + the upload's error code (11 to 16) on a failed upload, 1 when the port
// cannot be had (another program holds it, or it does not open).
int runFlashCommand(const ProgramOptions& options, int& argc, char** argv);

} // namespace mivel
