#pragma once

#include <QString>

namespace mivel {

// Where the program keeps its files: the settings file in configDir; the diagnostic trace,
// record files and logs in dataDir. `--config DIR` puts both in DIR.
struct AppPaths {
    QString configDir;
    QString dataDir;
    static AppPaths standard();
    static AppPaths inDirectory(const QString& dir) { return {dir, dir}; }

    QString settingsFile() const { return configDir + QStringLiteral("/settings.reg"); }
};

} // namespace mivel
