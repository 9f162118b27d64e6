#pragma once

#include "records/StoreEditor.h"
#include "records/StoredPositions.h"

#include <QStringList>

#include <functional>

namespace mivel::console {

struct ConsoleCore;
class FocusCommands;
class RotatorCommands;

// The console's recall boxes of stored positions and the editors behind them. A box lists
// "<new>" and then the records; choosing a record puts its position into the Goto box and runs
// the Goto, choosing "<new>" opens the editor, and the boxes are rebuilt when the editor closes.
class StoredRecall {
public:
    StoredRecall(ConsoleCore& core, FocusCommands& focus, RotatorCommands& rotator);

    void setPositions(records::StoredPositions* positions) { positions_ = positions; }
    records::StoredPositions* positions() const { return positions_; }

    QStringList items(records::RecordKind kind) const;
    // An entry of a box: 0 is "<new>", r the record r.
    void recall(records::RecordKind kind, int entry);
    // The editor of a list, modal; the boxes follow when it has closed.
    void edit(records::RecordKind kind);
    // What the editor's Current button takes.
    records::CurrentPosition current(records::RecordKind kind) const;

    std::function<void()> gotoTextsChanged; // a recalled position is in a Goto box
    std::function<void()> listsChanged;     // the editor closed: rebuild the boxes

private:
    ConsoleCore& core_;
    FocusCommands& focus_;
    RotatorCommands& rotator_;
    records::StoredPositions* positions_ = nullptr;
};

} // namespace mivel::console
