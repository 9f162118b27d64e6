#include "UnitConnection.h"

namespace mivel::indi {

UnitConnection::UnitConnection(INDI::DefaultDevice* device)
    : Connection::Serial(device) {
    setDefaultBaudRate(B_9600);
}

// Nothing is opened here: the handshake that follows links the unit over this port.
bool UnitConnection::Connect(const char* port, uint32_t) {
    candidate_ = port ? port : "";
    return !candidate_.empty();
}

bool UnitConnection::Disconnect() {
    if (unlink_)
        unlink_();
    return true;
}

} // namespace mivel::indi
