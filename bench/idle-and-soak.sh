#!/bin/sh
# Idle CPU and memory beside chromium --app, then the soak, each on a private desktop
# (tests/run-in-desktop), against the stand-in web app.
#   bench/idle-and-soak.sh [BUILD_DIR] [IDLE_SECONDS] [SOAK ARGUMENTS...]
# Environment for Dialwise passes through, e.g. DIALWISE_RENDERER=hardware bench/idle-and-soak.sh
set -eu
here=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$here/build}" && pwd)
seconds=${2:-60}
[ $# -ge 2 ] && shift 2 || shift $#

cmake --build "$build" --target dialwise dialwise-gui IdleBench SoakBench

if ! command -v chromium >/dev/null 2>&1; then
    echo "idle-and-soak: installing chromium for the comparison"
    if [ "$(id -u)" -eq 0 ]; then sudo=""; else sudo="sudo"; fi
    export DEBIAN_FRONTEND=noninteractive
    $sudo apt-get update -qq
    $sudo apt-get install -y -qq --no-install-recommends chromium
fi

export DIALWISE_E2E_PROGRAM="$build/dialwise"
echo "# $(date -u +%Y-%m-%dT%H:%MZ), $(nproc) cores, load $(cut -d' ' -f1-3 /proc/loadavg), $(chromium --version 2>/dev/null)"
"$here/tests/run-in-desktop" "$build/IdleBench" "$seconds" 2>&1 | grep -v -e '^dbus-daemon' -e '^\['
"$here/tests/run-in-desktop" "$build/SoakBench" "$@" 2>&1 | grep -v -e '^dbus-daemon' -e '^\['
