#pragma once

#include "DataLog.h"
#include "LogPlan.h"

#include "app/Prompt.h"

namespace mivel::datalog {

// The logic of the setup window frmLog ("Data Logging Setup"): what Browse and Start Log do
// with what the user entered. Every refusal is a plain message with an OK button.
class LogSetup {
public:
    // Allowed values of the spinner beside the interval: a second to a day.
    static constexpr int MinIntervalS = 1;
    static constexpr int MaxIntervalS = 86400;
    static constexpr int DefaultIntervalS = 60;

    LogSetup(DataLog& log, Prompt& prompt)
        : log_(log)
        , prompt_(prompt) {}

    // Browse: a file chosen in the save dialog is taken unless it exists and the user does not
    // want it overwritten.
    bool takeChosenFile(const QString& path);

    // Start Log: true when the log runs and the window closes; otherwise the user has been told
    // why and the window stays.
    bool start(const QString& intervalText, const ColumnSet& columns, const QString& file);

    // The file filter and default extension of the save dialog.
    static QString fileFilter() { return QStringLiteral("Text Files (*.csv);;All Files (*.*)"); }
    static QString defaultSuffix() { return QStringLiteral("txt"); }

private:
    void tell(const QString& text);

    DataLog& log_;
    Prompt& prompt_;
};

} // namespace mivel::datalog
