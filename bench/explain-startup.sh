#!/usr/bin/env bash
# Start-to-exit time of `dialwise --explain "(202) 555-0123"`: the median of N runs.
#   bench/explain-startup.sh [path/to/dialwise] [runs]
# Uses hyperfine when it is installed (its median), else date +%s%N around each run.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

program=${1:-build-calling/dialwise}
runs=${2:-50}
text='(202) 555-0123'

if [[ ! -x $program ]]; then
    echo "$bench_name: $program is not an executable; build the dialwise target first" >&2
    exit 2
fi
bench_header
# The output is part of the measurement's meaning: a run that explains nothing proves nothing.
"$program" --explain "$text" | grep -qx 'normalised: 2025550123'

if command -v hyperfine >/dev/null 2>&1; then
    json=$(mktemp)
    trap 'rm -f "$json"' EXIT
    hyperfine --warmup 3 --runs "$runs" --shell=none --export-json "$json" \
        "$program --explain '$text'" >/dev/null
    python3 - "$json" <<'PY'
import json, sys
r = json.load(open(sys.argv[1]))["results"][0]
print(f"runs={len(r['times'])} median_ms={r['median']*1000:.2f} min_ms={r['min']*1000:.2f} max_ms={r['max']*1000:.2f} (hyperfine)")
PY
    exit 0
fi

for _ in 1 2 3; do "$program" --explain "$text" >/dev/null; done # warm the page cache
times=()
for ((i = 0; i < runs; i++)); do
    start=$(date +%s%N)
    "$program" --explain "$text" >/dev/null
    end=$(date +%s%N)
    times+=($(((end - start) / 1000)))
done
sorted=($(printf '%s\n' "${times[@]}" | sort -n))
n=${#sorted[@]}
if ((n % 2)); then
    median=${sorted[n / 2]}
else
    median=$(((sorted[n / 2 - 1] + sorted[n / 2]) / 2))
fi
printf 'runs=%d median_ms=%d.%03d min_ms=%d.%03d max_ms=%d.%03d (date +%%s%%N)\n' "$n" \
    $((median / 1000)) $((median % 1000)) $((sorted[0] / 1000)) $((sorted[0] % 1000)) \
    $((sorted[n - 1] / 1000)) $((sorted[n - 1] % 1000))
