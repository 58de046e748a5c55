#!/bin/sh
# Clicks on numbers in real programs' text, on a private desktop with the accessibility bus:
#   bench/text-click.sh [BUILD_DIR] [ITERATIONS] [gtk-label gtk-editor qt-editor firefox ...]
set -eu
. "$(dirname "$0")/lib.sh"
build=$(bench_build_dir "${1:-}")
[ $# -gt 0 ] && shift
iterations=${1:-20}
[ $# -gt 0 ] && shift
export DIALWISE_E2E_PROGRAM="$build/dialwise"
export DIALWISE_BENCH_TEXT_FIXTURE_QT="$build/text-fixture-qt"
export DIALWISE_BENCH_TEXT_EXTENTS="$here/tests/support/text-range-extents.py"
bench_desktop --accessibility "$build/bench_text_click" "$iterations" "$@"
