#include "QtPump.h"

#include <QElapsedTimer>
#include <QEventLoop>

#include <libindi/eventloop.h>

namespace mivel::indi {
namespace {

// QCoreApplication keeps references to these for its whole life.
int appArgc = 1;
char appName[] = "indi_mivel";
char* appArgv[] = {appName, nullptr};

} // namespace

QtPump::QtPump() {
    if (!QCoreApplication::instance()) {
        app_ = std::make_unique<QCoreApplication>(appArgc, appArgv);
        // The settings and data files are mivel's own: the driver shares them with the console.
        QCoreApplication::setApplicationName(QStringLiteral("mivel"));
        QCoreApplication::setApplicationVersion(QStringLiteral(MIVEL_VERSION));
    }
    timerId_ = addPeriodicTimer(PumpMs, &QtPump::onTimer, this);
}

QtPump::~QtPump() {
    if (timerId_ >= 0)
        rmTimer(timerId_);
}

void QtPump::onTimer(void*) {
    QCoreApplication::processEvents(QEventLoop::AllEvents);
}

bool QtPump::runUntil(const std::function<bool()>& done, int timeoutMs) {
    QElapsedTimer elapsed;
    elapsed.start();
    while (!done()) {
        if (elapsed.elapsed() >= timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents,
                                        PumpMs);
    }
    return true;
}

} // namespace mivel::indi
