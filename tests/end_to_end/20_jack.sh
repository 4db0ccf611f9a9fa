#!/usr/bin/env bash
# Long SysEx over a real jackd (dummy driver) between two processes, both directions; then the same jackd goes away.
set -u
root=$(cd "$(dirname "$(readlink -f "$0")")/../.." && pwd)
bin=${TONALITH_BIN:-$root/build/bin}
command -v jackd >/dev/null || { echo "skipped: there is no jackd"; exit 0; }
export JACK_NO_AUDIO_RESERVATION=1 JACK_DEFAULT_SERVER=tonalith-test-$$
jackd -r -S -n "$JACK_DEFAULT_SERVER" -d dummy -r 48000 -p 1024 >"$root/build/jackd.log" 2>&1 &
server=$!
trap 'kill $server 2>/dev/null; wait $server 2>/dev/null' EXIT
for _ in $(seq 100); do jack_lsp >/dev/null 2>&1 && break; sleep 0.05; done
jack_lsp >/dev/null 2>&1 || { cat "$root/build/jackd.log"; echo "jackd did not start"; exit 1; }
"$bin/midi_matrix" jack "$bin/midi_peer" "$server"
