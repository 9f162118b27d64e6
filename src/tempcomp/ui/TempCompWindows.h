#pragma once

// What the console calls to open the compensation dialog and the calibration window.

#include "tempcomp/TempCompReplies.h"

#include "app/AppContext.h"

class QWidget;

namespace mivel::records {
class RecordList;
}

namespace mivel::tempcomp {

// Shows the compensation dialog modally and returns when it has closed; nothing before or
// after. For a console that sends " :V " and the mode itself. The stored focus positions, when
// given, are offered for learning the coefficient.
void runTempCompDialog(AppContext& ctx, QWidget* parent,
                       const records::RecordList* focusRecords = nullptr);

// The console's compensation button: prepares the unit, shows the compensation dialog modally
// and, however it was closed, sends the mode. Returns what the console's compensation and
// synchronisation buttons show.
TempCompButtons openTempCompDialog(AppContext& ctx, QWidget* parent,
                                   const records::RecordList* focusRecords = nullptr);

// Opens the calibration window, or brings it forward when it is open already. The window
// deletes itself when closed.
QWidget* openCalibrationWindow(AppContext& ctx, QWidget* parent);

} // namespace mivel::tempcomp
