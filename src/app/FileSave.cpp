#include "FileSave.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <QSaveFile>

Q_LOGGING_CATEGORY(lcFiles, "mivel.files")

namespace mivel {

namespace {

Error failed(const QString& path, const QString& why) {
    qCWarning(lcFiles).noquote() << "could not save" << QDir::toNativeSeparators(path) + ":" << why
                                 << "(the file was left as it was)";
    return programError(ErrorKind::Unavailable, why);
}

} // namespace

Status replaceFile(const QString& path, const QByteArray& data) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return failed(path, file.errorString());
    // QSaveFile::commit() checks only the writes that reached the disk, not the flush of its
    // buffer that commit itself does: when that flush fails (disk full) it still renames the
    // short file over the old one and reports success. So every byte is pushed out here first
    // and any failure on the way cancels the save.
    if (file.write(data) != data.size() || !file.flush() || file.error() != QFileDevice::NoError) {
        const QString why = file.errorString();
        file.cancelWriting();
        file.commit(); // removes the temporary; the old file stays
        return failed(path, why);
    }
    if (!file.commit())
        return failed(path, file.errorString());
    return {};
}

int removeStaleTemporaries(const QString& path, int minAgeSeconds) {
    const QFileInfo target(path);
    QDir folder = target.absoluteDir();
    // The temporaries' names: the file's own name, a dot and six random letters or digits.
    const QRegularExpression temporary(QRegularExpression::anchoredPattern(
        QRegularExpression::escape(target.fileName()) + QStringLiteral("\\.[A-Za-z0-9]{6}")));
    const QDateTime cutoff = QDateTime::currentDateTimeUtc().addSecs(-minAgeSeconds);
    int removed = 0;
    const QFileInfoList candidates = folder.entryInfoList(
        {target.fileName() + QStringLiteral(".??????")}, QDir::Files | QDir::Hidden | QDir::System);
    for (const QFileInfo& f : candidates) {
        if (!temporary.match(f.fileName()).hasMatch() || f.lastModified().toUTC() > cutoff)
            continue;
        if (QFile::remove(f.absoluteFilePath())) {
            qCInfo(lcFiles).noquote() << "removed" << QDir::toNativeSeparators(f.absoluteFilePath())
                                      << "left by a save that was interrupted";
            ++removed;
        }
    }
    return removed;
}

} // namespace mivel
