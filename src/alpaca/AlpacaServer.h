#pragma once

#include "DeviceEndpoint.h"
#include "DeviceIds.h"
#include "http/HttpServer.h"

#include "core/Clock.h"
#include "drivers/AutomationDevice.h"

#include <QObject>

#include <functional>
#include <memory>
#include <vector>

namespace mivel::alpaca {

struct ServerDescription {
    QString serverName;
    QString manufacturer;
    QString manufacturerVersion;
    QString location;
};

// The Alpaca API over the driver objects: the device API at /api/v1, the management API at
// /management, and a plain setup page per device at /setup. It answers every request through its
// responder, at once or when the member's wait ends; nothing here blocks.
//
// Requests the API cannot make sense of (unknown device or member, a parameter missing,
// unparseable or, in a PUT, spelled in the wrong case) get HTTP 400 with a plain-text reason.
// Everything else gets HTTP 200 and the Alpaca JSON reply, errors included.
class AlpacaServer : public QObject {
    Q_OBJECT
public:
    using Rows = std::vector<std::pair<QString, QString>>;

    AlpacaServer(DeviceProvider& devices, DeviceIds ids, Clock& clock = Clock::system(),
                 QObject* parent = nullptr);
    ~AlpacaServer() override;

    void handle(const http::Request& request, http::Responder responder);

    // A member that has not answered after this long gets a NoResponse error instead. The
    // objects' own waits end far sooner; this only guards the client against a wait that
    // never ends.
    void setAnswerDeadline(qint64 ms) { answerDeadlineMs_ = ms; }
    // Where values that outlive the server are kept (the rotator's sync offset); without one
    // they last as long as the server. Set it before the first request.
    void setKeptValues(KeptValues* kept) { context_.kept = kept ? kept : &memory_; }
    // Tells whether a console window uses the shared port: a device's disconnect then leaves
    // the port open.
    void setConsoleUse(std::function<bool()> consoleUsesLink) {
        context_.consoleUsesLink = std::move(consoleUsesLink);
    }
    // Serves an action of the process on the device at `pathType` ("switch").
    void addProcessAction(const QString& pathType, const QString& name, ProcessAction run);
    // The settings shown on the setup pages.
    void setSettingsRows(std::function<Rows()> rows) { settingsRows_ = std::move(rows); }
    // Serving beyond the loopback, the setup pages leave out what tells a stranger about the
    // machine: its name, folders and device paths (the rows named in privateRows()).
    void setServesBeyondLoopback(bool beyond) { beyondLoopback_ = beyond; }
    static const QStringList& privateRows();

    const ServerDescription& description() const { return description_; }
    quint32 lastServerTransactionId() const { return serverTransactionId_; }
    // The device types served, as configureddevices names them.
    static QStringList deviceTypes();

private:
    // A device request made sense of: the member and its arguments, or why it makes none.
    struct DeviceCall {
        QString refusal;
        const Route* route = nullptr;
        QVariantList args;
        Params params;
    };
    static DeviceCall refusedCall(QString why);
    DeviceCall resolve(const http::Request& request);
    void serveDevice(const http::Request& request, const http::Responder& responder);
    void serveManagement(const http::Request& request, const http::Responder& responder);
    void serveSetup(const http::Request& request, const http::Responder& responder);
    DeviceEndpoint* endpoint(const QString& pathType) const;
    quint32 nextServerTransactionId();
    template <class T>
    void whenDone(Task<T> task, http::Responder responder,
                  std::function<http::Response(const T&)> render,
                  std::function<http::Response()> late);
    Task<QByteArray> setupPage(DeviceEndpoint* device);
    QByteArray indexPage() const;

    MemoryKeptValues memory_;
    EndpointContext context_;
    std::vector<std::unique_ptr<DeviceEndpoint>> endpoints_;
    DeviceIds ids_;
    Clock& clock_;
    ServerDescription description_;
    std::function<Rows()> settingsRows_;
    qint64 answerDeadlineMs_ = 30'000;
    bool beyondLoopback_ = false;
    quint32 serverTransactionId_ = 0;
};

} // namespace mivel::alpaca
