#!/usr/bin/env bash
# Configures and builds into build/ (or $KORVA_BUILD_DIR).
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
build=${KORVA_BUILD_DIR:-$here/build}
type=${KORVA_BUILD_TYPE:-RelWithDebInfo}
if [[ ! -f "$build/build.ninja" ]]; then
    cmake -S "$here" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE="$type" >/dev/null
fi
cmake --build "$build" -j"$(nproc)" "$@"
