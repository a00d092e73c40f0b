#!/usr/bin/env bash
# Makes the demo media from the sources beside it: music and pictures by our own small programs, the
# spoken message by espeak-ng. Needs g++, espeak-ng, sox, lame, ffmpeg and ImageMagick.
# The results are kept in the repository; run this only to change them.
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
src="$here/sources"
tmp="$(mktemp -d)"
trap 'rm -rf "$tmp"' EXIT

for tool in g++ espeak-ng sox lame ffmpeg convert; do
  command -v "$tool" >/dev/null || { echo "make-media.sh: $tool is missing" >&2; exit 1; }
done
mkdir -p "$here/Demo" "$here/Habillages" "$here/Musiques"
ff() { ffmpeg -hide_banner -loglevel error -nostdin -y "$@"; }
mp3() { lame --quiet -t -b 128 --cbr -q 2 -m j --resample 44.1 "$1" "$2"; }

echo "music ..."
g++ -std=c++20 -O2 -o "$tmp/music" "$src/music.cpp" "$src/synth.cpp"
"$tmp/music" "$tmp"
cp "$tmp/Loop.wav" "$here/Demo/Loop.wav"
for piece in "Matin clair" "Promenade" "Soir au port"; do
  mp3 "$tmp/$piece.wav" "$here/Musiques/$piece.mp3"
done
mp3 "$tmp/3 tons.wav" "$here/Habillages/3 tons.mp3"

echo "message ..."
# Rumble and the voice's hard upper mids are taken down, the dynamics evened out, and a small room put
# round it; a moment of silence before and the room's own end behind.
espeak-ng -v fr-fr -s 148 -p 42 -g 2 -w "$tmp/voice.wav" \
  "Bonjour, et bienvenue. Toute notre équipe est à votre disposition pour vous conseiller. Nous vous souhaitons une agréable visite."
sox -R "$tmp/voice.wav" -b 24 "$tmp/words.wav" silence 1 0.01 0.5% pad 0.25 0.5
sox -R -G "$tmp/words.wav" -r 44100 -c 2 -b 24 "$tmp/room.wav" \
  highpass 95 equalizer 210 1.0q +2.5 equalizer 3300 1.2q -3.5 equalizer 5200 1.5q -2.5 lowpass 8500 \
  compand 0.02,0.25 6:-60,-60,-30,-20,-12,-12,-0,-8 0 -30 0.02 \
  reverb 22 60 35 100 8 -3
# A voice with pauses stands well beside the music at -20 dBFS RMS; its peaks are held under -1.5.
rms="$(sox "$tmp/room.wav" -n stats 2>&1 | awk '/^RMS lev dB/ {print $4}')"
sox -R -G "$tmp/room.wav" -b 16 "$tmp/message.wav" \
  gain "$(awk -v r="$rms" 'BEGIN {print -21 - r}')" \
  compand 0.001,0.06 4:-90,-90,-8,-8,-4,-5.5,0,-4 1.5 -90 0.002 fade t 0.02 -0 0.6
mp3 "$tmp/message.wav" "$here/Demo/tonara.mp3"

echo "logo ..."
ff -i "$src/logo.svg" -frames:v 1 -pix_fmt rgba "$tmp/logo.png"
convert "$tmp/logo.png" -strip -define png:exclude-chunks=date,time "PNG32:$here/Demo/tonara.png"

echo "picture (a minute) ..."
g++ -std=c++20 -O2 -pthread -o "$tmp/scene" "$src/scene.cpp"
"$tmp/scene" 1920 1080 4 0 1 25 >"$tmp/picture.rgb"
convert -size 1920x1080 -depth 8 "rgb:$tmp/picture.rgb" -strip -sampling-factor 4:2:0 -quality 88 "$here/Demo/varne.jpg"

echo "film (two minutes) ..."
"$tmp/scene" 640 360 2 0 150 25 |
  ff -f rawvideo -pixel_format rgb24 -video_size 640x360 -framerate 25 -i - \
    -loop 1 -framerate 25 -i "$tmp/logo.png" -i "$tmp/film.wav" \
    -filter_complex "[1]scale=300:-1,fade=in:st=0.8:d=1:alpha=1[logo];
                     [0][logo]overlay=x=(W-w)/2:y=40:shortest=1,fade=in:d=0.6,fade=out:st=5.3:d=0.7[v]" \
    -map "[v]" -map 2:a -c:v wmv2 -b:v 900k -g 50 -c:a wmav2 -b:a 128k -ar 44100 -ac 2 \
    -fflags +bitexact -flags:v +bitexact -flags:a +bitexact -t 6 "$here/Demo/tonara.wmv"

du -cb "$here"/Demo/* "$here"/Habillages/* "$here"/Musiques/* | awk -F'\t' '{printf "%9d  %s\n", $1, $2}'
