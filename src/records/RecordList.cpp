#include "RecordList.h"

#include "app/FileSave.h"

#include <QDir>
#include <QFile>
#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcRecords, "mivel.records")

namespace mivel::records {

namespace {

// The error numbers the editors report for a file that fails, as the BASIC runtime numbered
// them: users have long quoted these.
constexpr int kDeviceIoError = 57;
constexpr int kDiskFull = 61;
constexpr int kPermissionDenied = 70;
constexpr int kPathFileAccessError = 75;

int errorNumberOf(QFileDevice::FileError error) {
    switch (error) {
    case QFileDevice::PermissionsError:
        return kPermissionDenied;
    case QFileDevice::ResourceError:
        return kDiskFull;
    case QFileDevice::ReadError:
    case QFileDevice::WriteError:
        return kDeviceIoError;
    default:
        return kPathFileAccessError;
    }
}

} // namespace

RecordList::RecordList(RecordKind kind, QString dataDir)
    : kind_(kind)
    , dir_(std::move(dataDir))
    , slots_(InitialBound + 1) {}

std::optional<StoredPosition> RecordList::record(int r) const {
    if (r < 1 || r > count_)
        return std::nullopt;
    return slots_[size_t(r)];
}

std::vector<StoredPosition> RecordList::records() const {
    return {slots_.begin() + 1, slots_.begin() + 1 + count_};
}

QString RecordList::dataPath() const {
    return locateFile(dir_, dataFileName(kind_));
}

void RecordList::grow(int r) {
    if (r > capacity())
        slots_.resize(size_t(r + GrowthStep) + 1);
}

QString RecordList::load() {
    slots_.assign(InitialBound + 1, {});
    count_ = 0;
    QFile file(dataPath());
    if (!file.exists())
        return {};
    if (!file.open(QIODevice::ReadOnly))
        return file.errorString();
    DecodedFile decoded = decodeFile(kind_, file.readAll());
    if (decoded.records.size() > size_t(MaxCount)) {
        decoded.records.resize(MaxCount);
        decoded.problem = QStringLiteral("a list holds at most %1 records").arg(MaxCount);
    }
    for (const StoredPosition& record : decoded.records) {
        grow(count_ + 1);
        slots_[size_t(++count_)] = record;
    }
    if (!decoded.problem.isEmpty())
        qCWarning(lcRecords).noquote() << QDir::toNativeSeparators(file.fileName()) + ":"
                                       << decoded.problem << "- kept" << count_ << "records";
    return decoded.problem;
}

Error RecordList::fileError(int number, const QString& path, const QString& why) const {
    qCWarning(lcRecords).noquote()
        << "could not write" << QDir::toNativeSeparators(path) + ":" << why;
    Error e = programError(ErrorKind::Unavailable, why);
    e.number = number;
    return e;
}

Status RecordList::save(int r, const StoredPosition& record, bool appended) {
    if (appended) {
        grow(r);
        ++count_;
    }
    StoredPosition stored = record;
    stored.description = storableDescription(record.description);
    if (kind_ == RecordKind::Rotator)
        stored.temperature = 0;
    slots_[size_t(r)] = stored;

    const SlotLayout layout = layoutOf(kind_);
    QDir().mkpath(dir_); // the data folder of a first run; a failure shows in the open below
    QFile file(dataPath());
    const QByteArray slot = encodeSlot(kind_, stored);
    if (!file.open(QIODevice::ReadWrite) || !file.seek(qint64(r - 1) * layout.slotBytes) ||
        file.write(slot) != slot.size() || !file.flush())
        return fileError(errorNumberOf(file.error()), file.fileName(), file.errorString());
    return {};
}

Status RecordList::remove(int r) {
    if (r < 1 || r > count_)
        return programError(ErrorKind::OutOfRange, QStringLiteral("No such record"));
    const SlotLayout layout = layoutOf(kind_);
    const QString path = dataPath();
    QByteArray old;
    if (QFile file(path); file.exists()) {
        if (!file.open(QIODevice::ReadOnly))
            return fileError(errorNumberOf(file.error()), path, file.errorString());
        old = file.readAll();
    }
    const int newCount = count_ - 1;
    QByteArray rewritten;
    for (int i = 1; i <= newCount; ++i) {
        if (i == r)
            continue;
        const qsizetype at = qsizetype(i - 1) * layout.slotBytes;
        QByteArray slot(layout.slotBytes, '\0');
        if (old.size() >= at + layout.fieldBytes)
            slot.replace(0, layout.fieldBytes, old.mid(at, layout.fieldBytes));
        else // beyond the old file's end: an empty record, as reading there gives
            slot = encodeSlot(kind_, {});
        rewritten += slot;
    }
    // A temporary file an older rewrite left behind would be mistaken for a newer list.
    const QString temporary = locateFile(dir_, tempFileName(kind_));
    if (QFile::exists(temporary) && !QFile::remove(temporary))
        return fileError(kPathFileAccessError, temporary, QStringLiteral("Path/File access error"));
    if (const Status replaced = replaceFile(path, rewritten))
        return fileError(kPathFileAccessError, path, replaced->description);

    slots_.erase(slots_.begin() + r);
    slots_.push_back({});
    count_ = newCount;
    return {};
}

} // namespace mivel::records
