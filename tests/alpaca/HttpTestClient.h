#pragma once

// A raw HTTP/1.1 client for the server tests: sends exactly the bytes a test gives and reads
// responses off the socket, so that malformed and pipelined requests can be sent too.

#include <QJsonDocument>
#include <QJsonObject>
#include <QTcpSocket>
#include <QTest>

#include <optional>

namespace mivel::test {

struct HttpReply {
    int status = 0;
    QByteArray head; // the status line and the headers
    QByteArray body;

    QByteArray header(const QByteArray& name) const {
        for (const QByteArray& line : head.split('\n'))
            if (line.toLower().startsWith(name.toLower() + ':'))
                return line.mid(name.size() + 1).trimmed();
        return {};
    }
    QJsonObject json() const { return QJsonDocument::fromJson(body).object(); }
};

class HttpTestClient {
public:
    explicit HttpTestClient(quint16 port) {
        QObject::connect(&socket, &QTcpSocket::readyRead, [this] { received += socket.readAll(); });
        socket.connectToHost(QHostAddress::LocalHost, port);
        socket.waitForConnected(5000);
    }

    void send(const QByteArray& raw) {
        socket.write(raw);
        socket.flush();
    }
    // A request with its parameters as a form body (none for a GET).
    void request(const QByteArray& method, const QByteArray& target, const QByteArray& form = {}) {
        send(method + ' ' + target +
             " HTTP/1.1\r\nHost: localhost\r\n"
             "Content-Type: application/x-www-form-urlencoded\r\nContent-Length: " +
             QByteArray::number(form.size()) + "\r\n\r\n" + form);
    }

    // The next whole response, if it has arrived.
    std::optional<HttpReply> take() {
        const qsizetype end = received.indexOf("\r\n\r\n");
        if (end < 0)
            return std::nullopt;
        HttpReply r{received.mid(9, 3).toInt(), received.left(end), {}}; // "HTTP/1.1 200 OK"
        const qsizetype length = r.status == 100 ? 0 : r.header("Content-Length").toLongLong();
        if (received.size() < end + 4 + length)
            return std::nullopt;
        r.body = received.mid(end + 4, length);
        received.remove(0, end + 4 + length);
        return r;
    }

    // Waits (while the event loop runs) for the next response; status 0 if none came.
    HttpReply await(int timeoutMs = 10000) {
        std::optional<HttpReply> r;
        (void)QTest::qWaitFor([&] { return (r = take()).has_value(); }, timeoutMs);
        return r.value_or(HttpReply{});
    }

    bool closedByServer(int timeoutMs = 10000) {
        return QTest::qWaitFor([&] { return socket.state() == QAbstractSocket::UnconnectedState; },
                               timeoutMs);
    }

    QTcpSocket socket;
    QByteArray received;
};

// What the server rigs share: one request on a fresh connection, answered as the rig awaits it.
class HttpRig {
public:
    virtual ~HttpRig() = default;
    virtual quint16 port() const = 0;
    virtual HttpReply await(HttpTestClient& c) { return c.await(); }

    HttpReply request(const QByteArray& method, const QByteArray& target,
                      const QByteArray& form = {}) {
        HttpTestClient c(port());
        c.request(method, target, form);
        return await(c);
    }
    QJsonObject get(const QByteArray& target) { return request("GET", target).json(); }
    QJsonObject put(const QByteArray& target, const QByteArray& form = {}) {
        return request("PUT", target, form).json();
    }
};

} // namespace mivel::test
