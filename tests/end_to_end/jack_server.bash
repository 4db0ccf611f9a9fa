# start_jack NAME LOG: starts a jackd of its own with the dummy driver, sets `server` to its process and the environment
# so that clients find it; stop_jack ends it.  Names are fixed: a server that was killed leaves its name in a table of
# eight places, where the next of the same name takes it over.
start_jack() {
  export JACK_NO_AUDIO_RESERVATION=1 JACK_DEFAULT_SERVER=$1
  local try
  for try in 1 2; do
    jackd -r -S -n "$1" -d dummy -r 48000 -p 1024 >"$2" 2>&1 &
    server=$!
    for _ in $(seq 100); do
      jack_lsp >/dev/null 2>&1 && return 0
      kill -0 $server 2>/dev/null || break
      sleep 0.05
    done
    stop_jack
    # The table is full of servers that are gone; it may only be thrown away while none runs.
    grep -q "Too many servers" "$2" && ! pgrep -x jackd >/dev/null && rm -f /dev/shm/jack-shm-registry /dev/shm/jack-"$(id -u)"-*
  done
  cat "$2"
  echo "jackd did not start"
  return 1
}

stop_jack() {
  kill "$server" 2>/dev/null
  wait "$server" 2>/dev/null
}
