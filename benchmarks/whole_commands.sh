#!/usr/bin/env bash
# Whole commands on a large file: megabytes a second of processor time (user and system, best of RUNS) and peak memory.
# The file is made of what simulated instruments send.  BIN (default build-release/bin) is a Release build.  Needs
# /usr/bin/time.
set -eu
cd "$(dirname "$(readlink -f "$0")")/.."
CLI=$(readlink -f "${BIN:-build-release/bin}")/tonalith-cli
RUNS=${RUNS:-9}
MEGABYTES=${MEGABYTES:-50}
[ -x /usr/bin/time ] || { echo "skipped: /usr/bin/time is not installed"; exit 0; }
WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT
cli() { "$CLI" --config-root "$WORK/root" "$@"; }

# repeated FILE OUT: FILE over and over until OUT has MEGABYTES
repeated() {
  local size
  cp "$1" "$2"
  while size=$(stat -c %s "$2"); [ "$size" -lt $((MEGABYTES * 1000000)) ]; do
    cat "$2" "$2" >"$2.twice"
    mv "$2.twice" "$2"
  done
  head -c $((MEGABYTES * 1000000 / $(stat -c %s "$1") * $(stat -c %s "$1"))) "$2" >"$2.cut"
  mv "$2.cut" "$2"
}

# measure WHAT FILE COMMAND...
measure() {
  local what=$1 file=$2
  shift 2
  for _ in $(seq "$RUNS"); do
    /usr/bin/time -o "$WORK/time" -a -f '%U %S %e %M' "$CLI" --config-root "$WORK/root" "$@" >"$WORK/out" 2>"$WORK/err"
  done
  awk -v what="$what" -v size="$(stat -c %s "$file")" -v lines="$(wc -l <"$WORK/out")" '
    { cpu = $1 + $2
      if (NR == 1 || cpu < best) best = cpu
      if (NR == 1 || $3 < wall) wall = $3
      if ($4 > memory) memory = $4 }
    END { printf "%-44s %5.0f MB/s of processor time, %5.2f s waited, %4.0f MB at most, %d lines\n",
                 what, size / 1e6 / best, wall, memory * 1024 / 1e6, lines }' "$WORK/time"
  rm "$WORK/time"
}

cli receive dx7 "voice bank" "$WORK/bank.syx" --virtual factory >/dev/null
cli receive k4 single "$WORK/single.syx" --virtual factory >/dev/null
cli receive matrix "patch bank 0" "$WORK/slots.syx" --virtual factory >/dev/null
for name in bank single slots; do repeated "$WORK/$name.syx" "$WORK/$name-many.syx"; done

echo "files of $MEGABYTES MB, best of $RUNS, load $(cut -d' ' -f1 /proc/loadavg)"
measure "nothing but the start" "$WORK/bank.syx" identify "$WORK/bank.syx"
measure "identify, banks in one message" "$WORK/bank-many.syx" identify "$WORK/bank-many.syx"
measure "identify, single patches" "$WORK/single-many.syx" identify "$WORK/single-many.syx"
measure "identify, banks of single messages" "$WORK/slots-many.syx" identify "$WORK/slots-many.syx"
measure "names, banks in one message" "$WORK/bank-many.syx" names "$WORK/bank-many.syx"
measure "names, single patches" "$WORK/single-many.syx" names "$WORK/single-many.syx"
measure "names, banks of single messages" "$WORK/slots-many.syx" names "$WORK/slots-many.syx"
measure "import, one of the banks" "$WORK/bank-many.syx" import "$WORK/bank-many.syx" "$WORK/one.dat" --piece 5000
