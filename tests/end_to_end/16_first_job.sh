#!/usr/bin/env bash
# The first job of a new user, from a fresh profile, with the keyboard alone: say which instrument there is, let it be
# found, get its bank, rename a patch, send, save, quit, start again and open the file.  Then the same with the mouse, at
# most 15 clicks of a real pointer (test FirstJob).  A picture of every step is kept in build/artefacts.
set -u
cd "$(dirname "$(readlink -f "$0")")/../.."
BIN=${TONALITH_BIN:-build/bin}
for tool in Xvfb openbox xdotool import; do
  command -v "$tool" >/dev/null || { echo "skipped: $tool is not installed"; exit 0; }
done
WORK=$(mktemp -d)
ROOT=$WORK/root
mkdir -m 700 "$WORK/run"
mkdir -p build/artefacts
export XDG_RUNTIME_DIR=$WORK/run QT_LOGGING_RULES="*.debug=false" QT_QPA_PLATFORM=xcb
unset WAYLAND_DISPLAY TONALITH_PROMPT_SCRIPT
PIDS=()
finish() {
  for pid in "${PIDS[@]}"; do kill "$pid" 2>/dev/null; done
  wait 2>/dev/null
  rm -rf "$WORK"
}
trap finish EXIT
STEP=0
picture() {
  STEP=$((STEP + 1))
  import -window root "build/artefacts/first-job-keys-$(printf %02d $STEP)-$1.png" 2>/dev/null
}
fail() {
  picture failed
  echo "FAILED: $1"
  cat "$WORK"/out* 2>/dev/null
  exit 1
}
within() { # SECONDS COMMAND...: until the command succeeds
  local end=$((SECONDS + $1))
  shift
  until "$@" >/dev/null 2>&1; do
    [ $SECONDS -ge $end ] && return 1
    sleep 0.1
  done
}
window() { xdotool search --onlyvisible --name "$1"; }
gone() { ! window "$1"; }
focus() { xdotool windowactivate --sync "$(window "$1" | tail -1)" 2>/dev/null; sleep 0.3; }
keys() { xdotool key --delay 60 "$@"; sleep 0.3; }
words() { xdotool type --delay 40 "$1"; sleep 0.3; }
names() { "$BIN/tonalith-cli" --config-root "$ROOT" names "$1"; }
start() {
  "$BIN/tonalith" --simulated --config-root "$ROOT" "$@" >>"$WORK/out" 2>&1 &
  PROGRAM=$!
  PIDS+=($PROGRAM)
  within 60 window "Simulated instruments" || fail "the window did not appear"
}
# Asks for the file dialog until the data is free: it cannot be saved while it is being received or sent.
save_as() { # KEYS FILE
  for attempt in $(seq 40); do
    focus "Simulated instruments"
    keys "$1"
    within 2 window "Save Data As" && break
    keys Escape
  done
  window "Save Data As" >/dev/null || fail "no file dialog"
  focus "Save Data As"
  picture save
  keys ctrl+a
  words "$2"
  keys Return
  within 20 test -s "$2" || fail "nothing was saved"
  within 20 gone "Save Data As" || fail "the file dialog stayed"
}

Xvfb -displayfd 3 -screen 0 1280x900x24 -nolisten tcp 3>"$WORK/display" >/dev/null 2>&1 &
PIDS+=($!)
within 20 test -s "$WORK/display" || fail "Xvfb did not start"
export DISPLAY=:$(cat "$WORK/display")
openbox >/dev/null 2>&1 &
PIDS+=($!)
sleep 0.5

echo "a box of the start ends with SIGTERM, and the next start is a first one"
"$BIN/tonalith" --simulated --debug --config-root "$ROOT" >>"$WORK/out" 2>&1 &
PIDS+=($!)
within 60 window "^Tonalith$" || fail "no box of the start"
kill -TERM "${PIDS[-1]}"
within 60 eval '! kill -0 ${PIDS[-1]}' || fail "SIGTERM did not end the program at its start"

echo "first start, find, get"
start
within 30 window "First Steps" || fail "the first steps did not appear"
focus "First Steps"
picture first-steps
words "Yamaha DX7"
keys Return
picture chosen
keys alt+f
sleep 12
picture found
keys Return
words "Voice Bank"
picture types
keys Return
within 20 gone "First Steps" || fail "the first steps stayed"
sleep 4
picture got

echo "rename, send, save, quit"
focus "Simulated instruments"
keys Down Down F2
words "FIRSTLIGHT"
keys Return
picture renamed
keys ctrl+t
sleep 4
picture sent
save_as ctrl+s "$WORK/saved.dat"
picture saved
names "$WORK/saved.dat" | awk -F'\t' '$3 == "FIRSTLIGHT" { found = 1 } END { exit !found }' ||
  fail "the saved file does not hold the new name: $(names "$WORK/saved.dat" | head -4)"
[ "$(names "$WORK/saved.dat" | wc -l)" = 32 ] || fail "the saved file does not hold 32 patches"
focus "Simulated instruments"
keys ctrl+q
within 20 eval '! kill -0 $PROGRAM' || fail "the program did not end"

echo "start, open"
start
sleep 1
window "First Steps" >/dev/null && fail "the first steps came again"
focus "Simulated instruments"
keys ctrl+o
within 20 window "Choose File to Open" || fail "no file dialog"
focus "Choose File to Open"
words "$WORK/saved.dat"
keys Return
within 20 gone "Choose File to Open" || fail "the file dialog stayed"
sleep 1
picture opened
save_as ctrl+shift+s "$WORK/copy.dat"
names "$WORK/copy.dat" | grep -q FIRSTLIGHT || fail "the opened file had lost the name"
focus "Simulated instruments"
keys ctrl+q
within 20 eval '! kill -0 $PROGRAM' || fail "the program did not end"

echo "the same with the mouse"
"$BIN/test_windows" --gtest_filter='FirstJob.*' --gtest_brief=1 >"$WORK/out" 2>&1 || fail "the first job with the mouse"
echo "passed"
