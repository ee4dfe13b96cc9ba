# What the scripts in this folder share; sourced, not run. Needs bash and the tools of a bare Debian installation.
#
# Sets ROOT (the project's directory, which becomes the current one) and JOBS. Nothing here asks a question: it must work
# without a terminal. Nothing is installed that is there already, so a prepared machine needs neither network nor root.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$ROOT"
JOBS=$(nproc 2>/dev/null || echo 2)

say() { printf '== %s\n' "$*"; }

die() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

# Whether a need is met: something must match a path, anything else is a command.
is_there() {
  case $1 in
    /*) compgen -G "$1" >/dev/null ;;
    *) command -v "$1" >/dev/null 2>&1 ;;
  esac
}

# Runs a command as root. sudo may ask for a password only where somebody could type it.
as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif ! is_there sudo; then
    die "needs root for: $* (and there is no sudo). Run it once as root, then this script again."
  elif [ -t 0 ]; then
    sudo "$@"
  else
    sudo -n "$@" || die "needs root for: $*. Run it once as root, then this script again."
  fi
}

# need <what>:<package>...
# Each <what> is a command or the pattern of an absolute path, each <package> the Debian package that brings it. Installs the missing
# packages on Debian and Ubuntu; elsewhere names everything that is missing and stops.
need() {
  local pair missing=() packages=()
  for pair in "$@"; do
    is_there "${pair%%:*}" && continue
    missing+=("${pair%%:*}")
    packages+=("${pair#*:}")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  if ! is_there apt-get; then
    die "missing on this machine: ${missing[*]}
This script can install software on Debian and Ubuntu only. Please install what corresponds to the Debian packages
  ${packages[*]}
with this system's own tools, then run it again."
  fi
  say "installing ${packages[*]}"
  as_root env DEBIAN_FRONTEND=noninteractive apt-get update -q
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${packages[@]}"
  for pair in "${missing[@]}"; do
    is_there "$pair" || die "$pair is still missing after the installation"
  done
}

# What every build needs, and what the tests need on top.
BUILD_NEEDS=(cmake:cmake ninja:ninja-build gcc:gcc g++:g++)
TEST_NEEDS=(/usr/include/gtest/gtest.h:libgtest-dev pkg-config:pkg-config python3:python3)

# An older CMake would only say that it cannot read the presets.
need_cmake_325() {
  local version
  version=$(cmake --version | sed -n '1s/[^0-9]*\([0-9.]*\).*/\1/p')
  [ "$(printf '3.25\n%s\n' "$version" | sort -V | head -n 1)" = 3.25 ] ||
    die "needs CMake 3.25 or newer (Debian 12 has it), this is $version"
}

# build <preset> [target...]: configures and builds, everything or the targets; a stale cache, of another place or
# compiler, is thrown away first.
build() {
  local preset=$1
  shift
  need_cmake_325
  say "building: $preset"
  cmake --preset "$preset" >/dev/null || cmake --fresh --preset "$preset"
  cmake --build --preset "$preset" -j "$JOBS" ${1:+--target "$@"}
}

# run_tests <preset> [command...]: every test; the command, if given, starts ctest.
run_tests() {
  local preset=$1
  shift
  say "testing: $preset"
  "$@" ctest --preset "$preset" -j "$JOBS" --no-label-summary
}
