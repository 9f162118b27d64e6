#pragma once

#include "core/Error.h"

#include <QString>

namespace mivel::firmware {

// What a firmware file holds, read before it is sent so that the observer knows what is about to
// go to the unit. The upload itself does not depend on it: the file is sent as it stands.
struct FirmwareSummary {
    int lines = 0;
    int records = 0;      // lines that are S-records (good or not)
    qint64 dataBytes = 0; // program bytes of the good S1, S2 and S3 records
    quint32 lowAddress = 0;
    quint32 highAddress = 0; // of the last data byte
    int badRecords = 0;      // wrong checksum, length, type or hex digits
    int firstBadLine = 0;    // 1-based; 0 when every record is good
    int otherLines = 0;      // lines that are not S-records at all (blank ones not counted)
    bool terminated = false; // an S7, S8 or S9 record is there

    bool allGood() const { return badRecords == 0 && otherLines == 0; }
};

Result<FirmwareSummary> summariseFirmware(const QString& path);

// A few lines of plain words about the summary, for the file page.
QString describeFirmware(const FirmwareSummary& summary);

} // namespace mivel::firmware
