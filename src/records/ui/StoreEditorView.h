#pragma once

#include "records/StoreEditor.h"

#include <QDialog>

#include <memory>

class QLineEdit;
class QTableWidget;

namespace mivel::records {

// frmStoreFocus and frmStoreRotator: the stored-position editors' windows over their logic.
// The two forms differ only in the focus form's temperature box.
class StoreEditorView : public QDialog {
    Q_OBJECT
public:
    StoreEditorView(RecordList& list, Prompt& prompt, std::function<CurrentPosition()> current,
                    QWidget* parent = nullptr);
    ~StoreEditorView() override;

    StoreEditor& logic() { return logic_; }

protected:
    // Closing the window runs the save step first, as cmdExit does.
    void closeEvent(QCloseEvent* event) override;
    void reject() override;

private:
    template <class W> W* find(const char* name) const;
    void bindButtons();
    void refresh();
    void fillGrid();

    StoreEditor logic_;
    std::shared_ptr<void> form_; // the generated form, kept for the widgets' lifetime
    QTableWidget* grid_ = nullptr;
    QLineEdit* description_ = nullptr;
    QLineEdit* position_ = nullptr;
    QLineEdit* temperature_ = nullptr; // none in the rotator form
    bool filling_ = false;
    bool closing_ = false;
};

// Opens the editor of a list modally and returns when it has closed.
void runStoreEditor(RecordList& list, Prompt& prompt, std::function<CurrentPosition()> current,
                    QWidget* parent);

} // namespace mivel::records
