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
#include <string>
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
    template <class OnValue> void feed(std::string_view chunk, OnValue&& onValue);

    std::string_view pendingTag() const { return tag_; }
    // The start of a token cut off at the end of the last chunk (or the last token seen).
    std::string_view previousToken() const { return previous_; }
    bool endedInsideToken() const { return insideToken_; }
    void reset() {
        previous_.clear();
        tag_.clear();
        insideToken_ = false;
    }

private:
    template <class OnValue> void handle(std::string_view piece, OnValue& onValue);
    static std::string_view capped(std::string_view piece);

    std::string previous_;
    std::string tag_;
    bool insideToken_ = false;
};

template <class OnValue> void Tokeniser::feed(std::string_view chunk, OnValue&& onValue) {
    if (chunk.empty())
        return;
    const bool endsWithSpace = chunk.back() == ' ';
    std::string joined;
    std::string_view lastHandled;
    bool first = true;
    std::size_t pos = 0;
    for (;;) {
        const std::size_t space = chunk.find(' ', pos);
        const bool last = space == std::string_view::npos;
        if (last && endsWithSpace)
            break; // the empty piece after the closing space is dropped
        std::string_view piece = last ? chunk.substr(pos) : chunk.substr(pos, space - pos);
        if (first && insideToken_) {
            // The previous chunk ended inside this token. Only what fits under the cap is
            // joined, so a token that never ends is not copied again with every chunk.
            joined = previous_;
            joined.append(piece.substr(0, MaxTokenLength + 1 -
                                              std::min(previous_.size(), MaxTokenLength + 1)));
            piece = joined;
        }
        piece = capped(piece);
        if (last) {
            // The chunk ends inside this token: keep it for the next chunk.
            previous_.assign(piece);
            insideToken_ = true;
            return;
        }
        handle(piece, onValue);
        lastHandled = piece;
        first = false;
        pos = space + 1;
    }
    // Remembering every piece as the previous token only matters for the last one, so it is
    // copied once per chunk.
    previous_.assign(lastHandled);
    insideToken_ = false;
}

inline std::string_view Tokeniser::capped(std::string_view piece) {
    if (piece.size() <= MaxTokenLength)
        return piece;
    static bool noticed = false;
    if (!noticed) {
        noticed = true;
        noticeOverlongToken(MaxTokenLength);
    }
    return piece.substr(0, MaxTokenLength);
}

template <class OnValue> void Tokeniser::handle(std::string_view piece, OnValue& onValue) {
    if (!tag_.empty()) {
        onValue(std::string_view(tag_), piece);
        if (!piece.empty())
            tag_.clear();
    }
    if (!piece.empty() && piece.front() == ':')
        tag_.assign(piece);
}

} // namespace mivel::wire
