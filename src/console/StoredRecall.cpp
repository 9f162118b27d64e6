#include "StoredRecall.h"

#include "ConsoleCore.h"
#include "FocusCommands.h"
#include "RotatorCommands.h"

#include "tempcomp/FocusMoveRule.h"

namespace mivel::console {

using records::RecordKind;

StoredRecall::StoredRecall(ConsoleCore& core, FocusCommands& focus, RotatorCommands& rotator)
    : core_(core)
    , focus_(focus)
    , rotator_(rotator) {}

QStringList StoredRecall::items(RecordKind kind) const {
    return positions_ ? records::recallItems(positions_->list(kind)) : QStringList();
}

records::CurrentPosition StoredRecall::current(RecordKind kind) const {
    if (kind == RecordKind::Rotator)
        return {rotator_.position(), 0};
    // The compensation sensor's temperature is the one the unit compensates with, so the
    // coefficient learned from these records is in the unit's own terms.
    return {focus_.position(), core_.ctx.shared().tempComp.sensorTemp};
}

void StoredRecall::edit(RecordKind kind) {
    if (!positions_)
        return;
    core_.dialogs->runStoreEditor(positions_->list(kind), [this, kind] { return current(kind); });
    if (listsChanged)
        listsChanged();
}

void StoredRecall::recall(RecordKind kind, int entry) {
    if (!positions_)
        return;
    if (entry == 0) {
        edit(kind);
        return;
    }
    const auto record = positions_->list(kind).record(entry);
    if (!record)
        return;
    if (kind == RecordKind::Focus) {
        if (const auto refusal = tempcomp::focusMoveRefusal(
                core_.ctx.shared().tempComp, tempcomp::FocusMoveSource::StoredPosition)) {
            core_.inform(*refusal, MessageTitle, Prompt::Icon::Information);
            return;
        }
        focus_.setGotoText(QString::number(record->position));
    } else {
        // The Goto box takes the angle the console shows, which carries the position offset.
        rotator_.setGotoText(
            QString::number(record->position / 200.0 + rotator_.offsetDeg(), 'g', 10));
    }
    if (gotoTextsChanged)
        gotoTextsChanged();
    if (kind == RecordKind::Focus)
        focus_.goTo();
    else
        rotator_.goTo();
}

} // namespace mivel::console
