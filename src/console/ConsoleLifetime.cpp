#include "ConsoleLifetime.h"

namespace mivel::console {

ConsoleLifetime::ConsoleLifetime(LinkHub& hub, QObject* parent)
    : QObject(parent) {
    connect(&hub, &LinkHub::lastConnectorGone, this, &ConsoleLifetime::quitRequested);
}

} // namespace mivel::console
