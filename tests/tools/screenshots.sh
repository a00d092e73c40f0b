#!/bin/sh
# Makes docs/images/main-window.png (and @2x) from the real program: screenshots.sh PROGRAM [FOLDER]
# Needs Xvfb, ImageMagick's import and convert, and faketime: the picture shows a message under way.
set -eu

program=$(realpath "$1")
root=$(cd "$(dirname "$0")/../.." && pwd)
out=${2:-$root/docs/images}
mkdir -p "$out"
faketime=$(ls /usr/lib/*/faketime/libfaketimeMT.so.1 | head -n 1)

work=$(mktemp -d)
server=
cleanup() {
  [ -z "$server" ] || kill "$server" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
trap "exit 1" INT TERM

# A display of our own, on a number that is free.
Xvfb -displayfd 3 -screen 0 1600x900x24 3>"$work/display" 2>/dev/null &
server=$!
while [ ! -s "$work/display" ]; do sleep 0.1; done
DISPLAY=:$(cat "$work/display")
export DISPLAY

picture() { # picture FILE SCALE
  dir=$work/$2
  mkdir -p "$dir/runtime"
  chmod 700 "$dir/runtime"
  cp -r "$root/data/Demo" "$root/data/Habillages" "$dir"
  cp "$dir/Demo/tonara.mp3" "$dir/Promotion du jour.mp3"
  cp "$dir/Demo/tonara.mp3" "$dir/Fermeture du magasin.mp3"
  for rule in 1 2; do
    name=$([ $rule = 1 ] && echo "Promotion du jour" || echo "Fermeture du magasin")
    printf '[Rule_%d]\nPath=%s/%s.mp3\nTimeMode=1\nTimeBegin=1000\n' $rule "$dir" "$name"
  done >"$dir/Regles.ini"
  (cd "$dir" && exec env QT_SCALE_FACTOR="$2" TONARA_AUDIO=null XDG_RUNTIME_DIR="$dir/runtime" TZ=UTC0 \
    LD_PRELOAD="$faketime" FAKETIME='@2026-03-02 09:59:57' DONT_FAKE_MONOTONIC=1 FAKETIME_DONT_FAKE_MONOTONIC=1 \
    "$program") 2>/dev/null &
  running=$!
  sleep 5
  import -window root "$work/screen.png"
  # Without a window manager there is no frame: what isn't black is the window.
  convert "$work/screen.png" -bordercolor black -border 1 -trim +repage -strip "$1"
  kill "$running"
  wait "$running" || true
}

picture "$out/main-window.png" 1
picture "$out/main-window@2x.png" 2
echo "$out/main-window.png"
