// libFuzzer target for the reply tokeniser. The input's first byte seeds the chunk sizes; the
// rest is the stream. The stream is fed whole and split, and both must report the same values
// and end in the same state. Built with AddressSanitizer and UndefinedBehaviorSanitizer.

#include "wire/Tokeniser.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

using mivel::wire::Tokeniser;

namespace {

using Events = std::vector<std::pair<std::string, std::string>>;

void feed(Tokeniser& tok, std::string_view chunk, Events& out) {
    tok.feed(chunk, [&](std::string_view tag, std::string_view value) {
        out.emplace_back(std::string(tag), std::string(value));
    });
}

} // namespace

void mivel::wire::noticeOverlongToken(std::size_t) {}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1)
        return 0;
    std::uint32_t seed = data[0];
    const std::string_view stream(reinterpret_cast<const char*>(data + 1), size - 1);

    Tokeniser whole;
    Events expected;
    feed(whole, stream, expected);

    Tokeniser split;
    Events got;
    std::size_t pos = 0;
    while (pos < stream.size()) {
        seed = seed * 1103515245u + 12345u;
        const std::size_t len = std::min<std::size_t>(stream.size() - pos, (seed >> 16) % 17);
        feed(split, stream.substr(pos, len), got);
        pos += len;
    }
    if (got != expected || split.pendingTag() != whole.pendingTag() ||
        split.endedInsideToken() != whole.endedInsideToken())
        std::abort();
    if (!split.pendingTag().empty() && split.pendingTag().front() != ':')
        std::abort();
    if (split.previousToken().size() > Tokeniser::MaxTokenLength ||
        split.pendingTag().size() > Tokeniser::MaxTokenLength)
        std::abort();
    return 0;
}
