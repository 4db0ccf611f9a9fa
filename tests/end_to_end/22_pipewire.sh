#!/usr/bin/env bash
# The JACK of PipeWire, without sound hardware: a cable test through a stranger's loop loses nothing, and when PipeWire is
# killed and started again the ports come back in the running program.
set -u
root=$(cd "$(dirname "$(readlink -f "$0")")/../.." && pwd)
bin=${TONALITH_BIN:-$root/build/bin}
library=$(find /usr/lib -path '*pipewire-0.3/jack/libjack.so.0' 2>/dev/null | head -1)
[ -n "$library" ] && command -v pipewire wireplumber dbus-run-session >/dev/null ||
  { echo "skipped: there is no PipeWire with JACK"; exit 0; }
if [ "${1:-}" != inside ]; then exec dbus-run-session bash "$0" inside; fi

work=$(mktemp -d)
mkdir -m 0700 "$work/run" "$work/home"
export XDG_RUNTIME_DIR=$work/run PIPEWIRE_RUNTIME_DIR=$work/run HOME=$work/home
own=()
end() { kill "${own[@]}" 2>/dev/null; wait 2>/dev/null; rm -rf "$work"; }
trap end EXIT
fail() { echo "$1"; cat "$work"/*.err 2>/dev/null; exit 1; }
system() {  # starts PipeWire and the one who connects
  pipewire >>"$work/pipewire.log" 2>&1 & server=$!; own+=("$server")
  sleep 1
  wireplumber >>"$work/wireplumber.log" 2>&1 & policy=$!; own+=("$policy")
  sleep 1
}
loop() {  # a stranger's client that sends back what it gets, and the sysex that is said to it
  mkfifo "$work/orders$1"
  LD_LIBRARY_PATH=${library%/*} "$bin/midi_peer" jack loop <"$work/orders$1" >"$work/answers$1" 2>"$work/peer$1.err" & peer=$!
  own+=("$peer")
  exec 7>"$work/orders$1"
  for _ in $(seq 100); do grep -q ready "$work/answers$1" && break; sleep 0.1; done
  grep -q ready "$work/answers$1" || { echo "skipped: PipeWire gives no JACK here"; exit 0; }
  echo echo >&7
  sleep 1
}
tool() { LD_LIBRARY_PATH=${library%/*} "$bin/tonalith-cli" --config-root "$work/root" "$@"; }

system
loop 1
tool midi-test --out loop:in --in loop:out >"$work/test" 2>"$work/test.err" || fail "the cable test: $(cat "$work/test")"
grep -q ' 0 lost, 0 changed' "$work/test" || fail "$(cat "$work/test")"

tool monitor --live --in loop:out --seconds 20 >"$work/lines" 2>"$work/report" & monitor=$!
sleep 2
kill -9 "$server"
sleep 1
kill "$policy" "$peer" 2>/dev/null
system
loop 2
for _ in $(seq 4); do sleep 2; echo "send 4104 1 256 0" >&7; done
wait $monitor
grep -q '>> 4104' "$work/lines" || fail "nothing came after PipeWire was started again: $(cat "$work/report")"
echo "the cable test and the return of PipeWire hold"
