#include "RecordFile.h"

#include <QDir>
#include <QtEndian>

#include <cmath>
#include <cstring>

namespace mivel::records {

namespace {

constexpr SlotLayout kFocusLayout{108, DescriptionBytes + 8, true};
constexpr SlotLayout kRotatorLayout{104, DescriptionBytes + 4, false};

// Bytes no writer of these files puts into a description. NUL is not among them: a slot that a
// write beyond the end of the file skipped over reads as zeros, an empty record.
bool isControlByte(unsigned char c) {
    return (c >= 0x01 && c < 0x20) || c == 0x7F;
}

QString descriptionFrom(const char* bytes) {
    QByteArray text(bytes, DescriptionBytes);
    for (char& c : text)
        if (c == '\0')
            c = ' ';
    // Only the padding goes: leading blanks were trimmed before the text was stored.
    while (text.endsWith(' '))
        text.chop(1);
    return QString::fromLatin1(text);
}

} // namespace

SlotLayout layoutOf(RecordKind kind) {
    return kind == RecordKind::Focus ? kFocusLayout : kRotatorLayout;
}

QString storableDescription(const QString& typed) {
    QString text = typed.trimmed();
    for (QChar& c : text)
        if (c.unicode() > 0xFF)
            c = QLatin1Char('?');
    return text.left(DescriptionBytes);
}

QByteArray encodeSlot(RecordKind kind, const StoredPosition& record) {
    const SlotLayout layout = layoutOf(kind);
    QByteArray slot(layout.slotBytes, '\0');
    const QByteArray text = storableDescription(record.description).toLatin1();
    std::memset(slot.data(), ' ', DescriptionBytes);
    std::memcpy(slot.data(), text.constData(), size_t(text.size()));
    qToLittleEndian<std::int32_t>(record.position, slot.data() + DescriptionBytes);
    if (layout.temperature)
        qToLittleEndian<float>(record.temperature, slot.data() + DescriptionBytes + 4);
    return slot;
}

DecodedFile decodeFile(RecordKind kind, const QByteArray& data) {
    const SlotLayout layout = layoutOf(kind);
    DecodedFile out;
    qsizetype at = 0;
    for (int r = 1; at < data.size(); ++r, at += layout.slotBytes) {
        if (data.size() - at < layout.fieldBytes) {
            out.problem = QStringLiteral("record %1 is cut short after %2 of its %3 bytes")
                              .arg(r)
                              .arg(data.size() - at)
                              .arg(layout.fieldBytes);
            break;
        }
        const char* slot = data.constData() + at;
        StoredPosition record;
        bool foreign = false;
        for (int i = 0; i < DescriptionBytes; ++i)
            foreign = foreign || isControlByte(static_cast<unsigned char>(slot[i]));
        record.position = qFromLittleEndian<std::int32_t>(slot + DescriptionBytes);
        if (layout.temperature) {
            record.temperature = qFromLittleEndian<float>(slot + DescriptionBytes + 4);
            foreign = foreign || !std::isfinite(record.temperature);
        }
        if (foreign) {
            out.problem = QStringLiteral("record %1 does not hold a stored position").arg(r);
            break;
        }
        record.description = descriptionFrom(slot);
        out.records.push_back(record);
    }
    return out;
}

QString locateFile(const QString& dir, const QString& name) {
    const QDir folder(dir);
    if (folder.exists(name))
        return folder.filePath(name);
    const QStringList entries = folder.entryList(QDir::Files | QDir::Hidden | QDir::System);
    for (const QString& entry : entries)
        if (entry.compare(name, Qt::CaseInsensitive) == 0)
            return folder.filePath(entry);
    return folder.filePath(name);
}

QString dataFileName(RecordKind kind) {
    return kind == RecordKind::Focus ? QStringLiteral("vark.dat")
                                     : QStringLiteral("VarkRotator.dat");
}

QString tempFileName(RecordKind kind) {
    return kind == RecordKind::Focus ? QStringLiteral("vark.tmp")
                                     : QStringLiteral("VarkRotator.tmp");
}

} // namespace mivel::records
