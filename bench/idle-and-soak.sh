#!/bin/sh
# Idle CPU and memory beside chromium --app, then the soak, each on a private desktop
# (tests/run-in-desktop), against the stand-in web app.
#   bench/idle-and-soak.sh [BUILD_DIR] [IDLE_SECONDS] [SOAK ARGUMENTS...]
# Environment for Dialwise passes through, e.g. DIALWISE_RENDERER=hardware bench/idle-and-soak.sh
set -eu
. "$(dirname "$0")/lib.sh"
build=$(bench_build_dir "${1:-}")
seconds=${2:-60}
[ $# -ge 2 ] && shift 2 || shift $#

bench_beside_chromium "$build" dialwise dialwise-gui IdleBench SoakBench
# shellcheck disable=SC2086
bench_desktop "$build/IdleBench" "$seconds" $without_chromium
bench_desktop "$build/SoakBench" "$@"
