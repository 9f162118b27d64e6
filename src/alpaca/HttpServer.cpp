#include "HttpServer.h"

#include <QLoggingCategory>
#include <QTcpServer>
#include <QTcpSocket>

Q_LOGGING_CATEGORY(lcHttp, "mivel.http", QtWarningMsg)

namespace mivel::http {
namespace {

QByteArray serialise(const Response& r, bool keepAlive) {
    QByteArray out;
    out.reserve(r.body.size() + 160);
    out += "HTTP/1.1 " + QByteArray::number(r.status) + ' ' + reasonPhrase(r.status) + "\r\n";
    out += "Content-Type: " + r.contentType + "\r\n";
    out += "Content-Length: " + QByteArray::number(r.body.size()) + "\r\n";
    out += keepAlive ? "Connection: keep-alive\r\n" : "Connection: close\r\n";
    out += "Cache-Control: no-store\r\n\r\n";
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

bool Server::listen(const QHostAddress& address, quint16 port, QString* error) {
    if (tcp_->listen(address, port))
        return true;
    if (error)
        *error = tcp_->errorString();
    return false;
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

void Server::onNewConnection() {
    while (QTcpSocket* socket = tcp_->nextPendingConnection()) {
        if (connections_ >= limits_.maxConnections) {
            qCWarning(lcHttp) << "connection refused: already" << connections_ << "clients";
            socket->abort();
            socket->deleteLater();
            continue;
        }
        ++connections_;
        new Connection(socket, *this);
        emit connectionCountChanged(connections_);
    }
}

void Server::connectionGone() {
    --connections_;
    emit connectionCountChanged(connections_);
}

// --- Connection

Connection::Connection(QTcpSocket* socket, Server& server)
    : QObject(&server)
    , socket_(socket)
    , server_(server)
    , parser_(server.limits().request)
    , timer_(server.clock_) {
    socket_->setParent(this);
    // Past this much unread input the socket stops reading and TCP holds the client back.
    socket_->setReadBufferSize(64 * 1024);
    timer_.setSingleShot(true);
    connect(&timer_, &Timer::timeout, this, &Connection::onTimeout);
    connect(socket_, &QTcpSocket::readyRead, this, &Connection::onReadyRead);
    connect(socket_, &QTcpSocket::bytesWritten, this, [this] {
        if (!closing_)
            serveBuffered();
    });
    connect(socket_, &QTcpSocket::disconnected, this, &QObject::deleteLater);
    armTimer();
    if (socket_->bytesAvailable() > 0)
        onReadyRead();
}

Connection::~Connection() {
    server_.connectionGone();
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
    while (!awaiting_ && !closing_ && socket_->state() == QAbstractSocket::ConnectedState) {
        // A client that sends requests without collecting the answers waits until it does.
        if (socket_->bytesToWrite() > server_.limits().maxPendingOutput)
            break;
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
    armTimer();
}

void Connection::dispatch(Request request) {
    ++serial_;
    awaiting_ = true;
    keepAlive_ = request.keepAlive();
    auto state = std::make_shared<Responder::State>();
    state->connection = this;
    state->serial = serial_;
    armTimer();
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
    // Requests that came in meanwhile are taken up from the event loop, not from inside the
    // code that answered (a driver member finishing its wait).
    QMetaObject::invokeMethod(this, &Connection::serveBuffered, Qt::QueuedConnection);
}

void Connection::refuse(int status, const QByteArray& reason) {
    qCInfo(lcHttp) << "refused request:" << status << reason;
    write(Response::text(status, reason + '\n'), false);
    closeAfterWrite();
}

void Connection::write(const Response& response, bool keepAlive) {
    socket_->write(serialise(response, keepAlive));
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
    if (closing_) {
        // A client that never reads its last answer does not keep the socket for ever.
        if (waiting_ != Wait::Closing || !timer_.isActive())
            timer_.start(server_.limits().requestTimeoutMs);
        waiting_ = Wait::Closing;
        return;
    }
    if (awaiting_) {
        timer_.stop(); // the handler's own deadline bounds the wait
        waiting_ = Wait::Idle;
        return;
    }
    if (parser_.midRequest() || !in_.isEmpty()) {
        // Started once per request: trickling bytes do not extend it.
        if (waiting_ != Wait::Request || !timer_.isActive())
            timer_.start(server_.limits().requestTimeoutMs);
        waiting_ = Wait::Request;
        return;
    }
    waiting_ = Wait::Idle;
    timer_.start(server_.limits().idleTimeoutMs);
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
