#!/bin/sh
# Hand-over latency on a quiet private desktop and under each hostile load (median of RUNS):
#   bench/HostileLoad.sh [BUILD_DIR] [RUNS]
set -eu
. "$(dirname "$0")/lib.sh"
build=$(bench_build_dir "${1:-}")
runs=${2:-20}

bench_build "$build" dialwise dialwise-gui hostile-bus-client silent-selection-owner HostileLoadBench

export DIALWISE_E2E_PROGRAM="$build/dialwise"
export DIALWISE_E2E_HOSTILE_CLIENT="$build/hostile-bus-client"
export DIALWISE_E2E_SILENT_OWNER="$build/silent-selection-owner"
bench_header
bench_desktop "$build/HostileLoadBench" "$runs"
