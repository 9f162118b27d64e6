// The request parser alone: bytes in, requests out, in any chunking.

#include "alpaca/HttpRequest.h"

#include <QTest>

using namespace mivel::http;

class HttpParserTest : public QObject {
    Q_OBJECT

    // Feeds the bytes in pieces of `piece` bytes; returns the requests completed.
    static QList<Request> feed(const QByteArray& bytes, int piece, RequestParser::Step* last) {
        RequestParser p;
        QList<Request> out;
        QByteArray in;
        *last = RequestParser::Step::NeedMore;
        for (qsizetype at = 0; at < bytes.size(); at += piece) {
            in += bytes.mid(at, piece);
            while (true) {
                *last = p.advance(in);
                if (*last == RequestParser::Step::Complete)
                    out << p.takeRequest();
                else if (*last != RequestParser::Step::HeadersReady)
                    break;
            }
            if (*last == RequestParser::Step::Failed)
                break;
        }
        return out;
    }

private slots:
    void requestsComeOutWhateverTheChunking() {
        const QByteArray bytes =
            "\r\nPUT /api/v1/focuser/0/move?a=1 HTTP/1.1\r\nHost: x\r\ncontent-length: 10\r\n\r\n"
            "Position=5"
            "GET /x HTTP/1.0\nConnection: keep-alive\n\n"
            "PUT /c HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n";
        for (int piece : {1, 2, 7, 64, 4096}) {
            RequestParser::Step last;
            const QList<Request> r = feed(bytes, piece, &last);
            QCOMPARE(r.size(), 3);
            QCOMPARE(r[0].method, "PUT");
            QCOMPARE(r[0].path, "/api/v1/focuser/0/move");
            QCOMPARE(r[0].query, "a=1");
            QCOMPARE(r[0].header("Content-Length"), "10");
            QCOMPARE(r[0].body, "Position=5");
            QVERIFY(r[0].keepAlive());
            QCOMPARE(r[1].minorVersion, 0);
            QVERIFY(r[1].keepAlive()); // bare LF line ends are tolerated
            QCOMPARE(r[2].body, "abcde");
        }
    }

    void headersReadyComesBeforeTheBody() {
        RequestParser p;
        QByteArray in = "PUT / HTTP/1.1\r\nExpect: 100-Continue\r\nContent-Length: 3\r\n\r\n";
        QCOMPARE(p.advance(in), RequestParser::Step::HeadersReady);
        QVERIFY(p.expectsContinue());
        QVERIFY(p.midRequest());
        QCOMPARE(p.advance(in), RequestParser::Step::NeedMore);
        in += "abc";
        QCOMPARE(p.advance(in), RequestParser::Step::Complete);
        QVERIFY(!p.midRequest());
    }

    void refusals_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("status");
        QTest::newRow("two spaces") << QByteArray("GET  / HTTP/1.1\r\n") << 400;
        QTest::newRow("relative target") << QByteArray("GET x HTTP/1.1\r\n") << 400;
        QTest::newRow("control in target") << QByteArray("GET /\x01 HTTP/1.1\r\n") << 400;
        QTest::newRow("lower-case version") << QByteArray("GET / http/1.1\r\n") << 400;
        QTest::newRow("version 3") << QByteArray("GET / HTTP/3.0\r\n") << 505;
        QTest::newRow("space in header name")
            << QByteArray("GET / HTTP/1.1\r\nA b: c\r\n\r\n") << 400;
        QTest::newRow("length and chunked")
            << QByteArray(
                   "PUT / HTTP/1.1\r\nContent-Length: 3\r\nTransfer-Encoding: chunked\r\n\r\n")
            << 400;
        QTest::newRow("huge length")
            << QByteArray("PUT / HTTP/1.1\r\nContent-Length: 99999999999999999999\r\n\r\n") << 400;
        QTest::newRow("chunk size sign")
            << QByteArray("PUT / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n+5\r\n") << 400;
        QTest::newRow("chunk without CRLF")
            << QByteArray("PUT / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n1\r\nab\r\n") << 400;
        QTest::newRow("long line without end") << QByteArray(9000, 'G') << 414;
    }
    void refusals() {
        QFETCH(QByteArray, bytes);
        QFETCH(int, status);
        RequestParser::Step last;
        QVERIFY(feed(bytes, 4096, &last).isEmpty());
        QCOMPARE(last, RequestParser::Step::Failed);
        RequestParser p;
        QByteArray in = bytes;
        while (p.advance(in) == RequestParser::Step::HeadersReady) {
        }
        QCOMPARE(p.errorStatus(), status);
        QVERIFY(!p.errorReason().isEmpty());
        // Once failed, it stays failed.
        QByteArray more = "GET / HTTP/1.1\r\n\r\n";
        QCOMPARE(p.advance(more), RequestParser::Step::Failed);
    }

    void absoluteTargetsAreReducedToTheirPath() {
        RequestParser p;
        QByteArray in = "GET http://host:11111/management/apiversions?x=1 HTTP/1.1\r\n\r\n";
        QCOMPARE(p.advance(in), RequestParser::Step::Complete);
        QCOMPARE(p.request().path, "/management/apiversions");
        QCOMPARE(p.request().query, "x=1");
    }
};

QTEST_GUILESS_MAIN(HttpParserTest)
#include "tst_http_parser.moc"
