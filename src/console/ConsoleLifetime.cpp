#include "ConsoleLifetime.h"

namespace mivel::console {

ConsoleLifetime::ConsoleLifetime(DeviceProvider* devices, Clock& clock, QObject* parent)
    : QObject(parent)
    , devices_(devices)
    , watch_(clock) {
    watch_.setInterval(WatchMs);
    connect(&watch_, &Timer::timeout, this, &ConsoleLifetime::check);
}

bool ConsoleLifetime::clientsLinked() const {
    if (!devices_)
        return false;
    using Kind = DeviceProvider::Kind;
    for (const Kind kind : {Kind::Focuser, Kind::Rotator, Kind::Temperature}) {
        const AutomationDevice* device = devices_->existing(kind);
        if (device && device->linked())
            return true;
    }
    return false;
}

void ConsoleLifetime::mainConsoleOpened() {
    mainOpen_ = true;
    watch_.stop();
}

void ConsoleLifetime::mainConsoleClosed() {
    mainOpen_ = false;
    if (!clientsLinked()) {
        quitting_ = true;
        emit quitRequested();
        return;
    }
    watch_.start(); // serve the clients until the last one lets go
}

void ConsoleLifetime::miniConsoleClosed() {
    miniConsoles_ = std::max(0, miniConsoles_ - 1);
    if (!mainOpen_ && !watch_.isActive())
        watch_.start(); // a mini console opened for a client; the watch decides
}

void ConsoleLifetime::check() {
    if (quitting_ || mainOpen_ || miniConsoles_ > 0 || clientsLinked())
        return;
    watch_.stop();
    quitting_ = true;
    emit quitRequested();
}

} // namespace mivel::console
