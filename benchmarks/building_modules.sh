#!/usr/bin/env bash
# Building the packages of all shipped charts, one after the other as the build does: processor time (user and system) and
# time waited, best of RUNS, and the slowest chart.  BIN (default build-release/bin) is a Release build.  Needs
# /usr/bin/time.
set -eu
cd "$(dirname "$(readlink -f "$0")")/.."
CLI=$(readlink -f "${BIN:-build-release/bin}")/tonalith-cli
RUNS=${RUNS:-5}
[ -x /usr/bin/time ] || { echo "skipped: /usr/bin/time is not installed"; exit 0; }
WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT
for _ in $(seq "$RUNS"); do
  for chart in instruments/*.chart; do
    /usr/bin/time -o "$WORK/time" -a -f "%U %S %e $(basename "$chart")" \
      "$CLI" --config-root "$WORK/root" module build "$chart" "$WORK/out.pvz" >/dev/null
  done
  echo end >>"$WORK/time"
done
awk -v load="$(cut -d' ' -f1 /proc/loadavg)" '
  $1 == "end" {
    if (!rounds++ || cpu < bestCpu) { bestCpu = cpu; slowest = most; slowestName = name }
    if (rounds == 1 || wall < bestWall) bestWall = wall
    charts = count; cpu = wall = count = most = 0
    next
  }
  { cpu += $1 + $2; wall += $3; ++count; if ($1 + $2 > most) { most = $1 + $2; name = $4 } }
  END { printf "%d charts: %.2f s of processor time, %.2f s waited, best of %d; slowest %s with %.2f s; load %s\n",
               charts, bestCpu, bestWall, rounds, slowestName, slowest, load }' "$WORK/time"
