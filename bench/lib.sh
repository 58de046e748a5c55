# shellcheck shell=sh
# Shared by the bench scripts, which source it first:  . "$(dirname "$0")/lib.sh"
# Sets `here` (the top of the tree) and `bench_name` (the script's name, for its messages).
here=$(cd "$(dirname "$0")/.." && pwd)
bench_name=$(basename "$0" .sh)

# bench_build_dir [DIR]: the build folder as an absolute path; build/ at the top by default.
bench_build_dir() {
    (cd "${1:-$here/build}" && pwd)
}

# bench_build BUILD_DIR TARGET...: brings the programs a script runs up to date first.
bench_build() {
    build_dir=$1
    shift
    cmake --build "$build_dir" --target "$@"
}

# bench_have TOOL FIGURE: true when TOOL is on PATH. Otherwise says so in one line and is false,
# and the caller leaves that figure out: a benchmark installs nothing itself (`make bench`
# installs tools/bench-packages.txt).
bench_have() {
    command -v "$1" >/dev/null 2>&1 && return 0
    echo "$bench_name: $1 is not installed (tools/bench-packages.txt); skipping $2"
    return 1
}

# bench_header [WHAT...]: the line above a run's figures: when, on how many cores, under what load,
# and with which versions of the programs it compares against.
bench_header() {
    echo "# $(date -u +%Y-%m-%dT%H:%MZ), $(nproc) cores, load $(cut -d' ' -f1-3 /proc/loadavg)${1:+, $*}"
}

# bench_beside_chromium BUILD_DIR TARGET...: for the benchmarks that compare Dialwise with
# Chromium doing the same job: builds the targets, points the rig at this build's dialwise, prints
# the header with Chromium's version, and sets $without_chromium to the switch that leaves the
# comparison out ("--no-chromium") when Chromium is not installed, or to nothing.
bench_beside_chromium() {
    bench_build "$@"
    export DIALWISE_E2E_PROGRAM="$1/dialwise"
    without_chromium=""
    bench_have chromium "the Chromium comparison" || without_chromium=--no-chromium
    bench_header "$(chromium --version 2>/dev/null)"
}

# bench_desktop [--accessibility] PROGRAM [ARGUMENT...]: runs the program on a private desktop
# (tests/run-in-desktop; with the accessibility bus when asked) and prints what it says without
# the desktop's own chatter: the session bus's lines, Chromium's "[...]" log lines, the
# detector's "Dialwise: " log and the web window's policy log.
bench_desktop() {
    if [ "$1" = --accessibility ]; then
        shift
        set -- "$here/tests/with-accessibility-bus" "$@"
    fi
    "$here/tests/run-in-desktop" "$@" 2>&1 |
        grep -v -e '^dbus-daemon' -e '^\[' -e '^Dialwise: ' -e 'dialwise\.webcall\.policy'
}
