#!/usr/bin/env bash
# CPU time of tonara and of mpd while they play the same files, in one run.
#
# Each plays for a minute: Demo/Loop.wav in a loop, and one MP3 message. Both mix at 44100 Hz, 16 bits,
# stereo, into a null output that consumes in real time. Counted is the time of the whole process, user
# and system, from 10 s after its start, when it plays steadily; so decoding, mixing,
# timers, windows and control are all in. Medians of several runs, the two programs one after the other.
#
#   tonara  the whole program (null device, offscreen), one rule: the MP3 over the music in the middle of
#           the minute, with the music lowered
#   mpd     has one player: it can't play two files at once. The WAV is repeated by "repeat" and "single";
#           in the middle of the minute it plays the MP3 instead, and then the WAV goes on. So it decodes
#           one stream at a time and mixes nothing: less work than tonara does.
#
#   bench/compare/mpd.sh [PROGRAM] [RUNS]
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
program="${1:-$root/build/release/app/tonara}"
runs="${2:-3}"
seconds=60
settle=10

for tool in mpd mpc python3; do
  command -v "$tool" >/dev/null || { echo "mpd.sh: $tool is missing" >&2; exit 1; }
done
[[ -x "$program" ]] || { echo "mpd.sh: no program at $program; build it first" >&2; exit 1; }

tmp="$(mktemp -d)"
pids=()
cleanup() {
  ((${#pids[@]} == 0)) || kill "${pids[@]}" 2>/dev/null || true
  wait 2>/dev/null || true
  rm -rf "$tmp"
}
trap cleanup EXIT

# Nanoseconds of CPU time of a process so far, ended threads included: its CPU clock, which every
# process may read (clock_getcpuclockid). The ticks of /proc/PID/stat are too coarse here.
cpu() { python3 -c 'import sys, time; print(time.clock_gettime_ns(~int(sys.argv[1]) << 3 | 2))' "$1"; }
minute() { awk -v a="$1" -v b="$2" -v s="$seconds" 'BEGIN {printf "%.3f", (b - a) / 1e9 * 60 / s}'; }
median() { sort -n | awk '{v[NR] = $1} END {print v[int((NR + 1) / 2)]}'; }

mkdir -p "$tmp/music" "$tmp/lists" "$tmp/start" "$tmp/runtime"
chmod 700 "$tmp/runtime"
cp "$root/data/Demo/Loop.wav" "$tmp/music/loop.wav"
cp "$root/data/Demo/tonara.mp3" "$tmp/music/message.mp3"
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

mpd_run() {
  export MPD_HOST="$tmp/mpd.socket"
  mpd --no-daemon "$tmp/mpd.conf" >"$tmp/mpd.out" 2>&1 &
  local pid=$!
  pids=("$pid")
  until [[ -S "$tmp/mpd.socket" ]] && mpc -q status 2>/dev/null; do sleep 0.1; done
  mpc -q --wait update
  mpc -q clear
  mpc -q add loop.wav
  mpc -q add message.mp3
  mpc -q repeat on
  mpc -q single on
  mpc -q play 1
  sleep "$settle"
  local before
  before="$(cpu "$pid")"
  sleep $((seconds / 2))
  mpc -q single off
  mpc -q play 2
  sleep 12
  mpc -q single on
  sleep $((seconds - seconds / 2 - 12))
  minute "$before" "$(cpu "$pid")"
  [[ "$(mpc status '%state%')" == playing ]] || { echo "mpd stopped playing; see $tmp/mpd.log" >&2; exit 1; }
  kill "$pid"
  wait "$pid" 2>/dev/null || true
  pids=()
}

# One message a minute: the minute begins in the middle of the measured one.
tonara_run() {
  rm -rf "$tmp/start"
  mkdir -p "$tmp/start/Demo"
  cp "$tmp/music/loop.wav" "$tmp/start/Demo/Loop.wav"
  cp "$tmp/music/message.mp3" "$tmp/start/Demo/tonara.mp3"
  printf '[General]\nActiverHistorique=1\nActiverTraces=1\n' >"$tmp/start/tonara.ini"
  cat >"$tmp/start/Regles.ini" <<INI
[Rule_1]
Path=$tmp/start/Demo/tonara.mp3
TimeMode=0
TimeFrequency=1
TimeBegin=0
TimeEnd=2359
INI
  local second
  second="$(date +%S)"
  sleep $(((60 + 60 - seconds / 2 - settle - 10#$second) % 60))
  (cd "$tmp/start" && XDG_RUNTIME_DIR="$tmp/runtime" TONARA_AUDIO=null QT_QPA_PLATFORM=offscreen exec "$program") \
    >"$tmp/tonara.out" 2>&1 &
  local pid=$! before status=0
  pids=("$pid")
  sleep "$settle"
  before="$(cpu "$pid")"
  sleep "$seconds"
  minute "$before" "$(cpu "$pid")"
  kill -TERM "$pid"
  wait "$pid" || status=$?
  pids=()
  # The program's result of a normal run is 1.
  [[ "$status" == 1 ]] || { echo "tonara ended with $status" >&2; cat "$tmp/tonara.out" >&2; exit 1; }
  [[ "$(grep -c 'tonara.mp3' "$tmp/start/Historique.txt")" == 1 ]] ||
    { echo "tonara did not play its message once:" >&2; cat "$tmp/start/Historique.txt" >&2; exit 1; }
}

echo "CPU seconds per minute, $runs runs each ($(mpd --version | head -n 1))"
: >"$tmp/tonara.all"
: >"$tmp/mpd.all"
for ((run = 1; run <= runs; run++)); do
  ours="$(tonara_run)"
  theirs="$(mpd_run)"
  echo "$ours" >>"$tmp/tonara.all"
  echo "$theirs" >>"$tmp/mpd.all"
  echo "run $run: tonara $ours, mpd $theirs"
done
echo "median: tonara $(median <"$tmp/tonara.all"), mpd $(median <"$tmp/mpd.all")"
