// The HTTP server under the load and abuse that automation clients and networks bring: waits
// that overlap, clients that leave, garbage, oversized and slow requests, idle connections; and
// its request parser alone, in any chunking.

#include "ServerFixture.h"

#include "alpaca/Discovery.h"
#include "http/HttpRequest.h"

#include <QHostInfo>
#include <QNetworkDatagram>
#include <QRegularExpression>
#include <QUdpSocket>

using namespace mivel;
using namespace mivel::test;

class HttpServerTest : public QObject {
    Q_OBJECT
    std::unique_ptr<ServerFixture> f;

    void start(http::ServerLimits limits = {}) {
        f = std::make_unique<ServerFixture>(limits);
        QVERIFY(f->listening);
    }

private slots:
    void init() { start(); }
    void cleanup() { f.reset(); }

    void twentyWaitingClientsAreEachAnsweredAfterTheirOwnWait() {
        // Each request waits 500 ms for a reply that never comes; they arrive 10 ms apart.
        f->focuser().waitMs["TempCompCoefficient"] = 500;
        f->focuser().values["TempCompCoefficient"] = 42;
        std::vector<std::unique_ptr<HttpTestClient>> clients;
        for (int i = 0; i < 20; ++i) {
            clients.push_back(std::make_unique<HttpTestClient>(f->port()));
            clients.back()->request("GET",
                                    "/api/v1/focuser/0/tempcompcoefficient?ClientTransactionID=" +
                                        QByteArray::number(i + 1));
            QTRY_COMPARE(f->focuser().waiting, i + 1);
            f->clock.advance(10);
        }
        // All twenty are waiting at once: none holds up another.
        f->clock.advance(300); // the first request's wait is over, the second's is not
        const QJsonObject first = clients[0]->await().json();
        QCOMPARE(first["ClientTransactionID"].toInt(), 1);
        QCOMPARE(first["Value"].toInt(), 42);
        QCOMPARE(f->focuser().waiting, 19);
        QVERIFY(!clients[1]->take().has_value());
        f->clock.advance(190);
        for (int i = 1; i < 20; ++i) {
            const QJsonObject o = clients[i]->await().json();
            QCOMPARE(o["ClientTransactionID"].toInt(), i + 1);
            QCOMPARE(o["Value"].toInt(), 42);
        }
    }

    void aClientThatLeavesBeforeItsAnswerHarmsNothing() {
        f->focuser().waitMs["TempCompCoefficient"] = 500;
        {
            HttpTestClient leaving(f->port());
            leaving.request("GET", "/api/v1/focuser/0/tempcompcoefficient");
            QTRY_COMPARE(f->focuser().waiting, 1);
            leaving.socket.abort();
        }
        QTRY_COMPARE(f->server.connectionCount(), 0);
        f->clock.advance(500); // the answer is ready; its client is gone
        QCOMPARE(f->focuser().waiting, 0);
        QCOMPARE(f->get("/api/v1/focuser/0/name")["Value"].toString(), "Mivel Focuser");
    }

    void badRequestsAreRefusedAndTheConnectionCloses_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("status");
        const http::Limits lim;
        const QByteArray put = "PUT /api/v1/focuser/0/move HTTP/1.1\r\n";
        const QByteArray chunked = put + "Transfer-Encoding: chunked\r\n\r\n";
        QByteArray manyHeaders = "GET / HTTP/1.1\r\n";
        for (int i = 0; i <= lim.maxHeaderCount; ++i)
            manyHeaders += "H" + QByteArray::number(i) + ": v\r\n";
        auto row = [](const char* name, QByteArray bytes, int status) {
            QTest::newRow(name) << bytes << status;
        };
        row("binary", QByteArray("\x00\xff\xfe garbage\r\n\r\n", 16), 400);
        row("no version", "GET /\r\n\r\n", 400);
        row("lower-case version", "GET / http/1.1\r\n", 400);
        row("http 2", "GET / HTTP/2.0\r\n\r\n", 505);
        row("relative target", "GET x HTTP/1.1\r\n", 400);
        row("control in target", "GET /\x01 HTTP/1.1\r\n", 400);
        row("header without colon", "GET / HTTP/1.1\r\nno colon\r\n\r\n", 400);
        row("space in header name", "GET / HTTP/1.1\r\nA b: c\r\n\r\n", 400);
        row("folded header", "GET / HTTP/1.1\r\nA: b\r\n c\r\n\r\n", 400);
        row("negative length", put + "Content-Length: -5\r\n\r\n", 400);
        row("two lengths", put + "Content-Length: 1\r\nContent-Length: 2\r\n\r\n", 400);
        row("length and chunked", put + "Content-Length: 3\r\nTransfer-Encoding: chunked\r\n\r\n",
            400);
        row("huge length", put + "Content-Length: 99999999999999999999\r\n\r\n", 400);
        row("unknown coding", put + "Transfer-Encoding: gzip\r\n\r\n", 501);
        row("bad chunk size", chunked + "zz\r\n", 400);
        row("signed chunk size", chunked + "+5\r\n", 400);
        row("chunk without CRLF", chunked + "1\r\nab\r\n", 400);
        row("unknown expectation", put + "Expect: magic\r\nContent-Length: 1\r\n\r\n", 417);
        row("long request line", "GET /" + QByteArray(lim.maxRequestLine + 10, 'a'), 414);
        row("long header",
            "GET / HTTP/1.1\r\nX: " + QByteArray(lim.maxHeaderBytes, 'b') + "\r\n\r\n", 431);
        row("many headers", manyHeaders + "\r\n", 431);
        // A body is refused from its announced size, before any of it is sent or invited.
        row("large body",
            put + "Content-Length: " + QByteArray::number(lim.maxBody + 1) + "\r\n\r\n", 413);
        row("large chunk", chunked + QByteArray::number(lim.maxBody + 1, 16) + "\r\n", 413);
        row("large body expected", put + "Expect: 100-continue\r\nContent-Length: 10000000\r\n\r\n",
            413);
        // A form bomb: thousands of distinct fields behind a valid one.
        QByteArray bomb = "Position=5";
        for (int i = 0; i < 5000; ++i)
            bomb += "&f" + QByteArray::number(i, 36) + '=';
        row("form bomb",
            put + "Content-Length: " + QByteArray::number(bomb.size()) + "\r\n\r\n" + bomb, 400);
        row("query bomb",
            "GET /api/v1/focuser/0/name?" + QByteArray("a&").repeated(500) + " HTTP/1.1\r\n\r\n",
            400);
    }
    void badRequestsAreRefusedAndTheConnectionCloses() {
        QFETCH(QByteArray, bytes);
        QFETCH(int, status);
        HttpTestClient c(f->port());
        c.send(bytes);
        const HttpReply r = c.await();
        QCOMPARE(r.status, status);
        QCOMPARE(r.header("Connection"), "close");
        QVERIFY(!r.body.isEmpty());
        QVERIFY(c.closedByServer());
        QVERIFY(f->focuser().calls.isEmpty());
        QCOMPARE(f->request("GET", "/api/v1/focuser/0/name").status, 200);
    }

    void expectContinueIsAnsweredAtOnce() {
        HttpTestClient c(f->port());
        c.send("PUT /api/v1/focuser/0/showform HTTP/1.1\r\nExpect: 100-continue\r\n"
               "Content-Type: application/x-www-form-urlencoded\r\nContent-Length: 9\r\n\r\n");
        QCOMPARE(c.await().status, 100);
        c.send("Which=321");
        QCOMPARE(c.await().status, 200);
        QCOMPARE(f->focuser().calls, QStringList{"call ShowForm(321)"});
    }

    void hostMustNameTheServer_data() {
        QTest::addColumn<QByteArray>("host");
        QTest::addColumn<int>("status");
        for (const char* host : {"localhost", "LocalHost:11111", "127.0.0.1", "127.0.0.1:80",
                                 "[::1]", "[::1]:11111", "localhost."})
            QTest::newRow(host) << QByteArray(host) << 200;
        // A page whose name was rebound to the loopback, or another address, is refused.
        for (const char* host : {"evil.example", "evil.example:11111", "localhost.evil.example",
                                 "192.168.1.20", "[::1", ":11111"})
            QTest::newRow(host) << QByteArray(host) << 403;
    }
    void hostMustNameTheServer() {
        QFETCH(QByteArray, host);
        QFETCH(int, status);
        if (status == 403)
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression("refused a request for host"));
        HttpTestClient c(f->port());
        c.send("PUT /api/v1/focuser/0/showform HTTP/1.1\r\nHost: " + host +
               "\r\nContent-Length: 7\r\n\r\nWhich=5");
        const HttpReply r = c.await();
        QCOMPARE(r.status, status);
        QCOMPARE(f->focuser().calls.size(), status == 200 ? 1 : 0);
        if (status == 403)
            QVERIFY(r.body.contains("does not serve the host"));
    }

    void beyondTheLoopbackTheMachineNamesAndAddressesAreAccepted() {
        http::Server any([](const http::Request&, http::Responder out) {
            out.send(http::Response::text(200, "ok"));
        });
        if (any.listen(QHostAddress::AnyIPv4, 0))
            QSKIP("cannot listen on every address here");
        const QString name = QHostInfo::localHostName();
        QVERIFY(any.acceptsHost(name.toUtf8()));
        QVERIFY(any.acceptsHost(name.toUpper().toUtf8() + ".local:11111"));
        QVERIFY(any.acceptsHost("192.168.1.20:11111"));
        QVERIFY(any.acceptsHost("localhost"));
        QVERIFY(any.acceptsHost("")); // HTTP/1.0 without a Host header
        QVERIFY(!any.acceptsHost("evil.example"));
        QVERIFY(!any.acceptsHost(name.toUtf8() + ".evil.example"));
    }

    void headIsAnsweredWithoutABody() {
        HttpTestClient c(f->port());
        c.send("HEAD /api/v1/focuser/0/name HTTP/1.1\r\nHost: localhost\r\n\r\n"
               "GET /api/v1/focuser/0/name HTTP/1.1\r\nHost: localhost\r\n\r\n");
        QTRY_VERIFY(c.received.count("HTTP/1.1 200 OK") == 2);
        const qsizetype second = c.received.indexOf("HTTP/1.1", 1);
        const QByteArray head = c.received.left(second);
        QVERIFY2(head.endsWith("\r\n\r\n"), head.constData()); // the headers and nothing else
        HttpReply r;
        r.head = head;
        QVERIFY(r.header("Content-Length").toInt() > 0); // the length a GET would get
        c.received.remove(0, second);
        QCOMPARE(c.await().json()["Value"].toString(), "Mivel Focuser");
    }

    void keepAliveChunkedAndPipelinedRequests() {
        HttpTestClient c(f->port());
        c.send("PUT /api/v1/focuser/0/showform HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n"
               "5\r\nWhich\r\n4;ext=1\r\n=777\r\n0\r\nTrailer: x\r\n\r\n");
        QCOMPARE(c.await().status, 200);
        QCOMPARE(f->focuser().calls, QStringList{"call ShowForm(777)"});

        // Three requests in one write: three answers, in order, on the same connection.
        f->focuser().waitMs["TempCompCoefficient"] = 100; // the first is deferred; the others
                                                          // queue behind it
        c.send("GET /api/v1/focuser/0/tempcompcoefficient?ClientTransactionID=1 HTTP/1.1\r\n\r\n"
               "GET /api/v1/focuser/0/name?ClientTransactionID=2 HTTP/1.1\r\n\r\n"
               "GET /api/v1/focuser/0/name?ClientTransactionID=3 HTTP/1.1\r\n"
               "Connection: close\r\n\r\n");
        QTRY_COMPARE(f->focuser().waiting, 1);
        f->clock.advance(100);
        for (int id = 1; id <= 3; ++id)
            QCOMPARE(c.await().json()["ClientTransactionID"].toInt(), id);
        QVERIFY(c.closedByServer());

        // HTTP/1.0 closes after its answer unless asked to keep the connection.
        HttpTestClient old(f->port());
        old.send("GET /api/v1/focuser/0/name HTTP/1.0\r\n\r\n");
        QCOMPARE(old.await().header("Connection"), "close");
        QVERIFY(old.closedByServer());
    }

    void idleAndSlowConnectionsAreClosed() {
        HttpTestClient idle(f->port());
        idle.request("GET", "/api/v1/focuser/0/name");
        QCOMPARE(idle.await().status, 200);
        HttpTestClient slow(f->port());
        slow.send("GET /api/v1/focuser/0/na"); // and nothing more
        QTRY_COMPARE(f->server.connectionCount(), 2);
        QTRY_VERIFY(slow.socket.bytesToWrite() == 0);

        const http::ServerLimits lim;
        f->clock.advance(lim.requestTimeoutMs);
        QCOMPARE(slow.await().status, 408);
        QVERIFY(slow.closedByServer());
        QCOMPARE(idle.socket.state(), QAbstractSocket::ConnectedState);
        f->clock.advance(lim.idleTimeoutMs);
        QVERIFY(idle.closedByServer());
        QTRY_COMPARE(f->server.connectionCount(), 0);
    }

    void atTheCapTheLongestIdleMakesRoom() {
        http::ServerLimits lim;
        lim.maxConnections = 3;
        start(lim);
        HttpTestClient first(f->port()), second(f->port()), slow(f->port());
        first.request("GET", "/api/v1/focuser/0/name");
        QCOMPARE(first.await().status, 200);
        f->clock.advance(100);
        second.request("GET", "/api/v1/focuser/0/name");
        QCOMPARE(second.await().status, 200);
        f->clock.advance(100);
        slow.send("GET /api/v1/focuser/0/na"); // a slow header sender
        QTRY_COMPARE(f->server.connectionCount(), 3);
        QTRY_VERIFY(slow.socket.bytesToWrite() == 0);

        // A newcomer at the cap is served; the connection idle longest is closed for it.
        HttpTestClient late(f->port());
        late.request("GET", "/api/v1/focuser/0/name");
        QCOMPARE(late.await().status, 200);
        QVERIFY(first.closedByServer());
        QCOMPARE(second.socket.state(), QAbstractSocket::ConnectedState);
        QCOMPARE(f->server.connectionCount(), 3);

        // While the server is full, a request still coming in gets the shorter time.
        f->clock.advance(lim.crowdedRequestTimeoutMs);
        QCOMPARE(slow.await().status, 408);
        QVERIFY(slow.closedByServer());
        QTRY_COMPARE(f->server.connectionCount(), 2);

        // When every connection is busy, the newcomer is the one refused.
        HttpTestClient third(f->port());
        QTRY_COMPARE(f->server.connectionCount(), 3);
        for (HttpTestClient* c : {&second, &late, &third}) {
            c->send("PUT /api/v1/focuser/0/move HTTP/1.1\r\nHost: localhost\r\n"
                    "Expect: 100-continue\r\nContent-Length: 10\r\n\r\n");
            QCOMPARE(c->await().status, 100); // now in the middle of a request
        }
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("connection refused"));
        HttpTestClient refused(f->port());
        QVERIFY(refused.closedByServer());
        QCOMPARE(third.socket.state(), QAbstractSocket::ConnectedState);
    }

    void discoveryAnswersWithThePort() {
        alpaca::DiscoveryResponder responder(f->port(), QHostAddress::LocalHost);
        const Status started = responder.start(0);
        QVERIFY2(!started, qPrintable(describe(started)));
        auto ask = [&](QUdpSocket& client, const QHostAddress& to) {
            for (const char* datagram : {"alpacadiscovery", "alpacadiscovery0", "alpacadiscoveryX",
                                         "hello", "alpacadiscovery2"})
                client.writeDatagram(datagram, to, responder.port());
            QTRY_VERIFY(client.hasPendingDatagrams());
            QCOMPARE(client.receiveDatagram().data(),
                     "{\"AlpacaPort\":" + QByteArray::number(f->port()) + "}");
        };
        QUdpSocket client;
        QVERIFY(client.bind(QHostAddress::LocalHost, 0));
        ask(client, QHostAddress::LocalHost);
        QCOMPARE(responder.answered(), 1); // only the last one asked as a client does
        // IPv6 clients ask on the loopback too, where the machine has IPv6.
        QUdpSocket client6;
        if (client6.bind(QHostAddress::LocalHostIPv6, 0))
            ask(client6, QHostAddress::LocalHostIPv6);
    }

    void parserTakesRequestsWhateverTheChunking() {
        using Step = http::RequestParser::Step;
        const QByteArray bytes =
            "\r\nPUT /api/v1/focuser/0/move?a=1 HTTP/1.1\r\nHost: x\r\ncontent-length: 10\r\n\r\n"
            "Position=5"
            "GET http://host:11111/x?q=1 HTTP/1.0\nConnection: keep-alive\n\n"
            "PUT /c HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n";
        for (int piece : {1, 2, 7, 4096}) {
            http::RequestParser p;
            QStringList seen;
            QByteArray in;
            for (qsizetype at = 0; at < bytes.size(); at += piece) {
                in += bytes.mid(at, piece);
                for (Step s; (s = p.advance(in)) != Step::NeedMore;) {
                    QVERIFY(s != Step::Failed);
                    if (s != Step::Complete)
                        continue;
                    const http::Request q = p.takeRequest();
                    seen << q.method + ' ' + q.path + '?' + q.query + " 1." +
                                QByteArray::number(q.minorVersion) +
                                (q.keepAlive() ? " keep " : " close ") + q.body;
                }
            }
            // Bare LF line ends are tolerated; an absolute target is cut to its path.
            QCOMPARE(seen, (QStringList{"PUT /api/v1/focuser/0/move?a=1 1.1 keep Position=5",
                                        "GET /x?q=1 1.0 keep ", "PUT /c? 1.1 keep abcde"}));
        }
    }
};

QTEST_GUILESS_MAIN(HttpServerTest)
#include "test_http_server.moc"
