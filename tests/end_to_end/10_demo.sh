#!/usr/bin/env bash
# The whole job without a display, twice: the second run must find what the first one left in the instrument.
set -u
root=$(cd "$(dirname "$(readlink -f "$0")")/../.." && pwd)
bin=${TONALITH_BIN:-$root/build/bin}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "$1"; exit 1; }
for run in 1 2; do
  "$bin/tonalith-cli" --config-root "$work/root" demo >"$work/demo$run" 2>"$work/err$run" ||
    { cat "$work/demo$run" "$work/err$run"; fail "demo failed in run $run"; }
  grep -q "The renamed patch came back: 5 \"TONALITH $run\"\\." "$work/demo$run" || fail "run $run: the patch did not come back"
  grep -q 'Cancel in the middle of a Get: .*cancelled' "$work/demo$run" || fail "run $run: no word about the cancelled Get"
  grep -q 'The cable is pulled.*no longer available' "$work/demo$run" || fail "run $run: no word about the pulled cable"
done
grep -q 'renamed from "TONALITH 1" to "TONALITH 2"' "$work/demo2" || fail "the second run did not find the renamed patch"
file="$work/root/Documents/Corvane/Tonalith/Yamaha DX7/Demo Voice Bank.DAT"
"$bin/tonalith-cli" --config-root "$work/root" identify "$file" | grep -q $'Yamaha DX7\tVoice Bank\tok$' ||
  fail "the saved file is not recognised"
echo "the job was done twice"
