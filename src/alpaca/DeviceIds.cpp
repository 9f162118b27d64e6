#include "DeviceIds.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QSysInfo>
#include <QUuid>

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

} // namespace

DeviceIds DeviceIds::load(const QString& configDir, const QStringList& deviceTypes) {
    DeviceIds ids;
    const QString path = QDir(configDir).filePath(fileName());
    QFile file(path);
    QJsonObject stored;
    if (file.open(QIODevice::ReadOnly))
        stored = QJsonDocument::fromJson(file.readAll()).object();
    bool added = false;
    for (const QString& type : deviceTypes) {
        QString id = stored.value(type).toString();
        if (QUuid::fromString(id).isNull()) {
            id = QUuid::createUuid().toString(QUuid::WithoutBraces);
            stored.insert(type, id);
            added = true;
        }
        ids.ids_.insert(type, id);
    }
    if (!added)
        return ids;
    QDir().mkpath(configDir);
    QSaveFile out(path);
    if (out.open(QIODevice::WriteOnly) && out.write(QJsonDocument(stored).toJson()) >= 0 &&
        out.commit())
        return ids;
    ids.problem_ =
        QStringLiteral("cannot keep the device ids in %1: %2").arg(path, out.errorString());
    for (const QString& type : deviceTypes)
        ids.ids_.insert(type, derivedId(type));
    return ids;
}

} // namespace mivel::alpaca
