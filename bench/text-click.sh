#!/bin/sh
# Clicks on numbers in real programs' text, on a private desktop with the accessibility bus:
#   bench/text-click.sh [BUILD_DIR] [ITERATIONS] [gtk-label gtk-editor qt-editor firefox ...]
set -eu
here=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$here/build}" && pwd)
[ $# -gt 0 ] && shift
iterations=${1:-20}
[ $# -gt 0 ] && shift
export DIALWISE_E2E_PROGRAM="$build/dialwise"
export DIALWISE_BENCH_TEXT_FIXTURE_QT="$build/text-fixture-qt"
export DIALWISE_BENCH_TEXT_EXTENTS="$here/tests/support/text-range-extents.py"
"$here/tests/run-in-desktop" "$here/tests/with-accessibility-bus" \
    "$build/bench_text_click" "$iterations" "$@" 2>&1 | grep -v -e '^dbus-daemon' -e '^Dialwise: '
