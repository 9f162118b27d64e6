#pragma once

#include "app/Prompt.h"

#include <QString>

// The titles and warnings more than one part of a console shows.
namespace mivel::console::texts {

inline const QString kVark = QStringLiteral("Vark");
inline const QString kPortNotOpen = QStringLiteral("Error:  The communications port is not open.");
inline const QString kMustHome = QStringLiteral(
    "Warning:  You must first find the home position before moving to absolute positions.  "
    "Please press the 'HOME' button and try again.");
inline const QString kPastWrapLimit = QStringLiteral("Warning:  Can not slew past wrap limit.");

} // namespace mivel::console::texts
