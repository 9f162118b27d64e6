#!/usr/bin/env bash
# Fuzzes the reply tokeniser with libFuzzer under AddressSanitizer and UndefinedBehaviorSanitizer.
# Usage: scripts/fuzz.sh [SECONDS]   (default 30)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-30}
out=build-fuzz
mkdir -p "$out/corpus"
clang++ -std=c++20 -O1 -g -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=undefined \
    -Isrc fuzz/tokeniser_fuzz.cpp -o "$out/tokeniser_fuzz"
# A few realistic replies to start from.
printf '\x07:a 12500 :s 12000 :h 1 ' > "$out/corpus/focus"
printf '\x03:t1 -1250 :t7 9012 :fs 150 :vr 2.1a  :! x ' > "$out/corpus/temps"
"$out/tokeniser_fuzz" -max_total_time="$seconds" -max_len=4096 -print_final_stats=1 "$out/corpus" 2>&1 |
    grep -E 'stat::number_of_executed_units|stat::peak_rss|ERROR|SUMMARY|Done' || true
test "${PIPESTATUS[0]}" -eq 0
