#!/usr/bin/env bash
# Start to usable window with 50 installed modules, and processor time and wake-ups while idle.  BIN (default
# build-release/bin) is a Release build.  Needs Xvfb unless DISPLAY is set.  FIRST="chrt -f 5" (as root) lets the program
# and the display run before other work of the machine.
set -eu
cd "$(dirname "$(readlink -f "$0")")/.."
BIN=${BIN:-build-release/bin}
RUNS=${RUNS:-7}
FIRST=${FIRST:-}
IDLE_SECONDS=${IDLE_SECONDS:-20}
WORK=$(mktemp -d)
ROOT=$WORK/root
PIDS=()
finish() {
  for pid in "${PIDS[@]}"; do kill "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$WORK"
}
trap finish EXIT
mkdir -m 700 "$WORK/run"
export XDG_RUNTIME_DIR=$WORK/run
if [ -z "${DISPLAY:-}" ]; then
  $FIRST Xvfb -displayfd 3 -screen 0 1280x900x24 -nolisten tcp 3>"$WORK/display" >/dev/null 2>&1 &
  PIDS+=($!)
  until [ -s "$WORK/display" ]; do sleep 0.1; done
  export DISPLAY=:$(cat "$WORK/display")
fi

PROGRAM=0
launch() {
  rm -f "$WORK/out"
  TONALITH_STARTED_AT=$(date +%s%3N) $FIRST "$BIN/tonalith" --simulated --config-root "$ROOT" >"$WORK/out" 2>&1 &
  PROGRAM=$!
  PIDS+=($PROGRAM)
  until grep -q usable "$WORK/out" 2>/dev/null; do sleep 0.02; done
}
end() {
  kill -TERM "$PROGRAM"
  wait "$PROGRAM" || true
}

# The first start installs what the program ships; copies under other names make it 50.
launch
end
cd "$(find "$ROOT" -type d -name Instruments)"
count=$(ls ./*.ini | wc -l)
copy=0
while [ "$count" -lt 50 ]; do
  for file in [!C]*.ini Casio*.ini; do
    [ "$count" -lt 50 ] || break
    copy=$((copy + 1))
    sed "s/^Name=\(.*\)/Name=\1 Copy $copy/" "$file" >"Copy $copy $file"
    count=$((count + 1))
  done
done
find "$ROOT" -name Default.PV9 -delete
cd - >/dev/null
# A studio with all of them: without one the program asks first which instruments there are.
"$BIN/tonalith-cli" --config-root "$ROOT" studio set "Yamaha DX7" --channel 1 >/dev/null
launch
end

times=()
for _ in $(seq "$RUNS"); do
  launch
  times+=("$(sed -n 's/usable after \([0-9]*\) ms/\1/p' "$WORK/out")")
  sleep 0.3
  end
done
echo "modules: $count"
echo "start to usable window: $(printf '%s\n' "${times[@]}" | sort -n | sed -n "$(((RUNS + 1) / 2))p") ms (median of $RUNS)," \
  "$(printf '%s\n' "${times[@]}" | sort -n | head -1) ms (best)"

launch
sleep 3
ticks() { awk '{ print $14 + $15 }' "/proc/$PROGRAM/stat"; }
wakes() { cat "/proc/$PROGRAM/task/"*/status | awk '/^voluntary/ { sum += $2 } END { print sum }'; }
before=$(ticks)
woken=$(wakes)
sleep "$IDLE_SECONDS"
after=$(ticks)
woken=$(($(wakes) - woken))
awk -v t="$((after - before))" -v hz="$(getconf CLK_TCK)" -v s="$IDLE_SECONDS" -v w="$woken" \
  'BEGIN { printf "idle: %.2f %% of one processor, %d wake-ups over %d s\n", 100 * t / hz / s, w, s }'
end
