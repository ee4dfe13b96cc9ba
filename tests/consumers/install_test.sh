#!/usr/bin/env bash
# Installs the build into an empty directory, moves it, and builds and runs the C program against it: once by pkg-config
# and once by find_package. Moved, so that a path of the build or of the first place, left in a file, shows.
#
# Environment: SNTR_BUILD the build directory, SNTR_CMAKE and SNTR_CC the tools of that build, SNTR_GENERATOR its
# generator, SNTR_FLAGS its sanitizers.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/moved

"$SNTR_CMAKE" --install "$SNTR_BUILD" --prefix "$work/first" >/dev/null
mv "$work/first" "$prefix"

# Nothing made for the tests may be installed, and no file may remember where it was built.
if unwanted=$(grep -rl -e ossFault "$prefix"); then
  echo "fault injection was installed: $unwanted" >&2
  exit 1
fi
if remembers=$(grep -rlI -e "$SNTR_BUILD" -e "$work/first" "$prefix"); then
  echo "these name the place where they were built: $remembers" >&2
  exit 1
fi

export CC=$SNTR_CC CFLAGS=${SNTR_FLAGS:+-fsanitize=$SNTR_FLAGS}
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name sntr.pc)")
export PKG_CONFIG_PATH
libdir=$(pkg-config --variable=libdir sntr)

# Word splitting is how pkg-config and compiler flags are passed on.
# shellcheck disable=SC2046,SC2086
"$CC" -std=c11 -Wall -Wextra -Wpedantic -Werror $CFLAGS "$here/publish_read.c" $(pkg-config --cflags --libs sntr) \
  -o "$work/by_pkg_config"
LD_LIBRARY_PATH=$libdir "$work/by_pkg_config"
echo "built by pkg-config: runs"

"$SNTR_CMAKE" -G "$SNTR_GENERATOR" -S "$here/find_package" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCONSUMER_SOURCE="$here/publish_read.c" >/dev/null
"$SNTR_CMAKE" --build "$work/build" >/dev/null
"$work/build/consumer"
echo "built by find_package: runs"
