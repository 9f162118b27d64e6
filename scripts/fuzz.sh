#!/usr/bin/env bash
# Fuzzes the reply tokeniser, the HTTP request parser and the settings file format with libFuzzer
# under AddressSanitizer and UndefinedBehaviorSanitizer, the given seconds split between them.
# Usage: scripts/fuzz.sh [SECONDS]   (default 30)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-30}
out=build-fuzz
flags=(-std=c++20 -O1 -g -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=undefined -Isrc)
read -r -a qt <<<"$(pkg-config --cflags --libs Qt6Core) -fPIC"
mkdir -p "$out"/corpus/{tokeniser,http,settings}
clang++ "${flags[@]}" fuzz/tokeniser_fuzz.cpp -o "$out/tokeniser_fuzz"
clang++ "${flags[@]}" fuzz/http_request_fuzz.cpp src/http/HttpRequest.cpp "${qt[@]}" \
    -o "$out/http_request_fuzz"
clang++ "${flags[@]}" fuzz/settings_file_fuzz.cpp src/app/SettingsFileFormat.cpp \
    src/app/SettingsTree.cpp "${qt[@]}" -o "$out/settings_file_fuzz"
# A few realistic inputs to start from.
printf '\x07:a 12500 :s 12000 :h 1 ' > "$out/corpus/tokeniser/focus"
printf '\x03:t1 -1250 :t7 9012 :fs 150 :vr 2.1a  :! x ' > "$out/corpus/tokeniser/temps"
printf '\x05PUT /api/v1/focuser/0/move HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/x-www-form-urlencoded\r\nContent-Length: 10\r\n\r\nPosition=5GET /api/v1/focuser/0/position?ClientID=1&ClientTransactionID=2 HTTP/1.0\r\n\r\n' \
    > "$out/corpus/http/put-get"
printf '\x02PUT /c HTTP/1.1\r\nTransfer-Encoding: chunked\r\nExpect: 100-continue\r\n\r\n3;x\r\nabc\r\n0\r\nT: 1\r\n\r\n' \
    > "$out/corpus/http/chunked"
printf '[HKEY_LOCAL_MACHINE\\SOFTWARE\\Mivel]\r\n@="Vark"\r\n"PORT"=dword:00000001\r\n"Say \\"hi\\""="a\\\\b\\n"\r\n"Scale"=hex(5):00,00,\\\r\n  80,3e\r\n; note\r\n[HKCR\\AppID]\r\n' \
    > "$out/corpus/settings/sample"
each=$(((seconds + 2) / 3))
status=0
for target in tokeniser:tokeniser_fuzz http:http_request_fuzz settings:settings_file_fuzz; do
    echo "== ${target#*:} (${each} s)"
    "$out/${target#*:}" -max_total_time="$each" -max_len=4096 -print_final_stats=1 \
        "$out/corpus/${target%%:*}" 2>&1 |
        grep -E 'stat::number_of_executed_units|stat::peak_rss|ERROR|SUMMARY|Done' || true
    test "${PIPESTATUS[0]}" -eq 0 || status=1
done
exit "$status"
