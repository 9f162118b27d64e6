#pragma once

#include <QMap>
#include <QString>

namespace mivel::alpaca {

// The UniqueIDs of the served devices. They must never change for this installation, so they
// are made once (random UUIDs) and kept in a small JSON file in the configuration folder. When
// the file cannot be written, ids derived from the machine and device stand in for the new ones:
// stable, though not kept. A damaged file is copied aside and the ids still readable in it are
// kept; only the missing ones are made anew.
class DeviceIds {
public:
    // Reads the file, adding and saving an id for every device type that has none yet.
    static DeviceIds load(const QString& configDir, const QStringList& deviceTypes);

    QString id(const QString& deviceType) const { return ids_.value(deviceType); }
    // Why the ids could not be kept, or empty.
    const QString& problem() const { return problem_; }

    static QString fileName() { return QStringLiteral("alpaca-devices.json"); }

private:
    QMap<QString, QString> ids_;
    QString problem_;
};

} // namespace mivel::alpaca
