#pragma once

#include "datalog/DataLog.h"
#include "datalog/LogSetup.h"

#include <QDialog>

#include <functional>
#include <memory>

namespace Ui {
class frmLog;
}

namespace mivel::datalog {

// frmLog, "Data Logging Setup": the columns, the interval with its spinner, the file with its
// Browse button, Start Log and Cancel. A view over LogSetup; it opens with what the last log of
// the process used, or every column, a minute and defaultFile.
class LogDialog : public QDialog {
    Q_OBJECT
public:
    LogDialog(DataLog& log, Prompt& prompt, const QString& defaultFile, QWidget* parent = nullptr);
    ~LogDialog() override;

    // The save dialog of Browse; a test gives its own. Returns the chosen path, empty on cancel.
    void setFileChooser(std::function<QString(QWidget* parent)> choose) {
        chooseFile_ = std::move(choose);
    }

private:
    void onBrowse();
    void onStart();
    void onIntervalEdited(const QString& text);
    ColumnSet columns() const;

    std::unique_ptr<Ui::frmLog> ui_;
    LogSetup setup_;
    std::function<QString(QWidget*)> chooseFile_;
};

} // namespace mivel::datalog
