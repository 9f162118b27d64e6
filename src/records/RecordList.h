#pragma once

#include "RecordFile.h"

#include "core/Error.h"

#include <QString>

#include <optional>
#include <vector>

namespace mivel::records {

// One list of stored positions: the array the console, the editors and the driver objects read,
// indexed from 1, and its file in the program's data folder. Record r of the array is record r
// of the file and row r of the editor's grid.
//
// The array grows in steps: when a record's index passes its upper bound it is resized to that
// index + 20, keeping what it holds. The count is 16-bit, as in the files' other readers.
class RecordList {
public:
    static constexpr int GrowthStep = 20;
    static constexpr int InitialBound = 20;
    static constexpr int MaxCount = 32767;

    RecordList(RecordKind kind, QString dataDir);

    RecordKind kind() const { return kind_; }
    int count() const { return count_; }
    // The array's upper bound: the records it has room for.
    int capacity() const { return int(slots_.size()) - 1; }
    // Record r, 1 to count; empty outside.
    std::optional<StoredPosition> record(int r) const;
    std::vector<StoredPosition> records() const;

    // The data file, under whichever spelling of its name it has.
    QString dataPath() const;

    // Replaces the array with the file's records. Returns why not every byte of the file could
    // be read (the records of the whole slots before that point are kept), or empty text. A
    // missing file is an empty list.
    QString load();

    // Stores record r into the array and writes it in place into the file. `appended`: r is a
    // new record after the last, so the array grows when needed and the count goes up by one.
    // The array keeps the record even when the file cannot be written; the error says why.
    Status save(int r, const StoredPosition& record, bool appended);

    // Deletes record r. The file is rewritten with records 1 to the new count of the old file
    // except r, so deleting any record but the last also leaves the old last record out of the
    // file while the array keeps it: that is how the files have always been rewritten, and
    // other readers of them expect it. The new file replaces the old one whole, so an
    // interruption leaves the old file. When it cannot be written nothing changes.
    Status remove(int r);

private:
    void grow(int r);
    Error fileError(int number, const QString& path, const QString& why) const;

    RecordKind kind_;
    QString dir_;
    std::vector<StoredPosition> slots_; // [0] unused
    int count_ = 0;
};

} // namespace mivel::records
