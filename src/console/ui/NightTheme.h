#pragma once

class QApplication;

namespace mivel::console {

// The console's look: dark, with large readings, so that it reads at a glance at the telescope.
// Night vision turns every light colour red to keep the observer's dark adaptation.
void applyConsoleTheme(QApplication& app, bool nightVision);

} // namespace mivel::console
