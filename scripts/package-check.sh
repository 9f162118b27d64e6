#!/usr/bin/env bash
# Builds the Debian package in BUILD_DIR (default: build), installs it with apt, checks that the
# programs and their files are in place and that `mivel --help` runs, then removes the package
# and checks that nothing of it is left. Needs root (or sudo): it installs into the system. It
# refuses to run where a mivel package is already installed, so that it never removes one it did
# not install itself.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${BUILD_DIR:-build}
sudo_cmd=()
[ "$(id -u)" -ne 0 ] && sudo_cmd=(sudo)

if dpkg-query -W -f='${Status}' mivel 2>/dev/null | grep -q "install ok installed"; then
    echo "package-check: a mivel package is installed already; remove it first" >&2
    exit 2
fi

[ -f "$build/CMakeCache.txt" ] || BUILD_DIR=$build scripts/build.sh
cmake --build "$build" --target package
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
deb=$(realpath "$build/mivel_${version}_$(dpkg --print-architecture).deb")
echo "package-check: $(basename "$deb")"
dpkg-deb --field "$deb" Depends Recommends

installed=(/usr/bin/mivel /usr/bin/mivel-sim /usr/bin/indi_mivel /usr/share/indi/indi_mivel.xml
    /usr/share/applications/mivel.desktop /usr/share/icons/hicolor/scalable/apps/mivel.svg
    /usr/lib/systemd/user/mivel.service /usr/share/man/man1/mivel.1.gz
    /usr/share/man/man1/mivel-sim.1.gz)

remove() { DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get purge -y -qq mivel >/dev/null; }
trap remove EXIT
DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "$deb" >/dev/null

for file in "${installed[@]}"; do
    [ -e "$file" ] || { echo "package-check: $file is missing" >&2; exit 1; }
done
# The installed programs, not the build's: from a folder without the checkout.
(cd / && env -u QT_QPA_PLATFORM mivel --help | grep -q -- "--headless")
(cd / && mivel-sim --help | grep -q -- "--pty")
grep -q "Categories=Education;Science" /usr/share/applications/mivel.desktop
grep -q "ExecStart=/usr/bin/mivel --headless" /usr/lib/systemd/user/mivel.service

trap - EXIT
remove
for file in "${installed[@]}"; do
    [ ! -e "$file" ] || { echo "package-check: $file is left after removal" >&2; exit 1; }
done
if dpkg-query -W -f='${Status}' mivel 2>/dev/null | grep -q installed; then
    echo "package-check: the package is still listed after removal" >&2
    exit 1
fi
echo "package-check: installs, runs and removes cleanly"
