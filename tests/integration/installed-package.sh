#!/usr/bin/env bash
# Installs a build below a fresh directory, then finds, builds and runs against the package as a
# foreign project would: installed-package.sh <build> <project> <compiler> [<sanitizers>]
set -euo pipefail

prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$1" --prefix "$prefix/usr" >/dev/null
unit=$prefix/usr/lib/systemd/system/velorad.service
if [ -e "$unit" ]; then # there is a host
    daemon=$(sed -n 's/^ExecStart=\([^ ]*\).*/\1/p' "$unit")
    [ -x "$daemon" ] || { echo "the unit starts '$daemon', which isn't there" >&2; exit 1; }
fi
cmake -S "$2" -B "$prefix/build" -G Ninja -DCMAKE_CXX_COMPILER="$3" \
    -DCMAKE_PREFIX_PATH="$prefix/usr" -DCMAKE_CXX_FLAGS="${4:+-fsanitize=$4}" >/dev/null
cmake --build "$prefix/build"
"$prefix/build/consumer"
