#!/usr/bin/env bash
# The program as a user starts it, under a display of its own: get a bank, rename a patch in place, send, save, quit,
# start again, open the file, get again; kill it and recover.  What was saved is checked with the command line tool.
set -u
cd "$(dirname "$(readlink -f "$0")")/../.."
BIN=${TONALITH_BIN:-build/bin}
for tool in Xvfb xdotool import; do
  command -v "$tool" >/dev/null || { echo "skipped: $tool is not installed"; exit 0; }
done
WORK=$(mktemp -d)
ROOT=$WORK/root
mkdir -m 700 "$WORK/run"
export XDG_RUNTIME_DIR=$WORK/run QT_LOGGING_RULES="*.debug=false"
unset WAYLAND_DISPLAY TONALITH_PROMPT_SCRIPT
PIDS=()
finish() {
  for pid in "${PIDS[@]}"; do kill "$pid" 2>/dev/null; done
  wait 2>/dev/null
  rm -rf "$WORK"
}
trap finish EXIT
fail() {
  import -window root build/window-failed.png 2>/dev/null
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

# Xvfb picks a free display number and tells it.
mkdir -p build
Xvfb -displayfd 3 -screen 0 1280x900x24 -nolisten tcp 3>"$WORK/display" >/dev/null 2>&1 &
PIDS+=($!)
within 20 test -s "$WORK/display" || fail "Xvfb did not start"
export DISPLAY=:$(cat "$WORK/display")
if command -v openbox >/dev/null; then
  openbox >/dev/null 2>&1 &
  PIDS+=($!)
  sleep 0.5
fi

window() { xdotool search --onlyvisible --name "$1"; }
gone() { ! window "$1"; }
start() {
  "$BIN/tonalith" --simulated --config-root "$ROOT" "$@" >>"$WORK/out" 2>&1 &
  PROGRAM=$!
  PIDS+=($PROGRAM)
  within 20 window "Simulated instruments" || fail "the window did not appear"
  focus
}
focus() { xdotool windowactivate --sync "$(window "Simulated instruments" | tail -1)" 2>/dev/null; sleep 0.3; }
keys() { xdotool key --delay 40 "$@"; sleep 0.2; }
quit() {
  focus
  keys ctrl+q
  within 20 eval '! kill -0 $PROGRAM' || fail "the program did not end"
}
names() { "$BIN/tonalith-cli" --config-root "$ROOT" names "$1"; }
get_dx7_bank() {
  xdotool type --delay 30 "Yamaha DX7"
  keys Left Right Down ctrl+g
}
# Save is off until the data is there: its dialog says that a transfer is over.
save_dialog() {
  window "Save Data As" || { keys ctrl+s; sleep 0.3; window "Save Data As"; }
}
received() {
  within 20 save_dialog || fail "the receive did not end"
  keys Escape
  within 5 gone "Save Data As" || fail "the file dialog stayed"
  focus
}

# A studio with everything that is installed; without one the program asks first which instruments there are.
full_studio() {
  "$BIN/tonalith-cli" --config-root "$ROOT" studio set "Yamaha DX7" --channel 1 >>"$WORK/out" 2>&1 ||
    fail "the studio could not be made"
}
full_studio
echo "get, rename, send, save"
start
get_dx7_bank
sleep 0.6
import -window root build/window.png
received
keys Down Down F2
xdotool type --delay 30 "FIRSTLIGHT"
keys Return
keys ctrl+t
within 20 save_dialog || fail "no file dialog"
sleep 0.3
keys ctrl+a
xdotool type --delay 15 "$WORK/saved.dat"
keys Return
within 10 test -s "$WORK/saved.dat" || fail "nothing was saved"
keys ctrl+w
quit
names "$WORK/saved.dat" | awk -F'\t' '$1 == 2 && $2 == 3 && $3 == "FIRSTLIGHT" { found = 1 } END { exit !found }' ||
  fail "the saved file does not hold the new name: $(names "$WORK/saved.dat" | head -4)"
[ "$(names "$WORK/saved.dat" | wc -l)" = 32 ] || fail "the saved file does not hold 32 patches"

echo "start again, open the file"
start
keys ctrl+o
within 10 window "Choose File to Open" || fail "no file dialog"
sleep 0.3
xdotool type --delay 15 "$WORK/saved.dat"
keys Return
within 10 gone "Choose File to Open" || fail "the file dialog stayed"
focus
# The window of the file is in front: save under another name, from there.
keys ctrl+shift+s
within 10 window "Save Data As" || fail "the file was not opened"
sleep 0.3
keys ctrl+a
xdotool type --delay 15 "$WORK/copy.dat"
keys Return
within 10 test -s "$WORK/copy.dat" || fail "the copy was not saved"
names "$WORK/copy.dat" | grep -q FIRSTLIGHT || fail "the opened file had lost the name"
focus
keys ctrl+w

echo "get again from the instrument"
get_dx7_bank
within 20 save_dialog || fail "no file dialog after the second receive"
sleep 0.3
keys ctrl+a
xdotool type --delay 15 "$WORK/again.dat"
keys Return
within 10 test -s "$WORK/again.dat" || fail "nothing was saved"
names "$WORK/again.dat" | awk -F'\t' '$1 == 2 && $3 == "FIRSTLIGHT" { found = 1 } END { exit !found }' ||
  fail "the instrument does not hold the new name"

echo "a second process hands its file over, SIGTERM ends without questions"
"$BIN/tonalith" --simulated --config-root "$ROOT" "$WORK/saved.dat" || fail "the second process did not end well"
kill -TERM "$PROGRAM"
within 15 eval '! kill -0 $PROGRAM' || fail "SIGTERM did not end the program"
wait "$PROGRAM"
[ $? = 0 ] || fail "the program ended with an error"

echo "a killed program loses ten seconds at most"
ROOT=$WORK/killed
full_studio
start
get_dx7_bank
received
keys Down Down F2
xdotool type --delay 30 "SURVIVES"
keys Return
# Killed ten seconds after the edit, whatever has been kept by then.
sleep 10
kill -KILL "$PROGRAM"
wait "$PROGRAM" 2>/dev/null
start
within 10 window "Unsaved Changes" || fail "nothing was offered after the kill"
import -window root build/window-recovery.png
xdotool windowactivate --sync "$(window "Unsaved Changes" | tail -1)" 2>/dev/null
keys Return
within 10 gone "Unsaved Changes" || fail "the question stayed"
focus
keys ctrl+s
within 10 window "Save Data As" || fail "no file dialog"
sleep 0.3
keys ctrl+a
xdotool type --delay 15 "$WORK/survived.dat"
keys Return
within 10 test -s "$WORK/survived.dat" || fail "nothing was saved"
names "$WORK/survived.dat" | awk -F'\t' '$3 == "SURVIVES" { found = 1 } END { exit !found }' ||
  fail "the recovered bank does not hold the new name"
quit
[ -z "$(find "$ROOT" -name "*.autosave")" ] || fail "what is saved is still kept for recovery"

echo "a display that goes away ends it with a sentence and loses nothing"
ROOT=$WORK/unseen
full_studio
start
get_dx7_bank
received
kill -KILL "${PIDS[0]}"
within 15 eval '! kill -0 $PROGRAM' || fail "the program stayed without a display"
wait "$PROGRAM"
[ $? = 1 ] || fail "the program without a display ended with another status"
grep -q "^tonalith: The display went away. Unsaved changes are kept" "$WORK/out" || fail "nothing was said"
[ -n "$(find "$ROOT" -name "*.autosave")" ] || fail "nothing was kept for recovery"
echo "passed"
