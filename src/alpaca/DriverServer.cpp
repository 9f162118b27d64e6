#include "DriverServer.h"

#include "app/AppContext.h"
#include "app/SettingsKey.h"

namespace mivel::alpaca {
namespace {

// Values of the Alpaca layer beside the settings, as text so that a fraction of a degree stays.
class SettingsKeptValues final : public KeptValues {
public:
    explicit SettingsKeptValues(SettingsStore& store)
        : store_(store) {}
    std::optional<double> number(const QString& name) const override {
        QVariant value;
        if (readSetting(store_, name, &value) != SettingsStore::Success)
            return std::nullopt;
        return settingNumber(value);
    }
    void setNumber(const QString& name, double value) override {
        writeSetting(store_, name, int(SettingsStore::Type::String),
                     QString::number(value, 'g', 17));
    }

private:
    SettingsStore& store_;
};

} // namespace

DriverServer::DriverServer(AppContext& ctx, DeviceProvider& devices, ServeOptions options,
                           QObject* parent)
    : QObject(parent)
    , ctx_(ctx)
    , options_(std::move(options)) {
    DeviceIds ids = DeviceIds::load(ctx.paths().configDir, AlpacaServer::deviceTypes());
    if (!ids.problem().isEmpty())
        ctx.prompt().inform(ids.problem(), MessageTitle, Prompt::Icon::Warning);
    kept_ = std::make_unique<SettingsKeptValues>(ctx.store());
    alpaca_ = std::make_unique<AlpacaServer>(devices, std::move(ids), ctx.clock());
    alpaca_->setKeptValues(kept_.get());
    alpaca_->setConsoleUse([&ctx] { return ctx.shared().mainConsoleOpen; });
    alpaca_->setSettingsRows([this] { return settingsRows(); });
    http_ = std::make_unique<http::Server>(
        [this](const http::Request& r, http::Responder out) { alpaca_->handle(r, out); },
        http::ServerLimits{}, ctx.clock());
}

DriverServer::~DriverServer() = default;

Status DriverServer::start() {
    if (Status listening = http_->listen(options_.listen, options_.alpacaPort)) {
        listening->description = QStringLiteral("cannot listen on %1 port %2: %3")
                                     .arg(options_.listen.toString())
                                     .arg(options_.alpacaPort)
                                     .arg(listening->description);
        return listening;
    }
    alpaca_->setServesBeyondLoopback(!options_.listen.isLoopback());
    if (!options_.discoveryActive())
        return {};
    discovery_ = std::make_unique<DiscoveryResponder>(http_->port(), options_.listen);
    if (const Status discovering = discovery_->start(DiscoveryResponder::DefaultPort)) {
        // Discovery is a convenience: clients that know the address still reach the server.
        ctx_.prompt().inform(QStringLiteral("Alpaca discovery is off: ") + discovering->description,
                             MessageTitle, Prompt::Icon::Warning);
        discovery_.reset();
    }
    return {};
}

QString DriverServer::url() const {
    const QHostAddress a = http_->address();
    const QString host = a.protocol() == QAbstractSocket::IPv6Protocol
                             ? QLatin1Char('[') + a.toString() + QLatin1Char(']')
                             : a.toString();
    return QStringLiteral("http://%1:%2").arg(host).arg(http_->port());
}

AlpacaServer::Rows DriverServer::settingsRows() const {
    const Settings& s = ctx_.settings();
    const Serial* serial = ctx_.hub().serial();
    auto yes = [](bool b) { return b ? QStringLiteral("yes") : QStringLiteral("no"); };
    return {
        {"Serial device", serial ? serial->deviceName() : QStringLiteral("(none yet)")},
        {"Port open", yes(serial && serial->connected())},
        {"PORT", QString::number(s.port)},
        {"PortDevice", s.portDevice},
        {"ControlConsole", yes(s.controlConsole)},
        {"StepSize", QString::number(s.stepSize)},
        {"LargeStepSize", QString::number(s.largeStepSize)},
        {"SmallStepSize", QString::number(s.smallStepSize)},
        {"DornaLimit", QString::number(s.dornaLimit)},
        {"AutoReverse", yes(s.autoReverse)},
        {"Settings folder", ctx_.paths().configDir},
        {"Alpaca server", url()},
        {"Discovery", yes(discovery_ != nullptr)},
    };
}

} // namespace mivel::alpaca
