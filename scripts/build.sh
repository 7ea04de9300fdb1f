#!/usr/bin/env bash
# Configures and builds Tessary with its tests in build/ (or $BUILD_DIR).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$root/build}
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@"
cmake --build "$build" -j "$(nproc)"
