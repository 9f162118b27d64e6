#pragma once

#include "records/StoreEditor.h"

#include <QString>

#include <functional>

namespace mivel::console {

// The small windows the console logic opens in the middle of a command. The widgets library
// implements them; without a display (and in tests) the defaults answer as a user who cancels.
class ConsoleDialogs {
public:
    virtual ~ConsoleDialogs() = default;

    // The unwrap choice (frmUnwrap): 0 cancelled, 1 a full turn against the wrap, 2 back to wrap
    // zero. Modal.
    virtual int chooseUnwrap() { return 0; }
    // The wrap warning (frmWrapMessage): shown without waiting, closes itself.
    virtual void showWrapWarning(const QString& text) {}
    // The temperature compensation dialog (frmTempComp), modal. False when it is not available,
    // in which case its button stays disabled.
    virtual bool tempCompDialogAvailable() const { return false; }
    virtual void runTempCompDialog() {}
    // The stored-position editor of a list (frmStoreFocus, frmStoreRotator), modal; `current`
    // is what its Current button takes.
    virtual void runStoreEditor(records::RecordList& list,
                                std::function<records::CurrentPosition()> current) {}
};

} // namespace mivel::console
