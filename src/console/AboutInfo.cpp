#include "AboutInfo.h"

#include <QSysInfo>
#include <QtGlobal>

namespace mivel::console {

QList<QPair<QString, QString>> aboutInfo(AppContext& ctx, const QString& alpacaAddress) {
    const QString firmware = ctx.shared().versionText.isEmpty()
                                 ? QStringLiteral("not known yet (connect to the unit)")
                                 : ctx.shared().versionText;
    QString port = QStringLiteral("none");
    if (const Serial* serial = ctx.hub().serial())
        port = QStringLiteral("%1 (%2, %3)")
                   .arg(serial->deviceName(),
                        serial->connected() ? QStringLiteral("open") : QStringLiteral("closed"),
                        serial->settings());
    return {
        {QStringLiteral("Program version"), QStringLiteral(MIVEL_VERSION)},
        {QStringLiteral("Firmware version"), firmware},
        {QStringLiteral("Operating system"), QSysInfo::prettyProductName()},
        {QStringLiteral("Kernel"),
         QSysInfo::kernelType() + QLatin1Char(' ') + QSysInfo::kernelVersion()},
        {QStringLiteral("Qt version"), QString::fromLatin1(qVersion())},
        {QStringLiteral("Serial port"), port},
        {QStringLiteral("Alpaca server"),
         alpacaAddress.isEmpty() ? QStringLiteral("not running") : alpacaAddress},
    };
}

} // namespace mivel::console
