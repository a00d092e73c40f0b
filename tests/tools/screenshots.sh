#!/bin/sh
# Makes the pictures of all windows, at 100 and 200 %: screenshots.sh BUILD [FOLDER]
# BUILD is a build folder with the program and the tool "shots"; FOLDER is docs/images. The main window comes
# from the real program in several states, the dialogs from shots. Needs Xvfb, ImageMagick's import and
# convert, faketime, and a mount namespace of its own: the choosers show a folder under /srv that isn't there.
set -eu

if [ "${SHOTS_FOLDER:-}" = "" ]; then
  export SHOTS_FOLDER=/srv/magasin
  if [ "$(id -u)" = 0 ]; then exec unshare -m "$0" "$@"; fi
  exec unshare -rm "$0" "$@"
fi
mount -t tmpfs tmpfs /srv
mkdir -p "$SHOTS_FOLDER"

build=$(realpath "$1")
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

main_window() { # main_window FILE SCALE TIME [SETTINGS]: as it is five seconds after that time
  dir=$work/$(basename "$1" .png)
  mkdir -p "$dir/runtime"
  chmod 700 "$dir/runtime"
  cp -r "$root/data/Demo" "$root/data/Habillages" "$dir"
  cp "$dir/Demo/tonara.mp3" "$dir/Promotion du jour.mp3"
  cp "$dir/Demo/tonara.mp3" "$dir/Fermeture du magasin.mp3"
  for rule in 1 2; do
    name=$([ $rule = 1 ] && echo "Promotion du jour" || echo "Fermeture du magasin")
    printf '[Rule_%d]\nPath=%s/%s.mp3\nTimeMode=1\nTimeBegin=1000\n' $rule "$dir" "$name"
  done >"$dir/Regles.ini"
  printf '%b' "${4:-}" >"$dir/tonara.ini"
  (cd "$dir" && unset QT_QPA_PLATFORM && exec env QT_SCALE_FACTOR="$2" TONARA_AUDIO=null \
    XDG_RUNTIME_DIR="$dir/runtime" TZ=UTC0 \
    LD_PRELOAD="$faketime" FAKETIME="@2026-03-02 $3" DONT_FAKE_MONOTONIC=1 FAKETIME_DONT_FAKE_MONOTONIC=1 \
    "$build/app/tonara") 2>/dev/null &
  running=$!
  sleep 5
  import -window root "$work/screen.png"
  # Without a window manager there is no frame: what isn't black is the window.
  convert "$work/screen.png" -bordercolor black -border 1 -trim +repage -strip "$1"
  kill "$running"
  wait "$running" || true
}

# A screen for the dialogs that is wide enough for every box at each scale.
printf '{"screens": [{"name": "shots", "x": 0, "y": 0, "width": 3200, "height": 2400, %s}]}' \
  '"logicalDpi": 96, "logicalBaseDpi": 96, "dpr": 1' >"$work/screen.json"

for scale in 1 2; do
  suffix=$([ $scale = 1 ] || echo "@${scale}x")
  main_window "$out/main-window$suffix.png" $scale 09:59:57
  main_window "$out/main-window-waiting$suffix.png" $scale 09:47:30
  main_window "$out/main-window-off$suffix.png" $scale 09:47:30 \
    '[Messages]\nMessagesActifs=0\n[Musique]\nMusicSource=0\n[Synthe]\nEnable=0\n'
  main_window "$out/main-window-overload$suffix.png" $scale 09:47:30 '[Levels]\nMusic=12.0\n'
  HOME=$SHOTS_FOLDER QT_QPA_PLATFORM="offscreen:configfile=$work/screen.json" QT_SCALE_FACTOR=$scale \
    "$build/tests/shots" "$out" "$suffix" 2>/dev/null
done
# Few colours are enough for drawings and text, and make small files; not for a chooser of colours.
for picture in "$out"/*.png; do
  case $picture in */colour-chooser*) continue ;; esac
  convert "$picture" -strip +dither -colors 200 -define png:compression-level=9 "PNG8:$work/small.png"
  mv "$work/small.png" "$picture"
done
ls "$out"
