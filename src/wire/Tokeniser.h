#pragma once

// The unit's reply stream: tokens separated by single spaces, each followed by a space. A token
// that begins with ':' is a tag and the next non-empty token is its value. Chunks arrive split
// anywhere, so each receiver keeps one of these and feeds it every chunk.
//
// No Qt and no I/O here: this is fed arbitrary bytes by the fuzzer and the benchmark.
//
// A token is at most MaxTokenLength bytes; the rest of a longer one is dropped as it comes, so a
// device that sends text without spaces (a GPS receiver on the wrong port) costs neither memory
// nor time. The unit's longest reply token is a dozen characters.

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace mivel::wire {

// Called the first time in the process that any tokeniser drops the end of an over-long token:
// the program says in its log that the device does not look like the unit. Defined in the link
// library (the fuzz target brings its own).
void noticeOverlongToken(std::size_t maxLength);

class Tokeniser {
public:
    static constexpr std::size_t MaxTokenLength = 256;

    // Feeds one received chunk. onValue(tag, piece) is called for every piece that arrives while
    // a tag is pending, empty pieces (two spaces in a row) included: most tags ignore an empty
    // value and stay pending, while the link probe's tag acts on whatever comes next.
    //
    // Pieces and tags are handed out as views of the chunk itself; only what outlives the chunk
    // (a pending tag, the token it ends inside) is copied, once per chunk.
    template <class OnValue> void feed(std::string_view chunk, OnValue&& onValue);

    std::string_view pendingTag() const { return {tag_, tagLength_}; }
    // The start of a token cut off at the end of the last chunk; empty after a chunk that ended
    // with a space.
    std::string_view previousToken() const { return {previous_, previousLength_}; }
    bool endedInsideToken() const { return insideToken_; }
    void reset() {
        previousLength_ = 0;
        tagLength_ = 0;
        insideToken_ = false;
    }

private:
    template <class OnValue>
    static void handle(std::string_view piece, std::string_view& tag, OnValue& onValue);
    static std::string_view capped(std::string_view piece);
    static void noticeOnce();
    // Where the next space is at or after pos; chunk.size() when there is none.
    static std::size_t nextSpace(std::string_view chunk, std::size_t pos);
    static void copyShort(std::string_view from, char* to);
    // The carried start of a token followed by the chunk's first piece, in previous_.
    std::string_view joinCarried(std::string_view piece);
    // At the end of a chunk: keeps the pending tag, then the last token, beyond the chunk.
    void keep(std::string_view tag, std::string_view last, bool insideToken);

    char previous_[MaxTokenLength];
    char tag_[MaxTokenLength];
    std::size_t previousLength_ = 0;
    std::size_t tagLength_ = 0;
    bool insideToken_ = false;
};

template <class OnValue> void Tokeniser::feed(std::string_view chunk, OnValue&& onValue) {
    if (chunk.empty())
        return;
    std::string_view tag = pendingTag();
    std::size_t pos = 0;
    bool first = true;
    for (;;) {
        const std::size_t space = nextSpace(chunk, pos);
        if (space == chunk.size()) {
            if (pos == chunk.size()) {
                // The chunk ended with a space: the empty piece after it is dropped.
                keep(tag, {}, false);
                return;
            }
            std::string_view piece = chunk.substr(pos);
            piece = first && insideToken_ ? joinCarried(piece) : capped(piece);
            keep(tag, piece, true); // the chunk ends inside this token
            return;
        }
        std::string_view piece = chunk.substr(pos, space - pos);
        piece = first && insideToken_ ? joinCarried(piece) : capped(piece);
        handle(piece, tag, onValue);
        first = false;
        pos = space + 1;
    }
}

// The unit's tokens are a few characters long: a plain look at the next few bytes finds their
// end sooner than a library search would start; longer runs (not the unit) go to memchr.
inline std::size_t Tokeniser::nextSpace(std::string_view chunk, std::size_t pos) {
    const std::size_t near = std::min(chunk.size(), pos + 16);
    for (; pos < near; ++pos)
        if (chunk[pos] == ' ')
            return pos;
    if (pos == chunk.size())
        return pos;
    const void* found = std::memchr(chunk.data() + pos, ' ', chunk.size() - pos);
    return found ? std::size_t(static_cast<const char*>(found) - chunk.data()) : chunk.size();
}

// Tags and cut tokens from the unit are short: copied byte by byte, not by a library call.
inline void Tokeniser::copyShort(std::string_view from, char* to) {
    for (const char c : from)
        *to++ = c;
}

inline std::string_view Tokeniser::joinCarried(std::string_view piece) {
    // Only what fits under the cap is joined, so a token that never ends is not copied again
    // with every chunk.
    const std::size_t room = MaxTokenLength - previousLength_;
    if (piece.size() > room)
        noticeOnce();
    const std::size_t taken = std::min(piece.size(), room);
    std::copy_n(piece.data(), taken, previous_ + previousLength_);
    previousLength_ += taken;
    return {previous_, previousLength_};
}

inline void Tokeniser::keep(std::string_view tag, std::string_view last, bool insideToken) {
    // The tag first: it may be a view of previous_, which the last token overwrites.
    if (tag.data() != tag_)
        copyShort(tag, tag_);
    tagLength_ = tag.size();
    if (last.data() != previous_)
        copyShort(last, previous_);
    previousLength_ = last.size();
    insideToken_ = insideToken;
}

inline void Tokeniser::noticeOnce() {
    static bool noticed = false;
    if (!noticed) {
        noticed = true;
        noticeOverlongToken(MaxTokenLength);
    }
}

inline std::string_view Tokeniser::capped(std::string_view piece) {
    if (piece.size() <= MaxTokenLength)
        return piece;
    noticeOnce();
    return piece.substr(0, MaxTokenLength);
}

template <class OnValue>
void Tokeniser::handle(std::string_view piece, std::string_view& tag, OnValue& onValue) {
    if (!tag.empty()) {
        onValue(tag, piece);
        if (!piece.empty())
            tag = {};
    }
    if (!piece.empty() && piece.front() == ':')
        tag = piece;
}

} // namespace mivel::wire
