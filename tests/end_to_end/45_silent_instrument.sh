#!/usr/bin/env bash
# A Get over real JACK ports from an instrument that says nothing: it ends by itself, on an interrupt at once, and when
# the ports go away; each time with one sentence, exit status 1 and the file that was there untouched.
set -u
root=$(cd "$(dirname "$(readlink -f "$0")")/../.." && pwd)
bin=${TONALITH_BIN:-$root/build/bin}
command -v jackd >/dev/null || { echo "skipped: there is no jackd"; exit 0; }
work=$(mktemp -d)
. "$root/tests/end_to_end/jack_server.bash"
start_jack tonalith-silent "$work/jackd.log" || exit 1
trap 'stop_jack; rm -rf "$work"' EXIT
fail() { echo "$1"; exit 1; }
mkfifo "$work/orders"
"$bin/midi_peer" jack silent <"$work/orders" >"$work/answers" 2>&1 &
exec 7>"$work/orders"
for _ in $(seq 100); do [ "$(jack_lsp 2>/dev/null | grep -c silent)" -ge 2 ] && break; sleep 0.05; done
echo precious >"$work/out.dat"
mkdir "$work/root"

begin() {
  "$bin/tonalith-cli" --config-root "$work/root" receive dx7 "voice bank" "$work/out.dat" --in silent --out silent "$@" \
    2>"$work/err" 7>&- &
  command=$!
}
# The command ends within so many seconds, with exit status 1, one line on standard error and the file as it was.
ends() {
  for _ in $(seq $(($1 * 20))); do kill -0 $command 2>/dev/null || break; sleep 0.05; done
  kill -0 $command 2>/dev/null && { kill -KILL $command; fail "$2: it did not end within $1 seconds"; }
  wait $command
  [ $? = 1 ] || fail "$2: another exit status than 1: $(cat "$work/err")"
  [ "$(wc -l <"$work/err")" = 1 ] || fail "$2: $(cat "$work/err")"
  [ "$(cat "$work/out.dat")" = precious ] || fail "$2: the file was changed"
  grep -q "$3" "$work/err" || fail "$2: $(cat "$work/err")"
  echo "$2: $(cat "$work/err")"
}

begin --timeout 300
ends 10 "no answer" "respond\|receiv"
begin
sleep 0.7
kill -INT $command
ends 3 "interrupt" "cancelled"
begin --timeout 60000
sleep 0.7
echo unplug >&7
ends 5 "ports gone" "no longer available"
