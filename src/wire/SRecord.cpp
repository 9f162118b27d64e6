#include "SRecord.h"

#include "core/Numbers.h"

namespace mivel::wire {
namespace {

// The byte whose two hex digits start at text[at], or -1.
int byteAt(std::string_view text, std::size_t at) {
    const int high = hexDigit(text[at]);
    const int low = hexDigit(text[at + 1]);
    return high < 0 || low < 0 ? -1 : high * 16 + low;
}

constexpr char kHex[] = "0123456789ABCDEF";

void appendByte(std::string& out, unsigned value) {
    out += kHex[(value >> 4) & 0xF];
    out += kHex[value & 0xF];
}

} // namespace

int addressBytes(char type) {
    switch (type) {
    case '0':
    case '1':
    case '5':
    case '9':
        return 2;
    case '2':
    case '6':
    case '8':
        return 3;
    case '3':
    case '7':
        return 4;
    default:
        return 0;
    }
}

SRecord readRecord(std::string_view line) {
    SRecord r;
    if (line.size() < 4 || line[0] != 'S') {
        r.fault = RecordFault::NotARecord;
        return r;
    }
    r.type = line[1];
    const int width = addressBytes(r.type);
    if (width == 0) {
        r.fault = RecordFault::BadType;
        return r;
    }
    const int count = byteAt(line, 2);
    if (count < 0) {
        r.fault = RecordFault::BadHex;
        return r;
    }
    if (line.size() != 4 + 2 * std::size_t(count) || count < width + 1) {
        r.fault = RecordFault::BadLength;
        return r;
    }
    unsigned sum = unsigned(count);
    std::string bytes;
    for (int i = 0; i < count; ++i) {
        const int b = byteAt(line, 4 + 2 * std::size_t(i));
        if (b < 0) {
            r.fault = RecordFault::BadHex;
            return r;
        }
        bytes += char(b);
        if (i < count - 1)
            sum += unsigned(b);
    }
    for (int i = 0; i < width; ++i)
        r.address = (r.address << 8) | static_cast<unsigned char>(bytes[std::size_t(i)]);
    r.data = bytes.substr(std::size_t(width), std::size_t(count - width - 1));
    if (static_cast<unsigned char>(bytes.back()) != (~sum & 0xFF))
        r.fault = RecordFault::BadChecksum;
    return r;
}

std::string makeRecord(char type, std::uint32_t address, std::string_view data) {
    const int width = addressBytes(type);
    const unsigned count = unsigned(width) + unsigned(data.size()) + 1;
    std::string out{'S', type};
    appendByte(out, count);
    unsigned sum = count;
    for (int i = width - 1; i >= 0; --i) {
        const unsigned b = (address >> (8 * i)) & 0xFF;
        appendByte(out, b);
        sum += b;
    }
    for (const char c : data) {
        appendByte(out, static_cast<unsigned char>(c));
        sum += static_cast<unsigned char>(c);
    }
    appendByte(out, ~sum & 0xFF);
    return out;
}

} // namespace mivel::wire
