#!/usr/bin/env bash
# Long SysEx over a real jackd (dummy driver) between two processes, both directions; then the same jackd goes away.
set -u
root=$(cd "$(dirname "$(readlink -f "$0")")/../.." && pwd)
bin=${TONALITH_BIN:-$root/build/bin}
command -v jackd >/dev/null || { echo "skipped: there is no jackd"; exit 0; }
. "$root/tests/end_to_end/jack_server.bash"
mkdir -p "$root/build"
start_jack tonalith-test "$root/build/jackd.log" || exit 1
trap stop_jack EXIT
"$bin/midi_matrix" jack "$bin/midi_peer" "$server"
