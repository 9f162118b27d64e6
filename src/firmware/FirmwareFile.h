#pragma once

#include "core/Error.h"

#include <QByteArray>
#include <QFile>
#include <QString>

namespace mivel::firmware {

// The firmware file as the upload reads it: text lines, each taken without its line end and sent
// as it stands. The line count is a 16-bit number, as the loader's handshake counts lines: a file
// of more than 32767 lines cannot be counted and is refused like an unreadable one.
class FirmwareFile {
public:
    static constexpr int MaxLines = 32767;

    // Opens the file, counts its lines, and reopens it at its start.
    Status open(const QString& path);
    bool isOpen() const { return file_.isOpen(); }
    qint16 lineCount() const { return lineCount_; }

    // The next line without its line end (a read error, or nothing left to read, is an error).
    Result<QByteArray> nextLine();
    // A line containing "S9" (the termination record) has been read, or the file has ended.
    bool endRecordSeen() const { return endRecordSeen_; }
    void close() { file_.close(); }

private:
    QFile file_;
    qint16 lineCount_ = 0;
    bool endRecordSeen_ = false;
};

} // namespace mivel::firmware
