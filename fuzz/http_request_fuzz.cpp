// libFuzzer target for the HTTP request parser. The input's first byte seeds the chunk sizes; the
// rest is what a client sends. Fed whole and in pieces, the parser must give the same requests and
// end the same way, keep every limit, and never crash. Built with AddressSanitizer and
// UndefinedBehaviorSanitizer.

#include "http/HttpRequest.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using mivel::http::Limits;
using mivel::http::Request;
using mivel::http::RequestParser;

namespace {

// Small limits, so that the fuzzer reaches them.
Limits limits() {
    Limits l;
    l.maxRequestLine = 200;
    l.maxHeaderBytes = 400;
    l.maxHeaderCount = 8;
    l.maxBody = 300;
    l.maxFormFields = 6;
    return l;
}

struct Outcome {
    QList<QByteArray> requests; // each flattened
    int errorStatus = 0;
};

QByteArray flatten(const Request& r) {
    QByteArray out = r.method + ' ' + r.target + ' ' + QByteArray::number(r.minorVersion) + '\n';
    for (const auto& [name, value] : r.headers)
        out += name + ':' + value + '\n';
    return out + '\n' + r.body;
}

void check(const Request& r, const Limits& l) {
    if (r.body.size() > l.maxBody || r.headers.size() > l.maxHeaderCount ||
        r.target.size() > l.maxRequestLine ||
        mivel::http::countFormFields(r.query, l.maxFormFields + 1) > l.maxFormFields)
        std::abort();
}

void drain(RequestParser& p, QByteArray& in, Outcome& out) {
    for (;;) {
        const RequestParser::Step s = p.advance(in);
        if (s == RequestParser::Step::NeedMore)
            return;
        if (s == RequestParser::Step::Failed) {
            out.errorStatus = p.errorStatus();
            return;
        }
        if (s == RequestParser::Step::Complete) {
            const Request r = p.takeRequest();
            check(r, p.limits());
            out.requests << flatten(r);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1)
        return 0;
    std::uint32_t seed = data[0];
    const QByteArray stream(reinterpret_cast<const char*>(data + 1), qsizetype(size - 1));

    RequestParser whole(limits());
    Outcome expected;
    QByteArray in = stream;
    drain(whole, in, expected);

    RequestParser split(limits());
    Outcome got;
    QByteArray pending;
    qsizetype pos = 0;
    while (pos < stream.size() && got.errorStatus == 0) {
        seed = seed * 1103515245u + 12345u;
        const qsizetype len = std::min<qsizetype>(stream.size() - pos, (seed >> 16) % 13);
        pending += stream.mid(pos, len);
        pos += len;
        drain(split, pending, got);
    }
    if (got.requests != expected.requests || got.errorStatus != expected.errorStatus)
        std::abort();
    return 0;
}
