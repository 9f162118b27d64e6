#pragma once

#include "tempcomp/TempCompDialog.h"

#include <QDialog>

#include <memory>

namespace Ui {
class frmTempComp;
}

namespace mivel::records {
class RecordList;
}

namespace mivel::tempcomp {

// frmTempComp: the compensation dialog's window over its logic object.
class TempCompDialogView : public QDialog {
    Q_OBJECT
public:
    // The stored focus positions, when the run keeps them, are offered for learning the
    // coefficient.
    explicit TempCompDialogView(AppContext& ctx, QWidget* parent = nullptr,
                                const records::RecordList* focusRecords = nullptr);
    ~TempCompDialogView() override;

    TempCompDialog& logic() { return logic_; }

    // OK, Cancel and the window's close button go through the logic, which may keep the
    // dialog open.
    void accept() override;
    void reject() override;

private:
    void refresh();
    void showWaitCursor(bool on);
    void learn();

    std::unique_ptr<Ui::frmTempComp> ui_;
    TempCompDialog logic_;
    const records::RecordList* focusRecords_;
    bool updating_ = false;
    bool waitCursor_ = false;
};

} // namespace mivel::tempcomp
