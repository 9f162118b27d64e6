#include "StopSignals.h"

#include <QCoreApplication>

#ifdef Q_OS_UNIX

#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace mivel {
namespace {

// The handler writes a byte to a socket pair that the event loop watches.
int wakeUp[2] = {-1, -1};

void onSignal(int) {
    const char byte = 1;
    [[maybe_unused]] const auto n = ::write(wakeUp[1], &byte, 1);
}

} // namespace

bool quitOnStopSignals(QObject* context) {
    if (wakeUp[0] < 0 && ::socketpair(AF_UNIX, SOCK_STREAM, 0, wakeUp) != 0)
        return false;
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    if (::sigaction(SIGINT, &action, nullptr) != 0 || ::sigaction(SIGTERM, &action, nullptr) != 0)
        return false;
    auto* notifier = new QSocketNotifier(wakeUp[0], QSocketNotifier::Read, context);
    QObject::connect(notifier, &QSocketNotifier::activated, context, [] {
        char byte = 0;
        [[maybe_unused]] const auto n = ::read(wakeUp[0], &byte, 1);
        QCoreApplication::quit();
    });
    return true;
}

} // namespace mivel

#else

#include <QTimer>

#include <atomic>
#include <csignal>

namespace mivel {
namespace {

std::atomic<bool> stopAsked{false};

void onSignal(int) {
    stopAsked = true;
}

} // namespace

bool quitOnStopSignals(QObject* context) {
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
#ifdef SIGBREAK
    std::signal(SIGBREAK, onSignal);
#endif
    // Without a descriptor to wake the loop, the flag is looked at a few times a second.
    auto* poll = new QTimer(context);
    QObject::connect(poll, &QTimer::timeout, context, [] {
        if (stopAsked)
            QCoreApplication::quit();
    });
    poll->start(200);
    return true;
}

} // namespace mivel

#endif
