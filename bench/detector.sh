#!/bin/sh
# The phone-link detector's figures on a private desktop with the accessibility bus:
#   bench/detector.sh [BUILD_DIR] [ITERATIONS] [IDLE_SECONDS] [qt|gtk] [SCALE] [HANDOVER_ITERATIONS]
# SCALE: Dialwise's QT_SCALE_FACTOR for the click-to-strip run (default 1).
set -eu
. "$(dirname "$0")/lib.sh"
build=$(bench_build_dir "${1:-}")
export DIALWISE_E2E_PROGRAM="$build/dialwise"
bench_desktop --accessibility "$build/bench_detector_click" "${2:-20}" "${3:-60}" "${4:-qt}" "${5:-1}"
bench_desktop --accessibility "$build/bench_detector_scan" "${2:-20}" "${4:-qt}" 1000
bench_desktop --accessibility "$build/bench_detector_handover" "${6:-10}" "${4:-qt}"
