#!/usr/bin/env bash
# CPU time of tonara, mpd and liquidsoap while they play the same MP3 files with cross-fades, in one run.
#
# Six files of 40 s at 192 kbit/s, made here, in order, with cross-fades of 13 s: a new file every 27 s, and two of
# them are decoded and mixed for half of the time. All play at 44100 Hz, 16 bits, stereo, into a null output that
# consumes in real time. Counted is the time of the whole process, user and system, for a minute from 10 s after the
# first file's beginning. Medians of several runs, the programs one after the other.
#
#   tonara      the whole program (null device, offscreen), the programme "Playlist", no rules
#   mpd         "crossfade 13"; its null output with sync
#   liquidsoap  "crossfade" of 13 s, its fade-out a straight line and no fade-in, as tonara does; output.dummy
#
#   bench/compare/playlist.sh [PROGRAM] [RUNS]
set -euo pipefail
# shellcheck source=bench/compare/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
settle=10
fade=13
needs mpd mpc liquidsoap sox lame python3

# A chord under a little hiss, another one in each file.
mkdir -p "$tmp/music"
for n in 1 2 3 4 5 6; do
  sox -q -n -r 44100 -c 2 "$tmp/$n.wav" synth 40 pluck $((110 * n)) pluck $((138 * n)) synth 40 sine mix $((55 * n)) \
    sine mix $((82 * n)) synth 40 pinknoise mix gain -n -6
  lame --quiet -b 192 "$tmp/$n.wav" "$tmp/music/$n.mp3"
  rm "$tmp/$n.wav"
done
mpd_conf
cat >"$tmp/list.liq" <<LIQ
settings.init.allow_root.set(true)
settings.log.stdout.set(true)
settings.log.file.set(false)
settings.frame.audio.samplerate.set(44100)
settings.frame.audio.channels.set(2)
s = playlist(mode="normal", reload_mode="never", "$tmp/music")
s = crossfade(duration=$fade., fade_out=$fade., fade_in=0., s)
output.dummy(fallible=true, s)
LIQ

tonara_run() {
  rm -rf "$tmp/start"
  mkdir -p "$tmp/start"
  printf '[General]\nActiverHistorique=1\n[Musique]\nMusicSource=4\n[AudioPlaylist]\nPath=%s\n' "$tmp/music" \
    >"$tmp/start/tonara.ini"
  local before
  tonara_start
  sleep "$settle"
  before="$(cpu "$pid")"
  sleep "$seconds"
  minute "$before" "$(cpu "$pid")"
  tonara_stop
  (($(grep -c '(Playlist)' "$tmp/start/Historique.txt") >= 3)) ||
    { echo "tonara did not play its list:" >&2; cat "$tmp/start/Historique.txt" >&2; exit 1; }
}

mpd_run() {
  local before first
  mpd_start
  mpc -q add /
  mpc -q repeat on
  mpc -q crossfade "$fade"
  mpc -q play 1
  sleep "$settle"
  before="$(cpu "$pid")"
  first="$(mpc current -f '%position%')"
  sleep "$seconds"
  minute "$before" "$(cpu "$pid")"
  (($(mpc current -f '%position%') >= first + 2)) || { echo "mpd did not play its list" >&2; exit 1; }
  mpd_stop
}

liquidsoap_run() {
  local before
  liquidsoap "$tmp/list.liq" >"$tmp/liquidsoap.out" 2>&1 &
  pid=$!
  pids=("$pid")
  # It reads its own library for some seconds before it plays.
  until grep -q 'Prepared ' "$tmp/liquidsoap.out"; do
    kill -0 "$pid" 2>/dev/null || { echo "liquidsoap did not start:" >&2; cat "$tmp/liquidsoap.out" >&2; exit 1; }
    sleep 0.2
  done
  sleep "$settle"
  before="$(cpu "$pid")"
  sleep "$seconds"
  minute "$before" "$(cpu "$pid")"
  (($(grep -c 'Prepared ' "$tmp/liquidsoap.out") >= 3)) ||
    { echo "liquidsoap did not play its list:" >&2; tail -n 20 "$tmp/liquidsoap.out" >&2; exit 1; }
  kill "$pid"
  wait "$pid" 2>/dev/null || true
  pids=()
}

echo "CPU seconds per minute, $runs runs each ($(mpd --version | head -n 1); $(liquidsoap --version | head -n 1))"
compare tonara mpd liquidsoap
