#include "AppPaths.h"

#include <QStandardPaths>

namespace mivel {

AppPaths AppPaths::standard() {
    return {QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation),
            QStandardPaths::writableLocation(QStandardPaths::AppDataLocation)};
}

} // namespace mivel
