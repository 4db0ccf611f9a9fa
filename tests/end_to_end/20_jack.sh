#!/usr/bin/env bash
# Long SysEx over a real jackd (dummy driver) between two processes, both directions; then the same jackd goes away.
# Then, for short and long periods, what goes wrong: closing, pulled cables, a server that freezes, dies and comes back.
set -u
root=$(cd "$(dirname "$(readlink -f "$0")")/../.." && pwd)
bin=${TONALITH_BIN:-$root/build/bin}
command -v jackd >/dev/null || { echo "skipped: there is no jackd"; exit 0; }
. "$root/tests/end_to_end/jack_server.bash"
mkdir -p "$root/build"
start_jack tonalith-test "$root/build/jackd.log" || exit 1
trap stop_jack EXIT
"$bin/midi_matrix" jack "$bin/midi_peer" "$server"
result=$?
stop_jack
for period in 64 1024 4096; do
  timeout 120 "$bin/midi_faults" "$bin/midi_peer" tonalith-test "$period" 2>"$root/build/jack-faults.log" || result=1
done
exit $result
