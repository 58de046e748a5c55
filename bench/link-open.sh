#!/bin/sh
# Link hand-over through the desktop's openers to a running Dialwise, on a private desktop
# (tests/run-in-desktop): `gio open tel:...` (D-Bus activation: no process started) against
# `xdg-open tel:...` (starts the launcher), with `dialwise tel:...` for reference.
#   bench/link-open.sh [BUILD_DIR] [RUNS]
set -eu
here=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$here/build}" && pwd)
runs=${2:-30}

cmake --build "$build" --target dialwise dialwise-gui LinkOpenBench
export DIALWISE_E2E_PROGRAM="$build/dialwise" DIALWISE_E2E_REGISTER="$here/tools/register-desktop-entry"
echo "# $(date -u +%Y-%m-%dT%H:%MZ), $(nproc) cores, GLib $(gio version 2>/dev/null), $(xdg-open --version 2>/dev/null)"
"$here/tests/run-in-desktop" "$build/LinkOpenBench" "$runs" 2>&1 | grep -v -e '^dbus-daemon' -e '^\['
