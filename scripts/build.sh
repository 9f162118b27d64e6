#!/usr/bin/env bash
# Configures and builds mivel in BUILD_DIR (default: build), installing missing packages first.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
build=${BUILD_DIR:-build}
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE="${BUILD_TYPE:-RelWithDebInfo}" "$@" >/dev/null
cmake --build "$build" -j "$(nproc)"
