#pragma once

#include "AlpacaServer.h"
#include "Discovery.h"
#include "ServeOptions.h"
#include "http/HttpServer.h"

#include <QObject>

#include <memory>

namespace mivel {

class AppContext;
class DeviceProvider;

namespace alpaca {

// The driver server of the process: the Alpaca API over the driver objects on the HTTP port, and
// discovery when the options turn it on. Owned by main, with or without the console.
class DriverServer : public QObject {
    Q_OBJECT
public:
    DriverServer(AppContext& ctx, DeviceProvider& devices, ServeOptions options,
                 QObject* parent = nullptr);
    ~DriverServer() override;

    // Listens, and starts discovery; a failure says why in one line, with the listen's kind.
    Status start();
    quint16 port() const { return http_->port(); }
    QString url() const;

    AlpacaServer& alpaca() { return *alpaca_; }
    http::Server& http() { return *http_; }
    DiscoveryResponder* discovery() const { return discovery_.get(); }

private:
    AlpacaServer::Rows settingsRows() const;

    AppContext& ctx_;
    ServeOptions options_;
    std::unique_ptr<KeptValues> kept_;
    std::unique_ptr<AlpacaServer> alpaca_;
    std::unique_ptr<http::Server> http_;
    std::unique_ptr<DiscoveryResponder> discovery_;
};

} // namespace alpaca
} // namespace mivel
