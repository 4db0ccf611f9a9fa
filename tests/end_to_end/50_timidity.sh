#!/usr/bin/env bash
# A Roland message with a checksum made by us, in a MIDI file written by us, is accepted by timidity; with one bit of
# the checksum changed timidity complains.
set -u
root=$(cd "$(dirname "$(readlink -f "$0")")/../.." && pwd)
bin=${TONALITH_BIN:-$root/build/bin}
command -v timidity >/dev/null || { echo "skipped: there is no timidity"; exit 0; }
fonts=$(ls /usr/share/sounds/sf2/*.sf2 2>/dev/null | head -1)
[ -n "$fonts" ] || { echo "skipped: there is no sound font for timidity"; exit 0; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "$1"; exit 1; }
echo "soundfont $fonts" >"$work/cfg"
cli() { "$bin/tonalith-cli" --config-root "$work/root" "$@"; }

# HEX to a MIDI file, as raw SysEx first; prints what timidity says of it.
play() {
  printf '%b' "$(printf '%s' "$1" | sed 's/ //g; s/../\\x&/g')" >"$work/$2.syx"
  cli export "$work/$2.syx" "$work/$2.mid" >/dev/null || fail "$2.mid was not written"
  timidity -c "$work/cfg" -idvvv -Ow -o /dev/null "$work/$2.mid" 2>&1
}

count=0
# GS reset, master volume, reverb macro, a drum part setting: address, data, and room for the sum.
for body in '40 00 7F 00' '40 00 04 64' '40 01 30 04' '40 1A 15 02' '40 01 3A 7F'; do
  image="F0 41 10 42 12 $body 00 F7"
  summed=$(cli csum 0 5 4 9 "$image") || fail "csum failed for $image"
  count=$((count + 1))
  said=$(play "$summed" "good$count")
  if printf '%s' "$said" | grep -qi 'checksum error'; then fail "timidity does not accept $summed"; fi
  sum=$((16#$(echo "$summed" | cut -d' ' -f10)))
  wrong=$(echo "$summed" | awk -v s="$(printf '%02X' $((sum ^ 1)))" '{$10 = s; print}')
  said=$(play "$wrong" "wrong$count")
  printf '%s' "$said" | grep -qi 'checksum error' || { printf '%s\n' "$said" | tail -5; fail "timidity accepts the wrong $wrong"; }
  # The same message from a script.
  ran=$(echo "S 11 { ${image} } K 00 00 5 4 9 T 11 ]" | cli run - | head -1)
  [ "$ran" = "OUT $summed" ] || fail "the script sent \"$ran\" instead of $summed"
done
echo "$count messages: right sums accepted, wrong ones refused"
