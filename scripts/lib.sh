# SPDX-License-Identifier: MIT
# Functions that the scripts in this folder share; sourced, not run. Needs bash and the tools of a bare Debian
# installation.
#
# Sets ROOT (the project's directory, which becomes the current one) and JOBS. It never prompts, because it must work
# without a terminal. It installs nothing that exists already, so a prepared machine needs neither network nor root.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$ROOT"
JOBS=$(nproc 2>/dev/null || echo 2)

say() { printf '== %s\n' "$*"; }

die() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

# Succeeds if a need is met: a path needs a match, anything else is a command.
is_there() {
  case $1 in
    /*) compgen -G "$1" >/dev/null ;;
    *) command -v "$1" >/dev/null 2>&1 ;;
  esac
}

# Runs a command as root. sudo may prompt for a password only on a terminal.
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
# Each <what> is a command or the pattern of an absolute path, each <package> the Debian package that provides it.
# Installs the missing packages on Debian and Ubuntu; elsewhere names everything that is missing and stops.
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
This script can install software on Debian and Ubuntu only. Please install the equivalents of the Debian packages
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

# The needs of every build, and the additional ones of the tests.
BUILD_NEEDS=(cmake:cmake ninja:ninja-build gcc:gcc g++:g++)
TEST_NEEDS=(/usr/include/gtest/gtest.h:libgtest-dev pkg-config:pkg-config python3:python3)

# An older CMake would only report that it cannot read the presets.
need_cmake_325() {
  local version
  version=$(cmake --version | sed -n '1s/[^0-9]*\([0-9.]*\).*/\1/p')
  [ "$(printf '3.25\n%s\n' "$version" | sort -V | head -n 1)" = 3.25 ] ||
    die "needs CMake 3.25 or newer (Debian 12 has it), this is $version"
}

# build <preset> [target...]: configures and builds everything, or the targets; first discards a stale cache, of another
# directory or compiler.
build() {
  local preset=$1
  shift
  need_cmake_325
  say "building: $preset"
  cmake --preset "$preset" >/dev/null || cmake --fresh --preset "$preset"
  cmake --build --preset "$preset" -j "$JOBS" ${1:+--target "$@"}
}

# run_tests <preset> [command...]: runs every test; the command, if given, starts ctest.
run_tests() {
  local preset=$1
  shift
  say "testing: $preset"
  "$@" ctest --preset "$preset" -j "$JOBS" --no-label-summary
}
