// The HTTP server under the load and abuse that automation clients and networks bring: waits
// that overlap, clients that leave, garbage, oversized and slow requests, idle connections.

#include "ServerFixture.h"

#include "alpaca/Discovery.h"

#include <QNetworkDatagram>
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
        f->focuser().waitMs["Position"] = 500;
        f->focuser().values["Position"] = 42;
        std::vector<std::unique_ptr<HttpTestClient>> clients;
        for (int i = 0; i < 20; ++i) {
            clients.push_back(std::make_unique<HttpTestClient>(f->port()));
            clients.back()->get("/api/v1/focuser/0/position?ClientTransactionID=" +
                                QByteArray::number(i + 1));
            QTRY_COMPARE(f->focuser().waiting, i + 1);
            f->clock.advance(10);
        }
        // All twenty are waiting at once: none holds up another.
        QCOMPARE(f->focuser().waiting, 20);
        f->clock.advance(300); // the first request's wait is over, the second's is not
        const HttpReply first = clients[0]->await();
        QCOMPARE(first.json()["ClientTransactionID"].toInt(), 1);
        QCOMPARE(first.json()["Value"].toInt(), 42);
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
        f->focuser().waitMs["Position"] = 500;
        {
            HttpTestClient leaving(f->port());
            leaving.get("/api/v1/focuser/0/position");
            QTRY_COMPARE(f->focuser().waiting, 1);
            leaving.socket.abort();
        }
        QTRY_COMPARE(f->server->connectionCount(), 0);
        f->clock.advance(500); // the answer is ready; its client is gone
        QCOMPARE(f->focuser().waiting, 0);

        // A client that half-closes (sends and shuts its side) is still answered or dropped
        // cleanly, and the server goes on serving.
        f->focuser().waitMs.clear();
        QCOMPARE(f->get("/api/v1/focuser/0/name").json()["Value"].toString(), "Mivel Focuser");
    }

    void garbageGets400AndTheConnectionCloses_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("status");
        QTest::newRow("binary") << QByteArray("\x00\xff\xfe garbage\r\n\r\n", 16) << 400;
        QTest::newRow("no version") << QByteArray("GET /\r\n\r\n") << 400;
        QTest::newRow("http 2") << QByteArray("GET / HTTP/2.0\r\n\r\n") << 505;
        QTest::newRow("bad header") << QByteArray("GET / HTTP/1.1\r\nno colon\r\n\r\n") << 400;
        QTest::newRow("folded header") << QByteArray("GET / HTTP/1.1\r\nA: b\r\n c\r\n\r\n") << 400;
        QTest::newRow("bad length")
            << QByteArray("PUT / HTTP/1.1\r\nContent-Length: -5\r\n\r\n") << 400;
        QTest::newRow("two lengths")
            << QByteArray("PUT / HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\n")
            << 400;
        QTest::newRow("unknown coding")
            << QByteArray("PUT / HTTP/1.1\r\nTransfer-Encoding: gzip\r\n\r\n") << 501;
        QTest::newRow("bad chunk")
            << QByteArray("PUT / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n") << 400;
        QTest::newRow("expectation")
            << QByteArray("PUT / HTTP/1.1\r\nExpect: magic\r\nContent-Length: 1\r\n\r\n") << 417;
    }
    void garbageGets400AndTheConnectionCloses() {
        QFETCH(QByteArray, bytes);
        QFETCH(int, status);
        HttpTestClient c(f->port());
        c.send(bytes);
        const HttpReply r = c.await();
        QCOMPARE(r.status, status);
        QCOMPARE(r.header("Connection"), "close");
        QVERIFY(!r.body.isEmpty());
        QVERIFY(c.closedByServer());
        QCOMPARE(f->get("/api/v1/focuser/0/name").status, 200);
    }

    void oversizedRequestsAreRefusedWithoutBufferingThem() {
        const http::Limits lim;
        {
            HttpTestClient c(f->port());
            c.send("GET /" + QByteArray(lim.maxRequestLine + 10, 'a'));
            QCOMPARE(c.await().status, 414);
        }
        {
            HttpTestClient c(f->port());
            c.send("GET / HTTP/1.1\r\nX: " + QByteArray(lim.maxHeaderBytes, 'b') + "\r\n\r\n");
            QCOMPARE(c.await().status, 431);
        }
        {
            HttpTestClient c(f->port());
            QByteArray many = "GET / HTTP/1.1\r\n";
            for (int i = 0; i <= lim.maxHeaderCount; ++i)
                many += "H" + QByteArray::number(i) + ": v\r\n";
            c.send(many + "\r\n");
            QCOMPARE(c.await().status, 431);
        }
        {
            // The body is refused from its announced length, before any of it is sent.
            HttpTestClient c(f->port());
            c.send("PUT /api/v1/focuser/0/move HTTP/1.1\r\nContent-Length: " +
                   QByteArray::number(lim.maxBody + 1) + "\r\n\r\n");
            QCOMPARE(c.await().status, 413);
        }
        {
            HttpTestClient c(f->port());
            c.send("PUT /api/v1/focuser/0/move HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n" +
                   QByteArray::number(lim.maxBody + 1, 16) + "\r\n");
            QCOMPARE(c.await().status, 413);
        }
        QCOMPARE(f->get("/api/v1/focuser/0/name").status, 200);
    }

    void expectContinueIsAnsweredAtOnce() {
        HttpTestClient c(f->port());
        const QByteArray form = "Position=321";
        c.send("PUT /api/v1/focuser/0/move HTTP/1.1\r\nHost: x\r\nExpect: 100-continue\r\n"
               "Content-Type: application/x-www-form-urlencoded\r\nContent-Length: " +
               QByteArray::number(form.size()) + "\r\n\r\n");
        QCOMPARE(c.await().status, 100);
        c.send(form);
        const HttpReply r = c.await();
        QCOMPARE(r.status, 200);
        QCOMPARE(f->focuser().calls.last(), "call Move(321)");

        // Too large a body is refused instead of invited.
        HttpTestClient big(f->port());
        big.send("PUT /api/v1/focuser/0/move HTTP/1.1\r\nExpect: 100-continue\r\n"
                 "Content-Length: 10000000\r\n\r\n");
        QCOMPARE(big.await().status, 413);
    }

    void keepAliveChunkedAndPipelinedRequests() {
        HttpTestClient c(f->port());
        c.send("PUT /api/v1/focuser/0/move HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n"
               "5\r\nPosit\r\n7;ext=1\r\nion=777\r\n0\r\nTrailer: x\r\n\r\n");
        QCOMPARE(c.await().status, 200);
        QCOMPARE(f->focuser().calls.last(), "call Move(777)");

        // Three requests in one write: three answers, in order, on the same connection.
        f->focuser().waitMs["Position"] = 100; // the first is deferred; the others queue behind it
        c.send("GET /api/v1/focuser/0/position?ClientTransactionID=1 HTTP/1.1\r\n\r\n"
               "GET /api/v1/focuser/0/name?ClientTransactionID=2 HTTP/1.1\r\n\r\n"
               "GET /api/v1/focuser/0/name?ClientTransactionID=3 HTTP/1.1\r\nConnection: "
               "close\r\n\r\n");
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
        idle.get("/api/v1/focuser/0/name");
        QCOMPARE(idle.await().status, 200);
        HttpTestClient slow(f->port());
        slow.send("GET /api/v1/focuser/0/na"); // and nothing more
        QTRY_COMPARE(f->server->connectionCount(), 2);
        QTRY_VERIFY(slow.socket.bytesToWrite() == 0);

        const http::ServerLimits lim;
        f->clock.advance(lim.requestTimeoutMs);
        QCOMPARE(slow.await().status, 408);
        QVERIFY(slow.closedByServer());
        QCOMPARE(idle.socket.state(), QAbstractSocket::ConnectedState);
        f->clock.advance(lim.idleTimeoutMs);
        QVERIFY(idle.closedByServer());
        QTRY_COMPARE(f->server->connectionCount(), 0);
    }

    void connectionsAreCapped() {
        http::ServerLimits lim;
        lim.maxConnections = 3;
        start(lim);
        std::vector<std::unique_ptr<HttpTestClient>> held;
        for (int i = 0; i < 3; ++i)
            held.push_back(std::make_unique<HttpTestClient>(f->port()));
        QTRY_COMPARE(f->server->connectionCount(), 3);
        HttpTestClient refused(f->port());
        QVERIFY(refused.closedByServer());
        held.pop_back();
        QTRY_COMPARE(f->server->connectionCount(), 2);
        QCOMPARE(f->get("/api/v1/focuser/0/name").status, 200);
    }

    void discoveryAnswersWithThePort() {
        alpaca::DiscoveryResponder responder(f->port(), QHostAddress::LocalHost);
        QString error;
        QVERIFY2(responder.start(0, &error), qPrintable(error));
        QUdpSocket client;
        QVERIFY(client.bind(QHostAddress::LocalHost, 0));
        client.writeDatagram("alpacadiscovery", QHostAddress::LocalHost, responder.port());
        client.writeDatagram("hello", QHostAddress::LocalHost, responder.port());
        client.writeDatagram("alpacadiscovery1", QHostAddress::LocalHost, responder.port());
        QTRY_VERIFY(client.hasPendingDatagrams());
        const QNetworkDatagram reply = client.receiveDatagram();
        const QJsonObject o = QJsonDocument::fromJson(reply.data()).object();
        QCOMPARE(o.keys(), QStringList{"AlpacaPort"});
        QCOMPARE(o["AlpacaPort"].toInt(), f->port());
        QCOMPARE(responder.answered(), 1);

        QVERIFY(alpaca::DiscoveryResponder::isDiscoveryRequest("alpacadiscovery2"));
        QVERIFY(!alpaca::DiscoveryResponder::isDiscoveryRequest("alpacadiscoveryX"));
        QVERIFY(!alpaca::DiscoveryResponder::isDiscoveryRequest("alpacadiscovery0"));
    }
};

QTEST_GUILESS_MAIN(HttpServerTest)
#include "tst_http_server.moc"
