#include "HttpServer.h"

#include <QHostInfo>
#include <QLoggingCategory>
#include <QSocketNotifier>
#include <QTcpServer>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <utility>

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

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

constexpr qsizetype scratchSize = 64 * 1024;

// Appends the answer to what is still to be sent, without temporaries.
void appendAnswer(QByteArray& out, const Response& r, bool keepAlive, bool withBody) {
    const auto append = [&](qsizetype n) {
        char digits[24];
        const auto [end, error] = std::to_chars(digits, digits + sizeof digits, n);
        out.append(digits, end - digits);
    };
    out.reserve(out.size() + r.body.size() + 160);
    out.append("HTTP/1.1 ");
    append(r.status);
    out.append(' ').append(reasonPhrase(r.status)).append("\r\nContent-Type: ");
    out.append(r.contentType).append("\r\nContent-Length: ");
    append(r.body.size());
    out.append(keepAlive ? "\r\nConnection: keep-alive" : "\r\nConnection: close");
    out.append("\r\nCache-Control: no-store\r\n\r\n");
    if (withBody)
        out.append(r.body);
}

// Hands each accepted descriptor to the server instead of wrapping it in a QTcpSocket.
class Listener : public QTcpServer {
public:
    Listener(std::function<void(qintptr)> take, QObject* parent)
        : QTcpServer(parent)
        , take_(std::move(take)) {}

protected:
    void incomingConnection(qintptr descriptor) override { take_(descriptor); }

private:
    std::function<void(qintptr)> take_;
};

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
    , tcp_(new Listener([this](qintptr d) { onIncoming(d); }, this))
    , scratch_(new char[scratchSize]) {}

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

void Server::onIncoming(qintptr descriptor) {
    const int fd = int(descriptor);
    if (crowded() && !makeRoom()) {
        qCWarning(lcHttp) << "connection refused: all" << live_.size() << "connections are busy";
        ::close(fd);
        return;
    }
    live_.push_back(new Connection(fd, *this));
    emit connectionCountChanged(connectionCount());
    if (crowded()) {
        // Requests still coming in now get the shorter time, counted from their start.
        for (Connection* c : live_)
            if (c->waiting_ == Connection::Wait::Request)
                c->armTimer();
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

Connection::Connection(int descriptor, Server& server)
    : QObject(&server)
    , fd_(descriptor)
    , server_(server)
    , readable_(new QSocketNotifier(descriptor, QSocketNotifier::Read, this))
    , writable_(new QSocketNotifier(descriptor, QSocketNotifier::Write, this))
    , parser_(server.limits().request)
    , timer_(server.clock_)
    , since_(server.clock_.nowMs()) {
    ::fcntl(fd_, F_SETFL, ::fcntl(fd_, F_GETFL) | O_NONBLOCK);
    // An answer is written whole, at once: nothing is gained by holding its last segment back.
    const int on = 1;
    ::setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    writable_->setEnabled(false);
    timer_.setSingleShot(true);
    connect(&timer_, &Timer::timeout, this, &Connection::onTimerDue);
    connect(readable_, &QSocketNotifier::activated, this, &Connection::onReadable);
    connect(writable_, &QSocketNotifier::activated, this, &Connection::onWritable);
    armTimer();
}

Connection::~Connection() {
    if (open())
        ::close(fd_);
    server_.connectionGone(this);
}

void Connection::drop() {
    if (!open())
        return;
    readable_->setEnabled(false);
    writable_->setEnabled(false);
    ::close(std::exchange(fd_, -1));
    closing_ = true;
    timer_.stop();
    server_.connectionGone(this);
    deleteLater();
}

void Connection::evict() {
    drop();
}

bool Connection::receive() {
    const Limits& lim = parser_.limits();
    const qsizetype inputCap = lim.maxRequestLine + lim.maxHeaderBytes + lim.maxBody + 4096;
    char* const scratch = server_.scratch_.get();
    // One read usually takes all there is; a full one may have left more behind.
    while (closing_ || in_.size() < inputCap) {
        const qsizetype room =
            closing_ ? scratchSize : std::min(scratchSize, inputCap - in_.size());
        const ssize_t n = ::recv(fd_, scratch, size_t(room), 0);
        if (n > 0) {
            if (!closing_) // nothing more is taken from a connection that is closing
                in_.append(scratch, n);
            if (n < room)
                return true;
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return true;
        return false; // the client has closed its end, or the connection broke
    }
    return true;
}

void Connection::onReadable() {
    if (!receive()) {
        // Requests that came before the client closed and are answered at once still are.
        if (!closing_ && !in_.isEmpty())
            serveBuffered();
        drop();
        return;
    }
    if (!closing_)
        serveBuffered();
    updateReading();
}

void Connection::onWritable() {
    if (!flush())
        return;
    if (unsent() == 0 && closing_) {
        drop();
        return;
    }
    // Reading stopped while the client did not collect its answers: it has now.
    if (outputBlocked_ && !closing_)
        serveBuffered();
    updateReading();
}

bool Connection::flush() {
    while (unsent() > 0) {
        const ssize_t n = ::send(fd_, out_.constData() + sent_, size_t(unsent()), MSG_NOSIGNAL);
        if (n >= 0) {
            sent_ += n;
            continue;
        }
        if (errno == EINTR)
            continue;
        if (errno == EAGAIN || errno == EWOULDBLOCK)
            break;
        drop();
        return false;
    }
    if (unsent() == 0) {
        out_.resize(0); // keeps its capacity for the next answer
        sent_ = 0;
    }
    writable_->setEnabled(unsent() > 0);
    return true;
}

// Reading pauses while the input buffer is full or the client does not collect its answers, so
// that TCP holds the client back rather than this server buffering without bound.
void Connection::updateReading() {
    if (!open())
        return;
    const Limits& lim = parser_.limits();
    const qsizetype inputCap = lim.maxRequestLine + lim.maxHeaderBytes + lim.maxBody + 4096;
    const bool read = closing_ || (in_.size() < inputCap && !outputBlocked_);
    if (readable_->isEnabled() != read)
        readable_->setEnabled(read);
}

void Connection::serveBuffered() {
    const bool wasServing = std::exchange(serving_, true);
    outputBlocked_ = false;
    while (!awaiting_ && !closing_ && open()) {
        // A client that sends requests without collecting the answers waits until it does.
        if (unsent() > server_.limits().maxPendingOutput) {
            outputBlocked_ = true;
            break;
        }
        const RequestParser::Step step = parser_.advance(in_);
        if (step == RequestParser::Step::NeedMore)
            break;
        if (step == RequestParser::Step::HeadersReady) {
            if (parser_.expectsContinue() && parser_.request().minorVersion == 1 && in_.isEmpty())
                out_.append("HTTP/1.1 100 Continue\r\n\r\n");
            continue;
        }
        if (step == RequestParser::Step::Failed) {
            refuse(parser_.errorStatus(), parser_.errorReason());
            break;
        }
        dispatch(parser_.takeRequest());
    }
    serving_ = wasServing;
    // The answers of one pass go to the kernel together, before the event loop runs again.
    if (!wasServing && !sendNow())
        return;
    armTimer();
    updateReading();
}

bool Connection::sendNow() {
    if (!open() || !flush())
        return false;
    if (closing_ && unsent() == 0) {
        receive(); // what the client sent meanwhile is read, so that closing does not reset
        drop();
        return false;
    }
    return true;
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
    if (!awaiting_ || serial != serial_ || !open())
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
    // Handed to the system at once: an answer that ends the program (a client's last unlink)
    // must not wait for an event loop that is about to stop.
    if (!sendNow())
        return;
    if (in_.isEmpty()) {
        armTimer();
        updateReading();
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
    appendAnswer(out_, response, keepAlive, !head_);
}

// Closes once everything written has gone; a pass of serveBuffered sends it as it ends.
void Connection::closeAfterWrite() {
    closing_ = true;
    in_.clear();
    armTimer();
    if (!serving_ && sendNow())
        updateReading();
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
        drop();
        return;
    }
    if (waiting_ == Wait::Request) {
        refuse(408, "request not completed in time");
        return;
    }
    closeAfterWrite();
}

} // namespace mivel::http
