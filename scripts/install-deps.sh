#!/usr/bin/env bash
# Installs the Debian packages that building, testing, benchmarking and packaging mivel need
# (`file` and `dpkg-dev` make the .deb: cpack reads the programs' libraries with them).
# Does nothing when every package is already present.
set -euo pipefail

packages=(
    build-essential cmake ninja-build pkg-config
    qt6-base-dev qt6-base-dev-tools qt6-serialport-dev qt6-charts-dev libqt6opengl6-dev
    libgl-dev
    libbenchmark-dev
    clang libclang-rt-14-dev clang-format
    libindi-dev indi-bin
    file dpkg-dev
)

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo_cmd=()
[ "$(id -u)" -ne 0 ] && sudo_cmd=(sudo)
"${sudo_cmd[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
