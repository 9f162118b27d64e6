#include "FirmwareSummary.h"

#include "wire/SRecord.h"

#include <QFile>

#include <algorithm>

namespace mivel::firmware {
namespace {

void take(FirmwareSummary& s, const QByteArray& line, int number) {
    if (line.trimmed().isEmpty())
        return;
    const wire::SRecord r =
        wire::readRecord(std::string_view(line.constData(), std::size_t(line.size())));
    if (r.fault == wire::RecordFault::NotARecord) {
        ++s.otherLines;
    } else {
        ++s.records;
        if (!r.ok()) {
            ++s.badRecords;
        } else if (r.carriesData() && !r.data.empty()) {
            const quint32 last = r.address + quint32(r.data.size()) - 1;
            s.lowAddress = s.dataBytes == 0 ? r.address : std::min(s.lowAddress, r.address);
            s.highAddress = s.dataBytes == 0 ? last : std::max(s.highAddress, last);
            s.dataBytes += qint64(r.data.size());
        }
        if (r.ok() && r.terminates())
            s.terminated = true;
    }
    if (!s.allGood() && s.firstBadLine == 0)
        s.firstBadLine = number;
}

QString hex(quint32 address) {
    return QStringLiteral("0x") + QStringLiteral("%1")
                                      .arg(address, address > 0xFFFF ? 6 : 4, 16, QLatin1Char('0'))
                                      .toUpper();
}

} // namespace

Result<FirmwareSummary> summariseFirmware(const QString& path) {
    QFile file(path);
    if (path.isEmpty() || !file.open(QIODevice::ReadOnly))
        return programError(ErrorKind::Unavailable,
                            QStringLiteral("Cannot open %1: %2").arg(path, file.errorString()));
    FirmwareSummary s;
    while (!file.atEnd()) {
        QByteArray line = file.readLine();
        while (line.endsWith('\n') || line.endsWith('\r'))
            line.chop(1);
        take(s, line, ++s.lines);
    }
    return s;
}

QString describeFirmware(const FirmwareSummary& s) {
    QString out = QStringLiteral("%1 records, %2 data bytes").arg(s.records).arg(s.dataBytes);
    if (s.dataBytes > 0)
        out += QStringLiteral(" at %1 to %2").arg(hex(s.lowAddress), hex(s.highAddress));
    out += QStringLiteral(".\n");
    if (s.allGood() && s.records > 0)
        out += QStringLiteral("Every record's checksum is right.");
    else if (s.records == 0)
        out += QStringLiteral("This file holds no S-records: it is not a firmware file.");
    else
        out += QStringLiteral("%1 of the lines are damaged (wrong checksum, length or characters), "
                              "the first on line %2: the unit will refuse this file.")
                   .arg(s.badRecords + s.otherLines)
                   .arg(s.firstBadLine);
    if (s.records > 0 && !s.terminated)
        out += QStringLiteral("\nThe file has no end record (S7, S8 or S9).");
    return out;
}

} // namespace mivel::firmware
