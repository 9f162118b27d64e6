#include "AlpacaServer.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QSysInfo>

Q_LOGGING_CATEGORY(lcAlpaca, "mivel.alpaca", QtWarningMsg)

namespace mivel::alpaca {
namespace {

http::Response badRequest(const QString& reason) {
    return http::Response::text(400, reason.toUtf8() + '\n');
}

bool isCanonicalZero(const QString& number) {
    return number == u"0";
}

QString html(const QString& s) {
    return s.toHtmlEscaped();
}

QByteArray pageHead(const QString& title) {
    return ("<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\"><title>" + html(title) +
            "</title></head><body>\n<h1>" + html(title) + "</h1>\n")
        .toUtf8();
}

QByteArray table(const QString& caption, const AlpacaServer::Rows& rows) {
    QString t = "<h2>" + html(caption) + "</h2>\n<table border=\"1\" cellpadding=\"4\">\n";
    for (const auto& [name, value] : rows)
        t += "<tr><th align=\"left\">" + html(name) + "</th><td>" + html(value) + "</td></tr>\n";
    return (t + "</table>\n").toUtf8();
}

} // namespace

AlpacaServer::AlpacaServer(DeviceProvider& devices, DeviceIds ids, Clock& clock, QObject* parent)
    : QObject(parent)
    , context_{devices, clock, &memory_}
    , ids_(std::move(ids))
    , clock_(clock)
    , description_{QStringLiteral("Mivel driver server"), QStringLiteral("Vark"),
                   QStringLiteral(MIVEL_VERSION), QSysInfo::machineHostName()} {
    endpoints_.push_back(makeFocuserEndpoint(context_));
    endpoints_.push_back(makeRotatorEndpoint(context_));
    endpoints_.push_back(makeSwitchEndpoint(context_));
    for (const auto& endpoint : endpoints_)
        context_.endpoints.push_back(endpoint.get());
}

AlpacaServer::~AlpacaServer() = default;

const QStringList& AlpacaServer::privateRows() {
    static const QStringList rows{QStringLiteral("Serial device"), QStringLiteral("PortDevice"),
                                  QStringLiteral("Settings folder")};
    return rows;
}

QStringList AlpacaServer::deviceTypes() {
    return {QStringLiteral("Focuser"), QStringLiteral("Rotator"), QStringLiteral("Switch")};
}

quint32 AlpacaServer::nextServerTransactionId() {
    // Counts from 1; after 2^32 - 1 it starts again at 1, never 0.
    if (++serverTransactionId_ == 0)
        serverTransactionId_ = 1;
    return serverTransactionId_;
}

DeviceEndpoint* AlpacaServer::endpoint(const QString& pathType) const {
    for (const auto& e : endpoints_)
        if (e->identity().pathType == pathType)
            return e.get();
    return nullptr;
}

void AlpacaServer::addProcessAction(const QString& pathType, const QString& name,
                                    ProcessAction run) {
    if (DeviceEndpoint* e = endpoint(pathType))
        e->addProcessAction(name, std::move(run));
}

void AlpacaServer::handle(const http::Request& request, http::Responder responder) {
    const QString path = QString::fromUtf8(request.path);
    if (path.startsWith(u"/api/"))
        serveDevice(request, responder);
    else if (path.startsWith(u"/management/"))
        serveManagement(request, responder);
    else if (path == u"/" || path == u"/setup" || path.startsWith(u"/setup/"))
        serveSetup(request, responder);
    else
        responder.send(http::Response::text(404, "Not found\n"));
}

template <class T>
void AlpacaServer::whenDone(Task<T> task, http::Responder responder,
                            std::function<http::Response(const T&)> render,
                            std::function<http::Response()> late) {
    if (task.isDone()) {
        responder.send(render(task.result()));
        return;
    }
    auto* deadline = new Timer(clock_, this);
    deadline->setSingleShot(true);
    connect(deadline, &Timer::timeout, this, [responder, late, deadline] {
        qCWarning(lcAlpaca) << "a member did not answer in time";
        responder.send(late());
        deadline->deleteLater();
    });
    deadline->start(answerDeadlineMs_);
    task.then([responder, render, guard = QPointer<Timer>(deadline)](const T& result) {
        // The client may have left meanwhile: the responder then does nothing.
        responder.send(render(result));
        if (guard) {
            guard->stop();
            guard->deleteLater();
        }
    });
}

namespace {

std::optional<Verb> verbOf(const QByteArray& method) {
    if (method == "GET")
        return Verb::Get;
    if (method == "PUT")
        return Verb::Put;
    return std::nullopt;
}

// The route's parameters from the request, in its order; or why they cannot be had.
QString collectArguments(const Route& route, const Params& params, QVariantList* args) {
    for (const ParamSpec& p : route.params) {
        const Params::Lookup found = params.find(p.name);
        if (found.wrongCase)
            return QStringLiteral("Parameter %1 must be spelled %2").arg(found.spelled, p.name);
        if (!found.found)
            return QStringLiteral("Missing parameter: ") + p.name;
        const std::optional<QVariant> value = parseAs(p.type, found.value);
        if (!value)
            return QStringLiteral("Parameter %1=%2 is not %3")
                .arg(p.name, found.value, describeType(p.type));
        *args << *value;
    }
    return {};
}

} // namespace

AlpacaServer::DeviceCall AlpacaServer::refusedCall(QString why) {
    DeviceCall call;
    call.refusal = std::move(why);
    return call;
}

AlpacaServer::DeviceCall AlpacaServer::resolve(const http::Request& request) {
    DeviceCall call;
    const QStringList parts = QString::fromUtf8(request.path).split(u'/');
    // "", "api", "v1", type, number, member
    if (parts.size() != 6 || parts[2] != u"v1")
        return refusedCall(QStringLiteral("Not an Alpaca device path: ") + parts.join('/'));
    DeviceEndpoint* device = endpoint(parts[3]);
    if (device == nullptr)
        return refusedCall(QStringLiteral("Unknown device type: ") + parts[3]);
    if (!isCanonicalZero(parts[4]))
        return refusedCall(QStringLiteral("Unknown device number: ") + parts[4]);
    const std::optional<Verb> verb = verbOf(request.method);
    if (!verb)
        return refusedCall(QStringLiteral("Method %1 is not used by the Alpaca API")
                               .arg(QString::fromLatin1(request.method)));
    const QString& member = parts[5];
    switch (device->find(member, *verb, &call.route)) {
    case DeviceEndpoint::Lookup::NoSuchMember:
        return refusedCall(QStringLiteral("Unknown member: ") + member);
    case DeviceEndpoint::Lookup::WrongVerb:
        return refusedCall(*verb == Verb::Get
                               ? QStringLiteral("%1 cannot be read; use PUT").arg(member)
                               : QStringLiteral("%1 cannot be written; use GET").arg(member));
    case DeviceEndpoint::Lookup::Found:
        break;
    }
    call.params =
        *verb == Verb::Get ? Params::fromQuery(request.query) : Params::fromForm(request.body);
    call.refusal = call.params.idProblem();
    if (call.refusal.isEmpty())
        call.refusal = collectArguments(*call.route, call.params, &call.args);
    return call;
}

void AlpacaServer::serveDevice(const http::Request& request, const http::Responder& responder) {
    const DeviceCall call = resolve(request);
    if (!call.refusal.isEmpty()) {
        responder.send(badRequest(call.refusal));
        return;
    }
    const quint32 client = call.params.clientTransactionId();
    const quint32 server = nextServerTransactionId();
    whenDone<Reply>(
        call.route->run(call.args), responder,
        [client, server](const Reply& r) {
            return http::Response::json(encodeReply(r, client, server));
        },
        [client, server, deadline = answerDeadlineMs_] {
            const Reply r =
                Reply::failure(NoResponse, QStringLiteral("No answer within %1 ms").arg(deadline));
            return http::Response::json(encodeReply(r, client, server));
        });
}

void AlpacaServer::serveManagement(const http::Request& request, const http::Responder& responder) {
    const QString path = QString::fromUtf8(request.path);
    if (request.method != "GET") {
        responder.send(badRequest(QStringLiteral("The management API is read with GET")));
        return;
    }
    QJsonValue value;
    if (path == u"/management/apiversions") {
        value = QJsonArray{1};
    } else if (path == u"/management/v1/description") {
        value = QJsonObject{{"ServerName", description_.serverName},
                            {"Manufacturer", description_.manufacturer},
                            {"ManufacturerVersion", description_.manufacturerVersion},
                            {"Location", description_.location}};
    } else if (path == u"/management/v1/configureddevices") {
        QJsonArray devices;
        for (const auto& e : endpoints_) {
            const DeviceIdentity& d = e->identity();
            devices.append(QJsonObject{{"DeviceName", d.name},
                                       {"DeviceType", d.deviceType},
                                       {"DeviceNumber", 0},
                                       {"UniqueID", ids_.id(d.deviceType)}});
        }
        value = devices;
    } else {
        responder.send(badRequest(QStringLiteral("Unknown management member: ") + path));
        return;
    }
    const Params params = Params::fromQuery(request.query);
    if (const QString problem = params.idProblem(); !problem.isEmpty()) {
        responder.send(badRequest(problem));
        return;
    }
    responder.send(http::Response::json(
        encodeManagementReply(value, params.clientTransactionId(), nextServerTransactionId())));
}

void AlpacaServer::serveSetup(const http::Request& request, const http::Responder& responder) {
    if (request.method != "GET") {
        responder.send(badRequest(QStringLiteral("Setup pages are read with GET")));
        return;
    }
    const QStringList parts = QString::fromUtf8(request.path).split(u'/');
    if (parts.size() <= 2) { // "/" and "/setup"
        responder.send(http::Response::html(indexPage()));
        return;
    }
    // "", "setup", "v1", type, number, "setup"
    DeviceEndpoint* device =
        parts.size() == 6 && parts[2] == u"v1" && parts[5] == u"setup" && isCanonicalZero(parts[4])
            ? endpoint(parts[3])
            : nullptr;
    if (device == nullptr) {
        responder.send(http::Response::text(404, "No such setup page\n"));
        return;
    }
    whenDone<QByteArray>(
        setupPage(device), responder,
        [](const QByteArray& page) { return http::Response::html(page); },
        [] { return http::Response::text(503, "The device did not answer in time\n"); });
}

QByteArray AlpacaServer::indexPage() const {
    QByteArray page = pageHead(description_.serverName);
    page += "<p>Version " + description_.manufacturerVersion.toUtf8();
    if (!beyondLoopback_)
        page += " on " + html(description_.location).toUtf8();
    page += ".</p>\n<ul>\n";
    for (const auto& e : endpoints_) {
        const DeviceIdentity& d = e->identity();
        page += "<li><a href=\"/setup/v1/" + d.pathType.toUtf8() + "/0/setup\">" +
                html(d.name).toUtf8() + "</a> (" + d.deviceType.toUtf8() + " 0)</li>\n";
    }
    return page + "</ul>\n</body></html>\n";
}

Task<QByteArray> AlpacaServer::setupPage(DeviceEndpoint* device) {
    const DeviceIdentity& d = device->identity();
    QByteArray page = pageHead(d.name);
    page += "<p>" + html(d.description).toUtf8() + "</p>\n";
    const bool linked = device->linked();
    page += table(
        QStringLiteral("Device"),
        {{QStringLiteral("Alpaca device"), d.pathType + QStringLiteral("/0")},
         {QStringLiteral("UniqueID"), ids_.id(d.deviceType)},
         {QStringLiteral("Interface version"), QString::number(d.interfaceVersion)},
         {QStringLiteral("Connected"), linked ? QStringLiteral("yes") : QStringLiteral("no")}});
    // Reading the state talks to the unit, which only makes sense once the device is linked.
    if (linked)
        page += table(QStringLiteral("State"), co_await device->readAll());
    else
        page += "<p>Connect the device to read its state.</p>\n";
    if (settingsRows_) {
        Rows rows = settingsRows_();
        if (beyondLoopback_)
            std::erase_if(rows, [](const auto& row) { return privateRows().contains(row.first); });
        page += table(QStringLiteral("Settings"), rows);
    }
    page += "<p><a href=\"/setup\">All devices</a></p>\n</body></html>\n";
    co_return page;
}

} // namespace mivel::alpaca
