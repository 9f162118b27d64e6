#!/usr/bin/env bash
# mivel side by side with its anchors on this machine, in the same runs, and the ratios:
#
#   1. reply tokeniser, 16-byte pieces, against a memchr scan of the same bytes (goal >= 200 MB/s);
#   2. HTTP: cached Alpaca reads of `mivel --headless --simulate` against nginx (one worker)
#      serving the same reply body as a static file, both driven by wrk at 32 and 256 keep-alive
#      connections (goals: >= 0.9 x nginx at 32, >= 0.85 x at 256);
#   3. idle: `mivel --headless` with its three devices linked to the simulated unit (mivel-sim,
#      a process of its own, standing in for the hardware) against indiserver with the focuser
#      and rotator simulators connected: CPU over the same window and resident memory at its
#      end (goal: mivel <= INDI on both).
#
# Installs the anchors (wrk, nginx-light, indi-bin) when missing. Not part of the test suite.
# Usage: bench/compare.sh [BUILD_DIR] [HTTP_SECONDS] [IDLE_SECONDS]   (build, 10, 60)
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(realpath "${1:-build}")
http_seconds=${2:-10}
idle_seconds=${3:-60}
mivel="$build/bin/mivel"
mivel_sim="$build/bin/mivel-sim"
tokeniser_bench="$build/bench/tokeniser_bench"
for program in "$mivel" "$mivel_sim" "$tokeniser_bench"; do
    test -x "$program" || { echo "missing $program: build all targets first" >&2; exit 1; }
done

# --- anchors
missing=()
command -v wrk >/dev/null || missing+=(wrk)
command -v nginx >/dev/null || test -x /usr/sbin/nginx || missing+=(nginx-light)
command -v indiserver >/dev/null || missing+=(indi-bin)
if ((${#missing[@]})); then
    sudo=$([ "$(id -u)" = 0 ] || echo sudo)
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
nginx=$(command -v nginx || echo /usr/sbin/nginx)

work=$(mktemp -d)
pids=()
cleanup() {
    for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
    wait 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT
trap "exit 1" INT TERM HUP PIPE

ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", (b > 0 ? a / b : 0) }'; }
# A free port below the ephemeral range, where no client connection of the runs before (in
# TIME_WAIT) can be holding it.
free_port() {
    python3 -c '
import random, socket
while True:
    port = random.randint(20000, 30000)
    try:
        socket.socket().bind(("127.0.0.1", port))
        print(port)
        break
    except OSError:
        pass'
}
wait_port() { # port, the log of the program that should listen there
    for _ in $(seq 300); do
        (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null && return 0
        sleep 0.1
    done
    echo "nothing listens on port $1:" >&2
    cat "$2" >&2
    return 1
}
connect_all() { # Alpaca port: links the three devices
    for device in focuser rotator switch; do
        curl -sf -X PUT -d Connected=true "http://127.0.0.1:$1/api/v1/$device/0/connected" >/dev/null
    done
}
cpu_ns() { # CPU time of the processes given, every thread, in nanoseconds
    local total=0 task
    for pid in "$@"; do
        for task in /proc/"$pid"/task/*/schedstat; do
            total=$((total + $(cut -d' ' -f1 "$task")))
        done
    done
    echo "$total"
}
rss_kb() {
    local total=0
    for pid in "$@"; do total=$((total + $(awk '/^VmRSS/ { print $2 }' "/proc/$pid/status"))); done
    echo "$total"
}

# --- 1. tokeniser
echo "1. Reply tokeniser, pieces of up to 16 bytes"
"$tokeniser_bench" --benchmark_filter='BM_(Tokenise|MemchrScan)/16$' --benchmark_format=csv \
    2>/dev/null >"$work/tokeniser.csv"
tok=$(awk -F, '/^"BM_Tokenise\/16"/ { printf "%.0f", $6 / 1e6 }' "$work/tokeniser.csv")
scan=$(awk -F, '/^"BM_MemchrScan\/16"/ { printf "%.0f", $6 / 1e6 }' "$work/tokeniser.csv")
echo "   tokeniser $tok MB/s, memchr scan $scan MB/s: $(ratio "$tok" "$scan") x the scan (goal: >= 200 MB/s)"

# --- 2. HTTP against nginx
echo "2. Cached Alpaca reads against nginx (one worker, the same body as a static file), wrk ${http_seconds} s"
alpaca=$(free_port)
QT_QPA_PLATFORM=offscreen "$mivel" --headless --simulate --config "$work/http-config" \
    --alpaca-port "$alpaca" >"$work/mivel-http.log" 2>&1 &
mivel_http=$!
pids+=("$mivel_http")
wait_port "$alpaca" "$work/mivel-http.log"
connect_all "$alpaca"
target=/api/v1/focuser/0/position
mkdir -p "$work/www$(dirname "$target")"
curl -sf "http://127.0.0.1:$alpaca$target" >"$work/www$target"
chmod -R a+rX "$work"
web=$(free_port)
cat >"$work/nginx.conf" <<EOF
worker_processes 1;
daemon off;
pid $work/nginx.pid;
error_log $work/nginx-error.log;
events { worker_connections 1024; }
http {
    access_log off;
    keepalive_requests 100000000;
    keepalive_timeout 60;
    server {
        listen 127.0.0.1:$web;
        root $work/www;
        default_type application/json;
    }
}
EOF
"$nginx" -c "$work/nginx.conf" -p "$work" &
pids+=($!)
wait_port "$web" "$work/nginx-error.log"
nginx_worker=$(pgrep -f "nginx: worker" -P "${pids[-1]}")
# Requests a second, and the server's CPU time a request in microseconds, as "rps us".
load() {
    local before after report
    before=$(cpu_ns "$3")
    report=$(wrk -t1 -c"$1" -d"${http_seconds}s" "$2")
    after=$(cpu_ns "$3")
    awk -v ns=$((after - before)) '/requests in/ { n = $1 } /^Requests\/sec:/ { r = $2 }
        END { printf "%.0f %.2f\n", r, ns / 1000 / n }' <<<"$report"
}
for connections in 32 256; do
    wrk -t1 -c"$connections" -d1s "http://127.0.0.1:$alpaca$target" >/dev/null # warm up
    read -r ours ours_us < <(load "$connections" "http://127.0.0.1:$alpaca$target" "$mivel_http")
    read -r theirs theirs_us < <(load "$connections" "http://127.0.0.1:$web$target" "$nginx_worker")
    goal=$([ "$connections" = 32 ] && echo 0.9 || echo 0.85)
    echo "   $connections connections: mivel $ours requests/s, nginx $theirs: $(ratio "$ours" "$theirs") x nginx (goal: >= $goal);" \
        "CPU a request: mivel $ours_us us, nginx $theirs_us us: $(ratio "$ours_us" "$theirs_us") x nginx"
done
kill "$mivel_http"

# --- 3. idle against INDI
echo "3. Idle with the devices linked, against INDI's focuser and rotator simulators, ${idle_seconds} s"
"$mivel_sim" --pty "$work/unit" >"$work/sim.log" 2>&1 &
pids+=($!)
for _ in $(seq 50); do test -e "$work/unit" && break; sleep 0.1; done
alpaca=$(free_port)
QT_QPA_PLATFORM=offscreen "$mivel" --headless --port "$work/unit" --config "$work/idle-config" \
    --alpaca-port "$alpaca" >"$work/mivel-idle.log" 2>&1 &
mivel_idle=$!
pids+=("$mivel_idle")
wait_port "$alpaca" "$work/mivel-idle.log"
connect_all "$alpaca"
indi=$(free_port)
indiserver -p "$indi" -u "$work/indiserver" indi_simulator_focus indi_simulator_rotator >"$work/indi.log" 2>&1 &
indiserver=$!
pids+=("$indiserver")
wait_port "$indi" "$work/indi.log"
sleep 1
indi_setprop -p "$indi" "Focuser Simulator.CONNECTION.CONNECT=On" \
    "Rotator Simulator.CONNECTION.CONNECT=On"
sleep 2 # both settle after linking
indi_pids=("$indiserver" $(pgrep -P "$indiserver"))
ours0=$(cpu_ns "$mivel_idle")
theirs0=$(cpu_ns "${indi_pids[@]}")
sleep "$idle_seconds"
ours1=$(cpu_ns "$mivel_idle")
theirs1=$(cpu_ns "${indi_pids[@]}")
percent() { awk -v ns="$1" -v s="$idle_seconds" 'BEGIN { printf "%.4f", 100 * ns / 1e9 / s }'; }
ours_cpu=$(percent $((ours1 - ours0)))
theirs_cpu=$(percent $((theirs1 - theirs0)))
ours_rss=$(rss_kb "$mivel_idle")
theirs_rss=$(rss_kb "${indi_pids[@]}")
echo "   CPU: mivel $ours_cpu % of a core, INDI $theirs_cpu % (${#indi_pids[@]} processes): $(ratio "$ours_cpu" "$theirs_cpu") x INDI (goal: <= 1)"
echo "   memory: mivel $ours_rss kB resident, INDI $theirs_rss kB: $(ratio "$ours_rss" "$theirs_rss") x INDI (goal: <= 1)"
