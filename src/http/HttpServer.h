#pragma once

// A small HTTP/1.1 server on QTcpServer for the Alpaca endpoints.
//
// Why not QHttpServer: the Qt 6.4 one is a technical preview with faults that bite exactly the
// way automation clients use a driver server. Answering a deferred request after its client left
// is a use-after-free; results built with QPromise crash; idle keep-alive connections are never
// closed; "Expect: 100-continue" stalls the client for a second; malformed requests are dropped
// without an answer. Guarding each of these from outside costs more than the little HTTP that
// Alpaca needs: request line, headers, a form body, keep-alive. So this server does only that,
// and does it defensively:
//
// - every request is answered through a Responder that may be kept and used later (the driver
//   members wait for the unit as coroutines); a Responder whose client has gone, or that has
//   already answered, does nothing;
// - one request per connection is in progress at a time; pipelined requests wait in order;
// - requests that cannot be parsed get a 4xx with a plain-text reason, and the connection closes;
// - request line, headers and body are capped; a request that trickles in too slowly is timed
//   out (408), and a connection with nothing in progress is closed after an idle time;
// - "Expect: 100-continue" is answered at once;
// - the number of connections is capped; at the cap the connection idle longest makes room for
//   the new one, and requests still coming in get less time, so idle or slow clients cannot
//   lock others out; reading stops while a client does not collect its answers, so no client
//   can make the server buffer without bound;
// - the Host header must name this server (see acceptsHost), so that a web page whose name has
//   been rebound to this machine's address cannot drive the devices from a browser;
// - HEAD is answered as GET, without the body.

#include "HttpRequest.h"

#include "core/Clock.h"
#include "core/Error.h"

#include <QByteArray>
#include <QHostAddress>
#include <QObject>
#include <QPointer>

#include <QStringList>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

class QTcpServer;
class QTcpSocket;

namespace mivel::http {

struct Response {
    int status = 200;
    QByteArray contentType = "application/json; charset=utf-8";
    QByteArray body;

    static Response json(QByteArray body) {
        return {200, "application/json; charset=utf-8", std::move(body)};
    }
    static Response text(int status, QByteArray reason) {
        return {status, "text/plain; charset=utf-8", std::move(reason)};
    }
    static Response html(QByteArray page) {
        return {200, "text/html; charset=utf-8", std::move(page)};
    }
};

struct ServerLimits {
    Limits request;
    qint64 idleTimeoutMs = 30'000;          // nothing in progress: close
    qint64 requestTimeoutMs = 15'000;       // a request begun but not complete: 408 and close
    qint64 crowdedRequestTimeoutMs = 2'000; // the same while every connection is taken
    int maxConnections = 256;
    qint64 maxPendingOutput = 1024 * 1024; // stop reading while this much is unsent
};

class Connection;

// The way to answer one request, now or later. Copies share one answer: the first send wins.
class Responder {
public:
    void send(const Response& response) const;
    // False once answered, or when the client has gone.
    bool pending() const;

private:
    friend class Connection;
    struct State {
        QPointer<Connection> connection;
        quint64 serial = 0;
        bool answered = false;
    };
    explicit Responder(std::shared_ptr<State> s)
        : state_(std::move(s)) {}
    std::shared_ptr<State> state_;
};

class Server : public QObject {
    Q_OBJECT
public:
    using Handler = std::function<void(const Request&, Responder)>;

    explicit Server(Handler handler, ServerLimits limits = {}, Clock& clock = Clock::system(),
                    QObject* parent = nullptr);
    ~Server() override;

    // A port that cannot be had (taken, or not ours to bind) is unavailable, with the reason.
    Status listen(const QHostAddress& address, quint16 port);
    void close();
    bool isListening() const;
    quint16 port() const;
    QHostAddress address() const;

    int connectionCount() const { return int(live_.size()); }
    const ServerLimits& limits() const { return limits_; }

    // Whether a request's Host header (name or address, with or without a port) names this
    // server. Serving the loopback only: localhost, 127.0.0.1 and [::1]. Serving beyond it: any
    // address (a rebinding page has to come under a name of its own), localhost, and this
    // machine's names. A request without a Host header (HTTP/1.0) is accepted.
    bool acceptsHost(const QByteArray& host) const;

signals:
    void connectionCountChanged(int count);

private:
    friend class Connection;
    void onNewConnection();
    void connectionGone(Connection* c);
    bool crowded() const { return int(live_.size()) >= limits_.maxConnections; }
    // Closes one connection to make room for a new one; false when every one is busy.
    bool makeRoom();

    Handler handler_;
    ServerLimits limits_;
    Clock& clock_;
    QTcpServer* tcp_;
    std::vector<Connection*> live_; // in the order they came
    QStringList ownNames_;          // lower case; set when listening
};

// One client connection. Lives until the client leaves or the server closes it.
class Connection : public QObject {
    Q_OBJECT
public:
    Connection(QTcpSocket* socket, Server& server);
    ~Connection() override;

private:
    friend class Responder;
    friend class Server;
    void onReadyRead();
    void serveBuffered();
    void dispatch(Request request);
    void answer(quint64 serial, const Response& response);
    void refuse(int status, const QByteArray& reason);
    void write(const Response& response, bool keepAlive);
    void closeAfterWrite();
    // Sets the deadline of the connection's current wait, from the state it is in.
    void armTimer();
    void setDeadline(qint64 at);
    void onTimerDue();
    void onTimeout();
    bool idle() const { return waiting_ == Wait::Idle && !awaiting_ && !closing_; }
    void evict();

    QTcpSocket* socket_;
    Server& server_;
    RequestParser parser_;
    QByteArray in_;
    Timer timer_;
    std::optional<qint64> deadline_; // of the current wait; none while the handler has it
    qint64 timerDue_ = 0;            // when timer_ goes off, while it is active
    enum class Wait { Idle, Request, Handler, Closing } waiting_ = Wait::Idle;
    qint64 since_ = 0;      // when the current wait began
    quint64 serial_ = 0;    // of the request being answered
    bool awaiting_ = false; // a request is with the handler
    bool keepAlive_ = true; // of the request being answered
    bool head_ = false;     // the request being answered is a HEAD: no body in the answer
    bool closing_ = false;  // no more requests: close once written
    bool continueSent_ = false;
    bool serving_ = false;       // inside serveBuffered
    bool outputBlocked_ = false; // reading stopped until the client collects its answers
};

} // namespace mivel::http
