#include "FirmwareFile.h"

namespace mivel::firmware {
namespace {

Error fileError(const QString& what) {
    return programError(ErrorKind::Unavailable, what);
}

// A line as text input reads it: up to LF, with a CR before it dropped too.
QByteArray withoutLineEnd(QByteArray line) {
    if (line.endsWith('\n'))
        line.chop(1);
    if (line.endsWith('\r'))
        line.chop(1);
    return line;
}

} // namespace

Status FirmwareFile::open(const QString& path) {
    file_.close();
    file_.setFileName(path);
    endRecordSeen_ = false;
    lineCount_ = 0;
    if (path.isEmpty() || !file_.open(QIODevice::ReadOnly))
        return fileError(QStringLiteral("Cannot open %1: %2").arg(path, file_.errorString()));
    int count = 0;
    while (!file_.atEnd()) {
        if (file_.readLine().isEmpty() && !file_.atEnd())
            return fileError(QStringLiteral("Cannot read %1: %2").arg(path, file_.errorString()));
        if (++count > MaxLines) {
            file_.close();
            return fileError(QStringLiteral("%1 has more than %2 lines.").arg(path).arg(MaxLines));
        }
    }
    lineCount_ = qint16(count);
    if (!file_.seek(0))
        return fileError(QStringLiteral("Cannot read %1 again: %2").arg(path, file_.errorString()));
    return {};
}

Result<QByteArray> FirmwareFile::nextLine() {
    if (!file_.isOpen() || file_.atEnd()) {
        endRecordSeen_ = true;
        return fileError(QStringLiteral("The firmware file ended before its last line."));
    }
    const QByteArray raw = file_.readLine();
    if (raw.isEmpty() && file_.error() != QFileDevice::NoError)
        return fileError(QStringLiteral("Cannot read the firmware file: ") + file_.errorString());
    QByteArray line = withoutLineEnd(raw);
    if (line.contains("S9") || file_.atEnd())
        endRecordSeen_ = true;
    return line;
}

} // namespace mivel::firmware
