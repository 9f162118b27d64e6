// Throughput of the reply tokeniser on realistic replies split at random points, with a
// receiver that does what the program's receivers do: look the tag up and convert the value.

#include "core/Numbers.h"
#include "wire/Replies.h"
#include "wire/Tokeniser.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

std::string realisticStream(std::size_t bytes) {
    const char* replies[] = {
        ":s 12500 :a 12497 :h 1 :mc 1032 :mo 1 :mb 0 :tc 0 :frp 9 ",
        ":t1 5432 :t2 5610 :t3 5588 :t4 21733 :t5 22109 :t6 22051 :t7 9012 :tca 21733 :fm 1 "
        ":fs 35 :fg 25 :ft 5 :sm 1 :ss 40 :st 25 :d1 20 :d2 0 ",
        ":rs 36000 :rt 35950 :wr -1200 :rh 1 :rrp 4 ",
        ":! 1 :vr 2.13 ",
    };
    std::mt19937 rng(7);
    std::string s;
    while (s.size() < bytes)
        s += replies[rng() % 4];
    return s;
}

std::vector<std::string_view> splitRandomly(const std::string& s, std::size_t maxChunk) {
    std::mt19937 rng(11);
    std::vector<std::string_view> chunks;
    for (std::size_t pos = 0; pos < s.size();) {
        const std::size_t len = std::min<std::size_t>(s.size() - pos, 1 + rng() % maxChunk);
        chunks.emplace_back(s.data() + pos, len);
        pos += len;
    }
    return chunks;
}

void BM_Tokenise(benchmark::State& state) {
    const std::string stream = realisticStream(1 << 20);
    const auto chunks = splitRandomly(stream, std::size_t(state.range(0)));
    double sink = 0;
    for (auto _ : state) {
        mivel::wire::Tokeniser tok;
        for (auto chunk : chunks)
            tok.feed(chunk, [&](std::string_view tag, std::string_view value) {
                if (const auto* info = mivel::wire::findTag(tag))
                    if (const auto v = mivel::wire::toNumber(value))
                        sink += *v * info->scale;
            });
    }
    benchmark::DoNotOptimize(sink);
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(stream.size()));
}
// Chunks of up to 1 byte (a character per receive event), up to 16 and up to 256 bytes.
BENCHMARK(BM_Tokenise)->Arg(1)->Arg(16)->Arg(256)->Unit(benchmark::kMillisecond);

// The anchor: the least any tokeniser can do with the same chunks, find each space with memchr.
void BM_MemchrScan(benchmark::State& state) {
    const std::string stream = realisticStream(1 << 20);
    const auto chunks = splitRandomly(stream, std::size_t(state.range(0)));
    std::size_t spaces = 0;
    for (auto _ : state) {
        for (auto chunk : chunks) {
            const char* p = chunk.data();
            const char* end = p + chunk.size();
            while (const void* found = std::memchr(p, ' ', std::size_t(end - p))) {
                ++spaces;
                p = static_cast<const char*>(found) + 1;
            }
        }
    }
    benchmark::DoNotOptimize(spaces);
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(stream.size()));
}
BENCHMARK(BM_MemchrScan)->Arg(1)->Arg(16)->Arg(256)->Unit(benchmark::kMillisecond);

// A device that is not the unit: 10 MB of NMEA sentences without a space, in 4 KB reads. The
// cost must stay that of a scan, and the memory that of one capped token.
void BM_TokeniseWithoutSpaces(benchmark::State& state) {
    std::string piece;
    while (piece.size() < 4096)
        piece += "$GPGGA,123519,4807.038,N,01131.000,E,1,08,0.9,545.4,M*47\r\n";
    const std::size_t reads = (10u << 20) / piece.size();
    std::size_t kept = 0;
    for (auto _ : state) {
        mivel::wire::Tokeniser tok;
        for (std::size_t i = 0; i < reads; ++i)
            tok.feed(piece, [](std::string_view, std::string_view) {});
        kept = tok.previousToken().size();
    }
    state.counters["kept_bytes"] = double(kept);
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(reads * piece.size()));
}
BENCHMARK(BM_TokeniseWithoutSpaces)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
