#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>

namespace mivel::http {

// One HTTP/1.x request as it came off the wire: the method and target as sent, the headers in
// their order, and the body with any chunked framing already removed.
struct Request {
    QByteArray method;
    QByteArray target; // as sent: path and query
    QByteArray path;   // target up to '?'
    QByteArray query;  // after '?', without it
    int minorVersion = 1;
    QList<QPair<QByteArray, QByteArray>> headers;
    QByteArray body;

    // The first header of that name (names compare without case), or an empty array.
    QByteArray header(const QByteArray& name) const;
    bool hasHeader(const QByteArray& name) const;
    // HTTP/1.1 keeps the connection unless told to close; HTTP/1.0 closes unless told to keep.
    bool keepAlive() const;
};

// Sizes past which a request is refused rather than buffered.
struct Limits {
    int maxRequestLine = 8 * 1024;  // 414
    int maxHeaderBytes = 16 * 1024; // 431
    int maxHeaderCount = 100;       // 431
    int maxBody = 64 * 1024;        // 413
    // Fields of the query, and of a form body; an Alpaca request has a handful.
    int maxFormFields = 100; // 400
};

// The number of fields of an application/x-www-form-urlencoded text (empty ones not counted),
// counting no further than `stopAt`.
int countFormFields(QByteArrayView text, int stopAt);

// An incremental request parser with no I/O: bytes go in as they arrive, at most one request
// comes out per call. Tests and the fuzz target feed it arbitrary chunks. Every limit is checked
// as the bytes come, in time linear in their number.
class RequestParser {
public:
    enum class Step {
        NeedMore,     // everything given has been taken; more bytes are needed
        HeadersReady, // the headers are complete and a body is still to come (100-continue)
        Complete,     // request() holds a whole request; the next call starts a new one
        Failed,       // errorStatus()/errorReason() say why; the connection cannot go on
    };

    explicit RequestParser(Limits limits = {})
        : limits_(limits) {}

    // Takes bytes from the front of `in` (leaving what belongs to a following request).
    Step advance(QByteArray& in);

    const Request& request() const { return request_; }
    Request takeRequest();
    int errorStatus() const { return errorStatus_; }
    const QByteArray& errorReason() const { return errorReason_; }
    // True between the first byte of a request and its completion.
    bool midRequest() const { return state_ != State::RequestLine || started_; }
    // Whether the request being read asked for "100 Continue" before sending its body.
    bool expectsContinue() const { return expectContinue_; }
    const Limits& limits() const { return limits_; }

private:
    enum class State { RequestLine, Headers, Body, ChunkSize, ChunkData, ChunkDataEnd, Trailers };

    Step fail(int status, const char* reason);
    Step parseRequestLine(const QByteArray& line);
    Step parseHeaderLine(const QByteArray& line);
    Step headersDone();
    Step chunkSizeLine(const QByteArray& line);
    Step finish();
    // Moves what has come of the body (or of the current chunk) into the request; true once
    // all of it has.
    bool takeBody(QByteArray& in);
    // Cuts one line (without its CR LF or bare LF) from the front of `in`, if a whole one is
    // there; otherwise returns false. `cap` bounds how long a line may grow.
    bool takeLine(QByteArray& in, QByteArray* line, int cap, bool* tooLong);

    Limits limits_;
    State state_ = State::RequestLine;
    Request request_;
    bool started_ = false;
    bool expectContinue_ = false;
    int headerBytes_ = 0;
    qint64 remaining_ = 0; // body bytes or bytes of the current chunk still to come
    int errorStatus_ = 0;
    QByteArray errorReason_;
};

// The reason phrase of a status code this server sends.
const char* reasonPhrase(int status);

} // namespace mivel::http
