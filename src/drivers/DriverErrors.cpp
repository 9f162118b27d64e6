#include "DriverErrors.h"

namespace mivel {

Error noSuchMember(const QString& object, const QString& member) {
    return {ErrorKind::NotImplemented, 0x400, QStringLiteral("Mivel"),
            QStringLiteral("%1 has no member %2 that can be used this way.").arg(object, member)};
}

} // namespace mivel
