#include "HttpRequest.h"

#include <algorithm>

namespace mivel::http {
namespace {

// RFC 9110 token characters: header names and methods.
bool isTokenChar(char c) {
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))
        return true;
    return QByteArrayView("!#$%&'*+-.^_`|~").contains(c);
}

bool isToken(const QByteArray& s) {
    return !s.isEmpty() && std::all_of(s.begin(), s.end(), isTokenChar);
}

bool isDigits(const QByteArray& s) {
    return !s.isEmpty() &&
           std::all_of(s.begin(), s.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool hasControlOrSpace(const QByteArray& s) {
    return std::any_of(s.begin(), s.end(), [](char c) {
        const auto u = static_cast<unsigned char>(c);
        return u <= 0x20 || u == 0x7f;
    });
}

} // namespace

int countFormFields(QByteArrayView text, int stopAt) {
    int fields = 0;
    qsizetype start = 0;
    while (start <= text.size() && fields < stopAt) {
        qsizetype end = text.indexOf('&', start);
        if (end < 0)
            end = text.size();
        if (end > start)
            ++fields;
        start = end + 1;
    }
    return fields;
}

QByteArray Request::header(const QByteArray& name) const {
    for (const auto& [n, v] : headers)
        if (n.compare(name, Qt::CaseInsensitive) == 0)
            return v;
    return {};
}

bool Request::hasHeader(const QByteArray& name) const {
    return std::any_of(headers.begin(), headers.end(), [&](const auto& h) {
        return h.first.compare(name, Qt::CaseInsensitive) == 0;
    });
}

bool Request::keepAlive() const {
    const QByteArray connection = header("Connection").toLower();
    const auto says = [&](const char* word) {
        for (const QByteArray& part : connection.split(','))
            if (part.trimmed() == word)
                return true;
        return false;
    };
    if (minorVersion == 0)
        return says("keep-alive");
    return !says("close");
}

RequestParser::Step RequestParser::fail(int status, const char* reason) {
    errorStatus_ = status;
    errorReason_ = reason;
    return Step::Failed;
}

Request RequestParser::takeRequest() {
    Request r = std::move(request_);
    request_ = {};
    return r;
}

bool RequestParser::takeLine(QByteArray& in, QByteArray* line, int cap, bool* tooLong) {
    const qsizetype lf = in.indexOf('\n');
    const qsizetype length = lf < 0 ? in.size() : lf;
    *tooLong = length > cap;
    if (lf < 0 || *tooLong)
        return false;
    *line = in.left(lf);
    if (line->endsWith('\r'))
        line->chop(1);
    in.remove(0, lf + 1);
    return true;
}

RequestParser::Step RequestParser::advance(QByteArray& in) {
    if (errorStatus_ != 0)
        return Step::Failed;
    while (true) {
        QByteArray line;
        bool tooLong = false;
        switch (state_) {
        case State::RequestLine:
            // Empty lines before a request are tolerated, as HTTP/1.1 asks of a server.
            while (in.startsWith("\r\n") || in.startsWith('\n'))
                in.remove(0, in.startsWith('\n') ? 1 : 2);
            started_ = !in.isEmpty();
            if (!takeLine(in, &line, limits_.maxRequestLine, &tooLong))
                return tooLong ? fail(414, "request line too long") : Step::NeedMore;
            if (const Step s = parseRequestLine(line); s == Step::Failed)
                return s;
            state_ = State::Headers;
            break;
        case State::Headers:
        case State::Trailers: {
            const int room = limits_.maxHeaderBytes - headerBytes_;
            if (!takeLine(in, &line, room, &tooLong))
                return tooLong ? fail(431, "request headers too large") : Step::NeedMore;
            headerBytes_ += int(line.size()) + 2;
            if (!line.isEmpty()) {
                if (const Step s = parseHeaderLine(line); s == Step::Failed)
                    return s;
                break;
            }
            if (state_ == State::Trailers)
                return finish();
            if (const Step s = headersDone(); s != Step::NeedMore)
                return s;
            break;
        }
        case State::Body:
            if (!takeBody(in))
                return Step::NeedMore;
            return finish();
        case State::ChunkSize:
            if (!takeLine(in, &line, 1024, &tooLong))
                return tooLong ? fail(400, "chunk size line too long") : Step::NeedMore;
            if (const Step s = chunkSizeLine(line); s == Step::Failed)
                return s;
            break;
        case State::ChunkData:
            if (!takeBody(in))
                return Step::NeedMore;
            state_ = State::ChunkDataEnd;
            break;
        case State::ChunkDataEnd:
            if (!takeLine(in, &line, 2, &tooLong))
                return tooLong ? fail(400, "chunk not followed by CR LF") : Step::NeedMore;
            if (!line.isEmpty())
                return fail(400, "chunk not followed by CR LF");
            state_ = State::ChunkSize;
            break;
        }
    }
}

RequestParser::Step RequestParser::parseRequestLine(const QByteArray& line) {
    const QList<QByteArray> parts = line.split(' ');
    if (parts.size() != 3 || !isToken(parts[0]) || parts[1].isEmpty() ||
        hasControlOrSpace(parts[1]))
        return fail(400, "malformed request line");
    const QByteArray& version = parts[2];
    if (!version.startsWith("HTTP/") || version.size() != 8 || version[6] != '.' ||
        !isDigits(version.mid(5, 1)) || !isDigits(version.mid(7, 1)))
        return fail(400, "malformed HTTP version");
    if (version[5] != '1')
        return fail(505, "only HTTP/1.0 and HTTP/1.1 are served");
    request_.method = parts[0];
    request_.minorVersion = version[7] == '0' ? 0 : 1;
    QByteArray target = parts[1];
    // An absolute-form target (a request sent as to a proxy) is reduced to its path.
    if (target.startsWith("http://")) {
        const qsizetype slash = target.indexOf('/', 7);
        target = slash < 0 ? QByteArray("/") : target.mid(slash);
    }
    if (!target.startsWith('/') && target != "*")
        return fail(400, "request target is not a path");
    request_.target = target;
    const qsizetype q = target.indexOf('?');
    request_.path = q < 0 ? target : target.left(q);
    request_.query = q < 0 ? QByteArray() : target.mid(q + 1);
    if (countFormFields(request_.query, limits_.maxFormFields + 1) > limits_.maxFormFields)
        return fail(400, "too many query fields");
    return Step::NeedMore;
}

RequestParser::Step RequestParser::parseHeaderLine(const QByteArray& line) {
    if (line.startsWith(' ') || line.startsWith('\t'))
        return fail(400, "folded header lines are not accepted");
    const qsizetype colon = line.indexOf(':');
    if (colon <= 0 || !isToken(line.left(colon)))
        return fail(400, "malformed header line");
    if (request_.headers.size() >= limits_.maxHeaderCount)
        return fail(431, "too many request headers");
    if (state_ == State::Trailers)
        return Step::NeedMore; // trailers are read and dropped
    request_.headers.append({line.left(colon), line.mid(colon + 1).trimmed()});
    return Step::NeedMore;
}

RequestParser::Step RequestParser::headersDone() {
    const QByteArray expect = request_.header("Expect");
    if (!expect.isEmpty() && expect.toLower() != "100-continue")
        return fail(417, "only 100-continue can be expected");
    expectContinue_ = !expect.isEmpty();

    const QByteArray coding = request_.header("Transfer-Encoding").trimmed().toLower();
    const bool chunked = request_.hasHeader("Transfer-Encoding");
    if (chunked && coding != "chunked")
        return fail(501, "transfer coding not supported");
    if (chunked && request_.hasHeader("Content-Length"))
        return fail(400, "both Content-Length and Transfer-Encoding given");

    qint64 length = 0;
    bool seen = false;
    for (const auto& [name, value] : request_.headers) {
        if (name.compare("Content-Length", Qt::CaseInsensitive) != 0)
            continue;
        if (!isDigits(value) || value.size() > 12)
            return fail(400, "malformed Content-Length");
        const qint64 v = value.toLongLong();
        if (seen && v != length)
            return fail(400, "conflicting Content-Length headers");
        length = v;
        seen = true;
    }
    if (length > limits_.maxBody)
        return fail(413, "request body too large");

    if (chunked) {
        state_ = State::ChunkSize;
        return Step::HeadersReady;
    }
    if (length > 0) {
        remaining_ = length;
        state_ = State::Body;
        return Step::HeadersReady;
    }
    return finish();
}

RequestParser::Step RequestParser::chunkSizeLine(const QByteArray& line) {
    const qsizetype extension = line.indexOf(';');
    const QByteArray hex = (extension < 0 ? line : line.left(extension)).trimmed();
    bool ok = false;
    const qint64 size = hex.size() <= 8 ? hex.toLongLong(&ok, 16) : -1;
    if (!ok || size < 0 || hex.startsWith('+') || hex.startsWith('-'))
        return fail(400, "malformed chunk size");
    if (request_.body.size() + size > limits_.maxBody)
        return fail(413, "request body too large");
    if (size == 0) {
        state_ = State::Trailers;
        return Step::NeedMore;
    }
    remaining_ = size;
    state_ = State::ChunkData;
    return Step::NeedMore;
}

bool RequestParser::takeBody(QByteArray& in) {
    const qsizetype n = std::min<qint64>(remaining_, in.size());
    request_.body.append(in.constData(), n);
    in.remove(0, n);
    remaining_ -= n;
    return remaining_ == 0;
}

RequestParser::Step RequestParser::finish() {
    const QByteArray type = request_.header("Content-Type").toLower();
    if ((type.isEmpty() || type.startsWith("application/x-www-form-urlencoded")) &&
        countFormFields(request_.body, limits_.maxFormFields + 1) > limits_.maxFormFields)
        return fail(400, "too many form fields");
    state_ = State::RequestLine;
    started_ = false;
    expectContinue_ = false;
    headerBytes_ = 0;
    remaining_ = 0;
    return Step::Complete;
}

const char* reasonPhrase(int status) {
    switch (status) {
    case 100:
        return "Continue";
    case 200:
        return "OK";
    case 400:
        return "Bad Request";
    case 404:
        return "Not Found";
    case 405:
        return "Method Not Allowed";
    case 408:
        return "Request Timeout";
    case 413:
        return "Content Too Large";
    case 414:
        return "URI Too Long";
    case 417:
        return "Expectation Failed";
    case 431:
        return "Request Header Fields Too Large";
    case 500:
        return "Internal Server Error";
    case 501:
        return "Not Implemented";
    case 503:
        return "Service Unavailable";
    case 505:
        return "HTTP Version Not Supported";
    default:
        return "Unknown";
    }
}

} // namespace mivel::http
