#!/usr/bin/env bash
# Long SysEx over a real jackd (dummy driver) between two processes, both directions; then the same jackd goes away.
# Before that the command line tool tests a loop and listens.  Then, for short and long periods, what goes wrong: closing,
# pulled cables, clients of one name, a server that freezes, dies and comes back; and the same with the first jackd.
set -u
root=$(cd "$(dirname "$(readlink -f "$0")")/../.." && pwd)
bin=${TONALITH_BIN:-$root/build/bin}
command -v jackd >/dev/null || { echo "skipped: there is no jackd"; exit 0; }
. "$root/tests/end_to_end/jack_server.bash"
mkdir -p "$root/build"
start_jack tonalith-test "$root/build/jackd.log" || exit 1
trap stop_jack EXIT
result=0

# A stranger's client that sends everything back, and the tool of the program.
home=$(mktemp -d)
mkfifo "$home/orders"
"$bin/midi_peer" jack loop <"$home/orders" >"$home/answers" &
peer=$!
exec 3>"$home/orders"
echo echo >&3
for _ in $(seq 100); do grep -q ok "$home/answers" && break; sleep 0.05; done
if "$bin/tonalith-cli" --config-root "$home" midi-test --out loop:in --in loop:out >"$home/test" 2>&1; then
  echo "ok     $(tail -1 "$home/test")"
else
  echo "FAILED the test of a loop:"
  cat "$home/test"
  result=1
fi
timeout 60 "$bin/tonalith-cli" --config-root "$home" monitor --live --in loop:out --seconds 8 >"$home/lines" 2>"$home/report" &
listener=$!
for _ in $(seq 100); do
  jack_lsp -c loop:out 2>/dev/null | grep -q "^ " && break
  sleep 0.05
done
sleep 1
echo "send 4104 1 256 0" >&3
wait $listener
if grep -q "^loop:out" "$home/lines" && grep -q "^IN	loop:out	jack	open	4,104	.* ago	0	0	" "$home/report"; then
  echo "ok     the live monitor: $(grep '^IN' "$home/report")"
else
  echo "FAILED the live monitor:"
  cat "$home/lines" "$home/report"
  result=1
fi
exec 3>&-
wait $peer
rm -rf "$home"

"$bin/midi_matrix" jack "$bin/midi_peer" "$server" || result=1
stop_jack
for period in 64 1024 4096; do
  timeout 240 "$bin/midi_faults" "$bin/midi_peer" tonalith-test "$period" 2>"$root/build/jack-faults.log" || result=1
done

# The first jackd, unpacked beside: the two cannot be installed together.
first=$root/build/first-jackd
if [ ! -x "$first/usr/bin/jackd" ]; then
  rm -rf "$first" && mkdir -p "$first"
  (cd "$first" && apt-get download -q jackd1 libjack0 && for package in ./*.deb; do dpkg-deb -x "$package" . || exit 1; done) \
    >"$root/build/first-jackd.log" 2>&1
fi
library=$(dirname "$(find "$first" -name 'libjack.so.0' 2>/dev/null | head -1)")
if [ -x "$first/usr/bin/jackd" ] && [ -e "$library/libjack.so.0" ]; then
  echo "the first jackd"
  FIRST_JACKD=1 PATH="$first/usr/bin:$PATH" LD_LIBRARY_PATH="$library" JACK_DRIVER_DIR="$library/jack" \
    timeout 240 "$bin/midi_faults" "$bin/midi_peer" tonalith-first 1024 2>"$root/build/jack-faults.log" || result=1
else
  echo "skipped: the first jackd cannot be had"
fi
exit $result
