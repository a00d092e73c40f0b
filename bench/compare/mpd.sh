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
# shellcheck source=bench/compare/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
settle=10
needs mpd mpc python3

mkdir -p "$tmp/music"
cp "$root/data/Demo/Loop.wav" "$tmp/music/loop.wav"
cp "$root/data/Demo/tonara.mp3" "$tmp/music/message.mp3"
mpd_conf

mpd_run() {
  local before
  mpd_start
  mpc -q add loop.wav
  mpc -q add message.mp3
  mpc -q repeat on
  mpc -q single on
  mpc -q play 1
  sleep "$settle"
  before="$(cpu "$pid")"
  sleep $((seconds / 2))
  mpc -q single off
  mpc -q play 2
  sleep 12
  mpc -q single on
  sleep $((seconds - seconds / 2 - 12))
  minute "$before" "$(cpu "$pid")"
  mpd_stop
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
  local second before
  second="$(date +%S)"
  sleep $(((60 + 60 - seconds / 2 - settle - 10#$second) % 60))
  tonara_start
  sleep "$settle"
  before="$(cpu "$pid")"
  sleep "$seconds"
  minute "$before" "$(cpu "$pid")"
  tonara_stop
  [[ "$(grep -c 'tonara.mp3' "$tmp/start/Historique.txt")" == 1 ]] ||
    { echo "tonara did not play its message once:" >&2; cat "$tmp/start/Historique.txt" >&2; exit 1; }
}

echo "CPU seconds per minute, $runs runs each ($(mpd --version | head -n 1))"
compare tonara mpd
