#include "TempCompWindows.h"

#include "CalibrationWindowView.h"
#include "TempCompDialogView.h"

#include <QPointer>

namespace mivel::tempcomp {

void runTempCompDialog(AppContext& ctx, QWidget* parent, const records::RecordList* focusRecords) {
    TempCompDialogView dialog(ctx, parent, focusRecords);
    dialog.exec();
}

TempCompButtons openTempCompDialog(AppContext& ctx, QWidget* parent,
                                   const records::RecordList* focusRecords) {
    prepareTempCompDialog(ctx);
    runTempCompDialog(ctx, parent, focusRecords);
    return finishTempCompDialog(ctx);
}

QWidget* openCalibrationWindow(AppContext& ctx, QWidget* parent) {
    // One calibration window at a time: two would each offer to upload on closing.
    static QPointer<CalibrationWindowView> open;
    if (!open)
        open = new CalibrationWindowView(ctx, parent);
    open->show();
    open->raise();
    open->activateWindow();
    return open;
}

} // namespace mivel::tempcomp
