#!/bin/sh
# Runs the application shell's two benchmarks on a private desktop (tests/run-in-desktop) and
# prints their figures beside Debian's Chromium doing the same job:
#   hand-over   `dialwise tel:...` to a running Dialwise -> new-call request at the stand-in
#   cold start  `dialwise` with nothing running -> window mapped and /u/0/calls requested
#   bench/HandoverColdStart.sh [BUILD_DIR] [HANDOVER_RUNS] [COLDSTART_RUNS]
set -eu
. "$(dirname "$0")/lib.sh"
build=$(bench_build_dir "${1:-}")
handover_runs=${2:-30}
coldstart_runs=${3:-15}

bench_beside_chromium "$build" dialwise dialwise-gui HandoverBench ColdStartBench
# shellcheck disable=SC2086
bench_desktop "$build/HandoverBench" "$handover_runs" $without_chromium
bench_desktop "$build/ColdStartBench" "$coldstart_runs" $without_chromium
