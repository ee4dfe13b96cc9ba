#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs the build into an empty directory, moves it, and builds and runs the README's programs against it: once by
# pkg-config and once by find_package. Moved, so that a path of the build or of the first place, left in a file, shows.
#
# Environment: SNTR_SOURCE and SNTR_BUILD the two directories, SNTR_CMAKE and SNTR_CC the tools of that build,
# SNTR_GENERATOR its generator, SNTR_FLAGS its sanitizers.
set -euo pipefail

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

run() { python3 "$SNTR_SOURCE/tests/readme/readme_test.py" "$SNTR_SOURCE" "$1/publish" "$1/read"; }

mkdir "$work/plain"
for name in publish read; do
  # Word splitting is how pkg-config and compiler flags are passed on.
  # shellcheck disable=SC2046,SC2086
  "$CC" -std=c11 -Wall -Wextra -Wpedantic -Werror $CFLAGS "$SNTR_SOURCE/examples/hello_$name.c" \
    $(pkg-config --cflags --libs sntr) -o "$work/plain/$name"
done
LD_LIBRARY_PATH=$libdir run "$work/plain"

"$SNTR_CMAKE" -G "$SNTR_GENERATOR" -S "$SNTR_SOURCE/tests/consumers/find_package" -B "$work/build" \
  -DCMAKE_PREFIX_PATH="$prefix" -DEXAMPLES="$SNTR_SOURCE/examples" >/dev/null
"$SNTR_CMAKE" --build "$work/build" >/dev/null
run "$work/build"
