#!/bin/sh
# Hand-over latency on a quiet private desktop and under each hostile load (median of RUNS):
#   bench/HostileLoad.sh [BUILD_DIR] [RUNS]
set -eu
here=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$here/build}" && pwd)
runs=${2:-20}

cmake --build "$build" --target dialwise dialwise-gui hostile-bus-client silent-selection-owner HostileLoadBench

export DIALWISE_E2E_PROGRAM="$build/dialwise"
export DIALWISE_E2E_HOSTILE_CLIENT="$build/hostile-bus-client"
export DIALWISE_E2E_SILENT_OWNER="$build/silent-selection-owner"
echo "# $(date -u +%Y-%m-%dT%H:%MZ), $(nproc) cores"
"$here/tests/run-in-desktop" "$build/HostileLoadBench" "$runs" 2>&1 | grep -v -e '^dbus-daemon' -e '^\[' -e 'dialwise.webcall.policy'
