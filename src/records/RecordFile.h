#pragma once

// The stored-position files: fixed-length slots with no header, record r (from 1) at byte
// (r - 1) x slot length. A slot holds its fields back to back, then zero filler:
//
//   focus slot (108 bytes):   description 50 | position 4 | temperature 4 | filler 50
//   rotator slot (104 bytes): description 50 | position 4 | filler 50
//
// The description is single-byte text (Latin-1 here) padded with blanks on the right, the
// position a little-endian two's-complement 32-bit integer, the temperature a little-endian IEEE
// single. Older writers stopped the last slot right after its fields, so a file may end there.

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <vector>

namespace mivel::records {

enum class RecordKind { Focus, Rotator };

// One stored position: a focus record (FocusRecord) or, without its temperature, a rotator
// record (RotatorRecord). Rotator positions are in 1/200 degree, as the unit counts them.
struct StoredPosition {
    QString description;
    std::int32_t position = 0;
    float temperature = 0; // degrees F; focus records only

    friend bool operator==(const StoredPosition&, const StoredPosition&) = default;
};

inline constexpr int DescriptionBytes = 50;

// The layout of one kind of file.
struct SlotLayout {
    int slotBytes;  // 108 or 104
    int fieldBytes; // 58 or 54: where the filler starts
    bool temperature;
};
SlotLayout layoutOf(RecordKind kind);

// A description as it can be stored: trimmed, characters without a single-byte form replaced by
// "?", cut to 50 characters.
QString storableDescription(const QString& typed);

// One whole slot, filler included.
QByteArray encodeSlot(RecordKind kind, const StoredPosition& record);

// What reading a file gave: the records of its whole slots, and what was wrong with the rest.
struct DecodedFile {
    std::vector<StoredPosition> records;
    // Empty when the file was read to its end; otherwise why reading stopped (a slot cut short,
    // bytes that no writer of these files produces).
    QString problem;
};

// Reads slot by slot from record 1. A slot whose description holds control characters or whose
// temperature is not a number was not written by this program (a foreign file, garbage): reading
// stops there, as it does at a slot cut short before its fields end.
DecodedFile decodeFile(RecordKind kind, const QByteArray& data);

// The file named `name` in `dir`, found without regard to case (the files were written under
// several spellings of their names); `dir`/`name` when there is none.
QString locateFile(const QString& dir, const QString& name);

// The data and temporary file names of a kind.
QString dataFileName(RecordKind kind);
QString tempFileName(RecordKind kind);

} // namespace mivel::records
