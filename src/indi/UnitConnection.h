#pragma once

#include <libindi/connectionplugins/connectionserial.h>

#include <functional>
#include <string>

namespace mivel::indi {

// INDI's serial connection with the port left to the driver: the plugin offers the port
// choice, the port scan and the saved port as every serial driver does, but opening the port
// is the unit link's own job (it opens the device with its own serial port object, and watches
// and reopens it when it goes away). The line always runs at the unit's 9600 baud.
class UnitConnection final : public Connection::Serial {
public:
    explicit UnitConnection(INDI::DefaultDevice* device);

    // The port being tried: the chosen one, or during a port scan the one the scan reached.
    const std::string& candidatePort() const { return candidate_; }
    // Called when INDI disconnects the device.
    void onDisconnect(std::function<void()> unlink) { unlink_ = std::move(unlink); }

    bool Disconnect() override;

protected:
    bool Connect(const char* port, uint32_t baud) override;

private:
    std::string candidate_;
    std::function<void()> unlink_;
};

} // namespace mivel::indi
