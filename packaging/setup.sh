# shellcheck shell=bash disable=SC2034
# Shared by ./run and ./test, which source it: packages, environment, build. Sets ROOT.
# Needs nothing but bash and Debian's base system; asks nothing; works as root or with sudo.

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"

BUILD_PACKAGES=(g++ cmake ninja-build pkg-config ccache libpulse-dev libasound2-dev libmpg123-dev
  qt6-base-dev qt6-svg-dev libgl-dev fonts-dejavu-core)
# For tests: a sound server of each kind, tools that make and read media, clang for lint, fuzzing and
# the thread-safety analysis.
TEST_PACKAGES=(git python3 libgtest-dev libgmock-dev libbenchmark-dev clang clang-format clang-tidy
  libclang-rt-14-dev shellcheck sox libsox-fmt-mp3 lame ffmpeg faketime pulseaudio pulseaudio-utils pipewire pipewire-pulse
  wireplumber dbus alsa-utils procps util-linux strace tzdata locales xvfb xdotool openbox)

say() { printf '%s\n' "$*"; }
die() {
  printf '%s\n' "$*" >&2
  exit 1
}

# A bare environment (a container, a job runner) may lack what compilers, Qt and sound libraries expect.
prepare_environment() {
  if [[ -z "${HOME:-}" || ! -d "${HOME:-}" ]]; then
    HOME="$(getent passwd "$(id -u)" | cut -d: -f6 || true)"
    [[ -d "$HOME" ]] || HOME=/tmp
    export HOME
  fi
  export LC_ALL="${LC_ALL:-C.UTF-8}"
  # One compiler cache serves every clone of this repository.
  export CCACHE_BASEDIR="$ROOT" CCACHE_NOHASHDIR=1
}

missing_packages() {
  local package status
  for package in "$@"; do
    status="$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)"
    [[ "$status" == installed ]] || printf '%s\n' "$package"
  done
}

# Installs what is missing of the packages given. Touches neither network nor rights if nothing is.
install_packages() {
  if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
    say "No apt-get here (made for Debian 12): going on with what is installed."
    return 0
  fi
  local missing
  mapfile -t missing < <(missing_packages "$@")
  ((${#missing[@]} > 0)) || return 0
  say "Installing ${#missing[@]} missing packages: ${missing[*]}"
  local as_root=()
  if [[ "$(id -u)" != 0 ]]; then
    command -v sudo >/dev/null || die "These packages are missing, and there is no sudo to install them: ${missing[*]}"
    as_root=(sudo)
  fi
  "${as_root[@]}" apt-get -qq update </dev/null || say "apt-get update failed: trying with the lists as they are."
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq install -y --no-install-recommends \
    "${missing[@]}" </dev/null >/dev/null || die "apt-get could not install: ${missing[*]}"
}

# configure PRESET [cmake arguments]
configure() { (cd "$ROOT" && cmake --preset "$@"); }

# compile PRESET [target]
compile() { (cd "$ROOT" && cmake --build --preset "$1" ${2:+--target "$2"}); }
