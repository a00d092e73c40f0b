# Shared by the comparisons, which source it: their arguments, what they need, CPU times, medians, and a folder that
# goes away with its processes.
# shellcheck shell=bash

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
program="${1:-$root/build/release/app/tonara}"
runs="${2:-3}"
seconds=60
tmp="$(mktemp -d)"
pids=()
cleanup() {
  ((${#pids[@]} == 0)) || kill "${pids[@]}" 2>/dev/null || true
  wait 2>/dev/null || true
  rm -rf "$tmp"
}
trap cleanup EXIT

needs() {
  local tool
  for tool in "$@"; do
    command -v "$tool" >/dev/null || { echo "${0##*/}: $tool is missing" >&2; exit 1; }
  done
  [[ -x "$program" ]] || { echo "${0##*/}: no program at $program; build it first" >&2; exit 1; }
}

# Nanoseconds of CPU time of a process so far, ended threads included: its CPU clock, which every
# process may read (clock_getcpuclockid). The ticks of /proc/PID/stat are too coarse here.
cpu() { python3 -c 'import sys, time; print(time.clock_gettime_ns(~int(sys.argv[1]) << 3 | 2))' "$1"; }
minute() { awk -v a="$1" -v b="$2" -v s="$seconds" 'BEGIN {printf "%.3f", (b - a) / 1e9 * 60 / s}'; }
median() { sort -n | awk '{v[NR] = $1} END {print v[int((NR + 1) / 2)]}'; }

# mpd with a null output that consumes in real time; music in $tmp/music.
mpd_conf() {
  mkdir -p "$tmp/lists"
  cat >"$tmp/mpd.conf" <<CONF
music_directory "$tmp/music"
playlist_directory "$tmp/lists"
db_file "$tmp/mpd.db"
state_file "$tmp/mpd.state"
log_file "$tmp/mpd.log"
bind_to_address "$tmp/mpd.socket"
audio_output {
  type "null"
  name "null"
  sync "yes"
  format "44100:16:2"
}
audio_output_format "44100:16:2"
CONF
}

# Starts it with an empty list; its process is then $pid.
mpd_start() {
  export MPD_HOST="$tmp/mpd.socket"
  mpd --no-daemon "$tmp/mpd.conf" >"$tmp/mpd.out" 2>&1 &
  pid=$!
  pids=("$pid")
  until [[ -S "$tmp/mpd.socket" ]] && mpc -q status 2>/dev/null; do sleep 0.1; done
  mpc -q --wait update
  mpc -q clear
}

mpd_stop() {
  [[ "$(mpc status '%state%')" == playing ]] || { echo "mpd stopped playing; see $tmp/mpd.log" >&2; exit 1; }
  kill "$pid"
  wait "$pid" 2>/dev/null || true
  pids=()
}

# The whole program on the start directory $tmp/start: null device, no display. Its process is then $pid.
tonara_start() {
  mkdir -p "$tmp/runtime"
  chmod 700 "$tmp/runtime"
  (cd "$tmp/start" && XDG_RUNTIME_DIR="$tmp/runtime" TONARA_AUDIO=null QT_QPA_PLATFORM=offscreen exec "$program") \
    >"$tmp/tonara.out" 2>&1 &
  pid=$!
  pids=("$pid")
}

tonara_stop() {
  local status=0
  kill -TERM "$pid"
  wait "$pid" || status=$?
  pids=()
  # The program's result of a normal run is 1.
  [[ "$status" == 1 ]] || { echo "tonara ended with $status" >&2; cat "$tmp/tonara.out" >&2; exit 1; }
}

# compare NAME...: calls NAME_run for each in turn, $runs times; each prints its figure.
compare() {
  local run name figure line
  for ((run = 1; run <= runs; run++)); do
    line="run $run:"
    for name in "$@"; do
      # In this shell, so that the processes it starts are known to cleanup.
      "${name}_run" >"$tmp/figure"
      figure="$(<"$tmp/figure")"
      echo "$figure" >>"$tmp/$name.all"
      line+=" $name $figure"
    done
    echo "$line"
  done
  line="median:"
  for name in "$@"; do line+=" $name $(median <"$tmp/$name.all")"; done
  echo "$line"
}
