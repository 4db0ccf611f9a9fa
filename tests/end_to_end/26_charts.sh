#!/usr/bin/env bash
# Every chart that is shipped holds together: `module check` plays it against its own messages without an error, and the
# package gives the chart back as it was written.
set -u
root=$(cd "$(dirname "$(readlink -f "$0")")/../.." && pwd)
bin=${TONALITH_BIN:-$root/build/bin}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "$1"; exit 1; }
count=0
for chart in "$root"/instruments/*.chart; do
  name=$(basename "$chart" .chart)
  "$bin/tonalith-cli" --config-root "$work/root" module check "$chart" >"$work/said" 2>&1 || fail "$name: $(cat "$work/said")"
  grep -q "(FAILED)" "$work/said" && fail "$name: $(cat "$work/said")"
  grep "not played" "$work/said" && fail "$name: not played"
  "$bin/tonalith-cli" module build "$chart" "$work/$name.pvz" >/dev/null || fail "$name: not built"
  "$bin/tonalith-cli" module text "$work/$name.pvz" >"$work/text" || fail "$name: no text"
  cmp -s "$work/text" "$chart" || fail "$name: module text gives something else"
  count=$((count + 1))
done
[ $count -ge 22 ] || fail "only $count charts"
echo "$count charts hold"
