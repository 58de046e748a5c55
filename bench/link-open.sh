#!/bin/sh
# Link hand-over through the desktop's openers to a running Dialwise, on a private desktop
# (tests/run-in-desktop): `gio open tel:...` (D-Bus activation: no process started) against
# `xdg-open tel:...` (starts the launcher), with `dialwise tel:...` for reference.
#   bench/link-open.sh [BUILD_DIR] [RUNS]
set -eu
. "$(dirname "$0")/lib.sh"
build=$(bench_build_dir "${1:-}")
runs=${2:-30}

bench_build "$build" dialwise dialwise-gui LinkOpenBench
export DIALWISE_E2E_PROGRAM="$build/dialwise" DIALWISE_E2E_REGISTER="$here/tools/register-desktop-entry"
bench_header "GLib $(gio version 2>/dev/null), $(xdg-open --version 2>/dev/null)"
bench_desktop "$build/LinkOpenBench" "$runs"
