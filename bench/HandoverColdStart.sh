#!/bin/sh
# Runs the application shell's two benchmarks on a private desktop (tests/run-in-desktop) and
# prints their figures beside Debian's Chromium doing the same job:
#   hand-over   `dialwise tel:...` to a running Dialwise -> new-call request at the stand-in
#   cold start  `dialwise` with nothing running -> window mapped and /u/0/calls requested
#   bench/HandoverColdStart.sh [BUILD_DIR] [HANDOVER_RUNS] [COLDSTART_RUNS]
set -eu
here=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$here/build}" && pwd)
handover_runs=${2:-30}
coldstart_runs=${3:-15}

cmake --build "$build" --target dialwise dialwise-gui HandoverBench ColdStartBench

# The comparison needs Chromium; install it the first time.
if ! command -v chromium >/dev/null 2>&1; then
    echo "HandoverColdStart: installing chromium for the comparison"
    if [ "$(id -u)" -eq 0 ]; then sudo=""; else sudo="sudo"; fi
    export DEBIAN_FRONTEND=noninteractive
    $sudo apt-get update -qq
    $sudo apt-get install -y -qq --no-install-recommends chromium
fi

export DIALWISE_E2E_PROGRAM="$build/dialwise"
echo "# $(date -u +%Y-%m-%dT%H:%MZ), $(nproc) cores, $(chromium --version 2>/dev/null)"
"$here/tests/run-in-desktop" "$build/HandoverBench" "$handover_runs" 2>&1 | grep -v -e '^dbus-daemon' -e '^\['
"$here/tests/run-in-desktop" "$build/ColdStartBench" "$coldstart_runs" 2>&1 | grep -v -e '^dbus-daemon' -e '^\['
