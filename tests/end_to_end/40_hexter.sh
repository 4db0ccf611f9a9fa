#!/usr/bin/env bash
# The DX7 bank that tonalith-cli sends over a real JACK port is taken by hexter, a DX7 soft synthesizer, with the same
# 32 names: the factory bank of the simulated instrument, and a bank of a real one where the dumps are at hand.
set -u
root=$(cd "$(dirname "$(readlink -f "$0")")/../.." && pwd)
bin=${TONALITH_BIN:-$root/build/bin}
plugin=/usr/lib/dssi/hexter.so
command -v jackd >/dev/null || { echo "skipped: there is no jackd"; exit 0; }
[ -f "$plugin" ] || { echo "skipped: hexter is not installed"; exit 0; }
[ -x "$bin/hexter_host" ] || { echo "skipped: hexter_host is not built (no DSSI headers)"; exit 0; }
work=$(mktemp -d)
. "$root/tests/end_to_end/jack_server.bash"
start_jack tonalith-hexter "$work/jackd.log" || exit 1
trap 'stop_jack; rm -rf "$work"' EXIT
fail() { echo "$1"; exit 1; }
cli() { "$bin/tonalith-cli" --config-root "$work/root" "$@"; }

# Sends one bank file; the names that hexter then has must be those that `names` prints.
take() {
  "$bin/hexter_host" "$plugin" hexterhost >"$work/hexter" 2>"$work/hexter.err" &
  local host=$!
  for _ in $(seq 100); do
    cli ports >"$work/ports" 2>&1
    grep -q $'^out\tjack\t.*hexterhost' "$work/ports" && break
    sleep 0.1
  done
  grep -q $'^out\tjack\t.*hexterhost' "$work/ports" ||
    { cat "$work/hexter" "$work/hexter.err" "$work/ports"; kill $host; fail "the port of hexter is not listed"; }
  cli send "$1" --out hexterhost >"$work/sent" 2>"$work/sent.err" || { kill $host; cat "$work/sent.err"; fail "$1 was not sent"; }
  for _ in $(seq 200); do kill -0 $host 2>/dev/null || break; sleep 0.05; done
  kill $host 2>/dev/null
  wait $host 2>/dev/null
  grep -q '^accepted' "$work/hexter" || { cat "$work/hexter" "$work/hexter.err"; fail "hexter did not take $1"; }
  grep $'\t' "$work/hexter" | sed 's/ *$//' | cut -f2 >"$work/theirs"
  # The character of code 5C is a Yen sign on the instrument, which hexter writes as Y.
  cli names "$1" | cut -f3 | tr '\\' Y >"$work/ours"
  [ "$(wc -l <"$work/ours")" = 32 ] || fail "$1: names prints $(wc -l <"$work/ours") lines"
  diff "$work/ours" "$work/theirs" || fail "$1: hexter has other names"
  echo "$(basename "$1"): 32 names are the same"
}

cli receive dx7 "voice bank" "$work/factory.dat" --virtual factory || fail "the factory bank could not be got"
take "$work/factory.dat"
real=${TONALITH_SYSEX_DIR:-$root/../shared/sysex}/yamaha-dx7
for bank in "$real"/SynprezFM_01.syx "$real"/Yamaha_TX7_rom1a.syx; do
  if [ -f "$bank" ]; then take "$bank"; fi
done
