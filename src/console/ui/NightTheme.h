#pragma once

#include <QPixmap>

class QApplication;

namespace mivel::console {

// The console's look: dark, with large readings, so that it reads at a glance at the telescope.
// Night vision turns every light colour red to keep the observer's dark adaptation.
void applyConsoleTheme(QApplication& app, bool nightVision);
// Whether the red night theme is on.
bool nightVisionOn();
// A picture in the night theme's red: its brightness kept, its colour dropped, so that nothing on
// the screen spoils dark adaptation (message-box icons, for one).
QPixmap nightRed(const QPixmap& picture);

} // namespace mivel::console
