#pragma once

#include "RecordList.h"

#include <QString>
#include <QStringList>

namespace mivel {
class Prompt;
}

namespace mivel::records {

// The stored focus and rotator positions of the process: one list of each, loaded when the
// console starts (and when the server starts without one), read by the consoles' recall boxes,
// the editors and the driver objects.
class StoredPositions {
public:
    explicit StoredPositions(const QString& dataDir)
        : focus_(RecordKind::Focus, dataDir)
        , rotator_(RecordKind::Rotator, dataDir) {}

    RecordList& focus() { return focus_; }
    RecordList& rotator() { return rotator_; }
    const RecordList& focus() const { return focus_; }
    const RecordList& rotator() const { return rotator_; }
    RecordList& list(RecordKind kind) { return kind == RecordKind::Focus ? focus_ : rotator_; }

    // Loads both files. What could not be read is said to the user, one message per file, under
    // the title of the record-file messages; the records before it are kept.
    void load(Prompt& prompt);

private:
    RecordList focus_;
    RecordList rotator_;
};

// The title of the record-file messages.
inline const QString RecordMessageTitle = QStringLiteral("Vark");

// A list as scripts read it: a JSON array of {"Description", "Position", "Temperature"}, the
// temperature for focus records only.
QString recordsJson(const RecordList& list);
// One record as a JSON object; empty text outside 1..count.
QString recordJson(const RecordList& list, int r);

// The recall boxes of the consoles: "<new>" first, then the descriptions in record order.
QStringList recallItems(const RecordList& list);
inline const QString NewRecallItem = QStringLiteral("<new>");

} // namespace mivel::records
