#include "DeviceIds.h"

#include "app/FileSave.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <QSysInfo>
#include <QUuid>

Q_LOGGING_CATEGORY(lcIds, "mivel.alpaca.ids")

namespace mivel::alpaca {
namespace {

QString derivedId(const QString& deviceType) {
    static const QUuid ns("{6f1c3c52-8f0e-4b8a-9a43-2b1d5f0c7e11}");
    const QByteArray machine = QSysInfo::machineUniqueId().isEmpty()
                                   ? QSysInfo::machineHostName().toUtf8()
                                   : QSysInfo::machineUniqueId();
    return QUuid::createUuidV5(ns, machine + '/' + deviceType.toUtf8())
        .toString(QUuid::WithoutBraces);
}

// The "Type": "uuid" pairs that can still be made out in a file that is no longer valid JSON
// (cut short by a crash, or edited by hand).
QJsonObject salvage(const QByteArray& text) {
    static const QRegularExpression pair(QStringLiteral(
        R"re("([A-Za-z]+)"\s*:\s*"([0-9A-Fa-f]{8}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{12})")re"));
    QJsonObject found;
    for (auto it = pair.globalMatch(QString::fromUtf8(text)); it.hasNext();) {
        const QRegularExpressionMatch m = it.next();
        if (!found.contains(m.captured(1)))
            found.insert(m.captured(1), m.captured(2));
    }
    return found;
}

// Keeps the damaged file beside the new one, so that nothing a user may want back is lost.
QString keepDamagedCopy(const QString& path) {
    const QString copy = path + QStringLiteral(".damaged-") +
                         QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-hhmmss"));
    return QFile::copy(path, copy) ? copy : QString();
}

} // namespace

DeviceIds DeviceIds::load(const QString& configDir, const QStringList& deviceTypes) {
    DeviceIds ids;
    const QString path = QDir(configDir).filePath(fileName());
    removeStaleTemporaries(path);
    QFile file(path);
    QJsonObject stored;
    bool damaged = false;
    if (file.open(QIODevice::ReadOnly)) {
        const QByteArray text = file.readAll();
        QJsonParseError error{};
        const QJsonDocument doc = QJsonDocument::fromJson(text, &error);
        damaged = !doc.isObject();
        stored = damaged ? salvage(text) : doc.object();
        if (damaged) {
            const QString why = error.error != QJsonParseError::NoError
                                    ? error.errorString()
                                    : QStringLiteral("not a JSON object");
            const QString copy = keepDamagedCopy(path);
            qCWarning(lcIds).noquote()
                << QStringLiteral("The device ids file %1 is damaged (%2); the ids still readable "
                                  "in it are kept: %3. %4")
                       .arg(QDir::toNativeSeparators(path), why,
                            stored.isEmpty() ? QStringLiteral("none")
                                             : QStringList(stored.keys()).join(u", "),
                            copy.isEmpty() ? QStringLiteral("No copy of it could be kept.")
                                           : QStringLiteral("A copy of it is in %1.")
                                                 .arg(QDir::toNativeSeparators(copy)));
        }
    }
    QStringList made;
    for (const QString& type : deviceTypes) {
        QString id = stored.value(type).toString();
        if (QUuid::fromString(id).isNull()) {
            id = QUuid::createUuid().toString(QUuid::WithoutBraces);
            stored.insert(type, id);
            made << type;
        }
        ids.ids_.insert(type, id);
    }
    if (!made.isEmpty() && file.exists())
        qCWarning(lcIds).noquote() << "New device ids were made for" << made.join(u", ") << "as"
                                   << QDir::toNativeSeparators(path) << "had none usable";
    if (made.isEmpty() && !damaged)
        return ids;
    QDir().mkpath(configDir);
    const Status saved = replaceFile(path, QJsonDocument(stored).toJson());
    if (!saved)
        return ids;
    // The ids that were read stay; the new ones, which could not be kept, are replaced by ids
    // that come out the same on every start.
    ids.problem_ =
        QStringLiteral("cannot keep the device ids in %1: %2").arg(path, saved->description);
    for (const QString& type : made)
        ids.ids_.insert(type, derivedId(type));
    return ids;
}

} // namespace mivel::alpaca
