#!/usr/bin/env bash
# Installs what is missing, builds, and starts mivel on the built-in simulated unit: the console
# when there is a display, the driver server alone otherwise. Extra arguments go to mivel.
set -euo pipefail
cd "$(dirname "$0")/.."
BUILD_DIR=build scripts/build.sh -DMIVEL_BUILD_TESTS=OFF -DMIVEL_BUILD_BENCH=OFF
exec build/bin/mivel --simulate "$@"
