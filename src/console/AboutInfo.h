#pragma once

#include "app/AppContext.h"

#include <QList>
#include <QPair>
#include <QString>

namespace mivel::console {

// The About box's lines: program and firmware version and the system the program runs on.
QList<QPair<QString, QString>> aboutInfo(AppContext& ctx, const QString& alpacaAddress);

} // namespace mivel::console
