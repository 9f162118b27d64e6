#include "HttpServer.h"

#include <QHostInfo>
#include <QLoggingCategory>
#include <QTcpServer>
#include <QTcpSocket>

#include <algorithm>
#include <utility>

Q_LOGGING_CATEGORY(lcHttp, "mivel.http", QtWarningMsg)

namespace mivel::http {
namespace {

// The name or address of a Host header, without its port or brackets, in lower case.
QString hostName(const QByteArray& header) {
    QByteArray host = header.trimmed().toLower();
    if (host.startsWith('[')) {
        const qsizetype close = host.indexOf(']');
        return close < 0 ? QString() : QString::fromLatin1(host.mid(1, close - 1));
    }
    if (const qsizetype colon = host.lastIndexOf(':'); colon >= 0)
        host.truncate(colon);
    if (host.endsWith('.'))
        host.chop(1);
    return QString::fromLatin1(host);
}

QByteArray serialise(const Response& r, bool keepAlive, bool withBody) {
    QByteArray out;
    out.reserve(r.body.size() + 160);
    out += "HTTP/1.1 " + QByteArray::number(r.status) + ' ' + reasonPhrase(r.status) + "\r\n";
    out += "Content-Type: " + r.contentType + "\r\n";
    out += "Content-Length: " + QByteArray::number(r.body.size()) + "\r\n";
    out += keepAlive ? "Connection: keep-alive\r\n" : "Connection: close\r\n";
    out += "Cache-Control: no-store\r\n\r\n";
    if (withBody)
        out += r.body;
    return out;
}

} // namespace

// --- Responder

void Responder::send(const Response& response) const {
    if (!state_ || state_->answered)
        return;
    state_->answered = true;
    if (Connection* c = state_->connection)
        c->answer(state_->serial, response);
}

bool Responder::pending() const {
    return state_ && !state_->answered && !state_->connection.isNull();
}

// --- Server

Server::Server(Handler handler, ServerLimits limits, Clock& clock, QObject* parent)
    : QObject(parent)
    , handler_(std::move(handler))
    , limits_(limits)
    , clock_(clock)
    , tcp_(new QTcpServer(this)) {
    connect(tcp_, &QTcpServer::newConnection, this, &Server::onNewConnection);
}

Server::~Server() {
    close();
    // The connections call back into the server as they go; let them go while it is whole.
    const auto children = findChildren<Connection*>(Qt::FindDirectChildrenOnly);
    for (Connection* c : children)
        delete c;
}

Status Server::listen(const QHostAddress& address, quint16 port) {
    if (tcp_->listen(address, port)) {
        ownNames_ = QStringList{QStringLiteral("localhost")};
        if (!address.isLoopback()) {
            const QString host = QHostInfo::localHostName().toLower();
            const QString domain = QHostInfo::localDomainName().toLower();
            ownNames_ << host << host + QStringLiteral(".local");
            if (!domain.isEmpty())
                ownNames_ << host + '.' + domain;
        }
        return {};
    }
    return programError(ErrorKind::Unavailable, tcp_->errorString());
}

void Server::close() {
    tcp_->close();
}

bool Server::isListening() const {
    return tcp_->isListening();
}

quint16 Server::port() const {
    return tcp_->serverPort();
}

QHostAddress Server::address() const {
    return tcp_->serverAddress();
}

bool Server::acceptsHost(const QByteArray& header) const {
    if (header.isEmpty())
        return true;
    const QString name = hostName(header);
    QHostAddress address;
    if (address.setAddress(name))
        return address.isLoopback() || !tcp_->serverAddress().isLoopback();
    return ownNames_.contains(name);
}

void Server::onNewConnection() {
    while (QTcpSocket* socket = tcp_->nextPendingConnection()) {
        if (crowded() && !makeRoom()) {
            qCWarning(lcHttp) << "connection refused: all" << live_.size()
                              << "connections are busy";
            socket->abort();
            socket->deleteLater();
            continue;
        }
        live_.push_back(new Connection(socket, *this));
        emit connectionCountChanged(connectionCount());
        if (crowded()) {
            // Requests still coming in now get the shorter time, counted from their start.
            for (Connection* c : live_)
                if (c->waiting_ == Connection::Wait::Request)
                    c->armTimer();
        }
    }
}

bool Server::makeRoom() {
    // A connection already closing goes first, then the one idle longest. One waiting for its
    // answer, or in the middle of sending a request, is kept.
    Connection* victim = nullptr;
    for (Connection* c : live_) {
        if (c->closing_) {
            victim = c;
            break;
        }
        if (c->idle() && (victim == nullptr || c->since_ < victim->since_))
            victim = c;
    }
    if (victim == nullptr)
        return false;
    qCInfo(lcHttp) << "connection cap reached: closing the connection idle longest";
    victim->evict();
    return true;
}

void Server::connectionGone(Connection* c) {
    const auto it = std::find(live_.begin(), live_.end(), c);
    if (it == live_.end())
        return;
    live_.erase(it);
    emit connectionCountChanged(connectionCount());
}

// --- Connection

Connection::Connection(QTcpSocket* socket, Server& server)
    : QObject(&server)
    , socket_(socket)
    , server_(server)
    , parser_(server.limits().request)
    , timer_(server.clock_)
    , since_(server.clock_.nowMs()) {
    socket_->setParent(this);
    // Past this much unread input the socket stops reading and TCP holds the client back.
    socket_->setReadBufferSize(64 * 1024);
    timer_.setSingleShot(true);
    connect(&timer_, &Timer::timeout, this, &Connection::onTimerDue);
    connect(socket_, &QTcpSocket::readyRead, this, &Connection::onReadyRead);
    connect(socket_, &QTcpSocket::bytesWritten, this, [this] {
        // Reading stopped while the client did not collect its answers: it has now.
        if (outputBlocked_ && !closing_)
            serveBuffered();
    });
    connect(socket_, &QTcpSocket::disconnected, this, &QObject::deleteLater);
    armTimer();
    if (socket_->bytesAvailable() > 0)
        onReadyRead();
}

Connection::~Connection() {
    server_.connectionGone(this);
}

void Connection::evict() {
    closing_ = true;
    timer_.stop();
    server_.connectionGone(this);
    socket_->abort();
    deleteLater();
}

void Connection::onReadyRead() {
    if (closing_) {
        socket_->readAll(); // nothing more is read from a connection that is closing
        return;
    }
    serveBuffered();
}

void Connection::serveBuffered() {
    const Limits& lim = parser_.limits();
    const qsizetype inputCap = lim.maxRequestLine + lim.maxHeaderBytes + lim.maxBody + 4096;
    const bool wasServing = std::exchange(serving_, true);
    outputBlocked_ = false;
    while (!awaiting_ && !closing_ && socket_->state() == QAbstractSocket::ConnectedState) {
        // A client that sends requests without collecting the answers waits until it does.
        if (socket_->bytesToWrite() > server_.limits().maxPendingOutput) {
            outputBlocked_ = true;
            break;
        }
        if (in_.size() < inputCap && socket_->bytesAvailable() > 0)
            in_ += socket_->read(inputCap - in_.size());
        const RequestParser::Step step = parser_.advance(in_);
        if (step == RequestParser::Step::NeedMore) {
            if (socket_->bytesAvailable() > 0 && in_.size() < inputCap)
                continue;
            break;
        }
        if (step == RequestParser::Step::HeadersReady) {
            if (parser_.expectsContinue() && parser_.request().minorVersion == 1 && in_.isEmpty())
                socket_->write("HTTP/1.1 100 Continue\r\n\r\n");
            continue;
        }
        if (step == RequestParser::Step::Failed) {
            refuse(parser_.errorStatus(), parser_.errorReason());
            break;
        }
        dispatch(parser_.takeRequest());
    }
    serving_ = wasServing;
    armTimer();
}

void Connection::dispatch(Request request) {
    ++serial_;
    awaiting_ = true;
    keepAlive_ = request.keepAlive();
    head_ = request.method == "HEAD";
    if (head_)
        request.method = "GET";
    auto state = std::make_shared<Responder::State>();
    state->connection = this;
    state->serial = serial_;
    armTimer();
    if (!server_.acceptsHost(request.header("Host"))) {
        qCWarning(lcHttp) << "refused a request for host" << request.header("Host");
        answer(serial_, Response::text(403, "This server does not serve the host \"" +
                                                request.header("Host").left(100) + "\"\n"));
        return;
    }
    server_.handler_(request, Responder(std::move(state)));
}

void Connection::answer(quint64 serial, const Response& response) {
    if (!awaiting_ || serial != serial_ || socket_->state() != QAbstractSocket::ConnectedState)
        return;
    awaiting_ = false;
    write(response, keepAlive_);
    if (!keepAlive_) {
        closeAfterWrite();
        return;
    }
    // An answer given while serving goes on with the requests after it in that loop. A later
    // one (a driver member finishing its wait) leaves requests that came in meanwhile to the
    // event loop, not to the code that answered; with none waiting there is nothing to take up.
    if (serving_)
        return;
    if (in_.isEmpty() && socket_->bytesAvailable() == 0) {
        armTimer();
        return;
    }
    QMetaObject::invokeMethod(this, &Connection::serveBuffered, Qt::QueuedConnection);
}

void Connection::refuse(int status, const QByteArray& reason) {
    qCInfo(lcHttp) << "refused request:" << status << reason;
    head_ = false;
    write(Response::text(status, reason + '\n'), false);
    closeAfterWrite();
}

void Connection::write(const Response& response, bool keepAlive) {
    socket_->write(serialise(response, keepAlive, !head_));
    // Handed to the system at once: an answer that ends the program (a client's last unlink)
    // must not wait in the socket's buffer for an event loop that is about to stop.
    socket_->flush();
}

void Connection::closeAfterWrite() {
    closing_ = true;
    in_.clear();
    armTimer();
    socket_->disconnectFromHost(); // closes once everything written has gone
}

void Connection::armTimer() {
    const qint64 now = server_.clock_.nowMs();
    const auto begin = [&](Wait w) {
        if (waiting_ != w)
            since_ = now;
        waiting_ = w;
    };
    if (closing_) {
        // A client that never reads its last answer does not keep the socket for ever.
        if (waiting_ != Wait::Closing || !deadline_)
            setDeadline(now + server_.limits().requestTimeoutMs);
        begin(Wait::Closing);
        return;
    }
    if (awaiting_) {
        deadline_.reset(); // the handler's own deadline bounds the wait
        begin(Wait::Handler);
        return;
    }
    if (parser_.midRequest() || !in_.isEmpty()) {
        // Counted from the request's first bytes: trickling bytes do not extend it.
        begin(Wait::Request);
        const ServerLimits& lim = server_.limits();
        const qint64 allowed = server_.crowded()
                                   ? std::min(lim.requestTimeoutMs, lim.crowdedRequestTimeoutMs)
                                   : lim.requestTimeoutMs;
        setDeadline(since_ + allowed);
        return;
    }
    begin(Wait::Idle);
    setDeadline(now + server_.limits().idleTimeoutMs);
}

// The timer is started again only when the new deadline comes before it is due. It may go off
// before the deadline (which moved on with each request) and is then started for the rest, so a
// busy connection starts its timer about once an idle time, not once a request.
void Connection::setDeadline(qint64 at) {
    deadline_ = at;
    if (timer_.isActive() && timerDue_ <= at)
        return;
    timerDue_ = at;
    timer_.start(std::max<qint64>(0, at - server_.clock_.nowMs()));
}

void Connection::onTimerDue() {
    if (!deadline_)
        return; // waiting for the handler: no deadline of this connection's own
    const qint64 now = server_.clock_.nowMs();
    if (now < *deadline_) {
        timerDue_ = *deadline_;
        timer_.start(*deadline_ - now);
        return;
    }
    deadline_.reset();
    onTimeout();
}

void Connection::onTimeout() {
    if (closing_) {
        socket_->abort();
        return;
    }
    if (waiting_ == Wait::Request) {
        refuse(408, "request not completed in time");
        return;
    }
    closing_ = true;
    socket_->disconnectFromHost();
}

} // namespace mivel::http
