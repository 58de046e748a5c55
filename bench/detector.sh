#!/bin/sh
# The phone-link detector's figures on a private desktop with the accessibility bus:
#   bench/detector.sh [BUILD_DIR] [ITERATIONS] [IDLE_SECONDS] [qt|gtk] [SCALE]
# SCALE: Dialwise's QT_SCALE_FACTOR for the click-to-strip run (default 1).
set -eu
here=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$here/build}" && pwd)
export DIALWISE_E2E_PROGRAM="$build/dialwise"
"$here/tests/run-in-desktop" "$here/tests/with-accessibility-bus" \
    "$build/bench_detector_click" "${2:-20}" "${3:-60}" "${4:-qt}" "${5:-1}" 2>&1 | grep -v -e '^dbus-daemon' -e '^Dialwise: '
"$here/tests/run-in-desktop" "$here/tests/with-accessibility-bus" \
    "$build/bench_detector_scan" "${2:-20}" "${4:-qt}" 1000 2>&1 | grep -v -e '^dbus-daemon'
