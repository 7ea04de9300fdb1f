#!/usr/bin/env bash
# Sets up a fresh Debian 12 machine, builds Tessary and runs every test (unit, Xvfb, keyring, HTTPS loopback).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-dependencies.sh"
"$root/scripts/check-house-rules.sh"
"$root/scripts/build.sh"
# A short run of every parser's fuzz target (its own clang build; a few seconds per target).
"$root/tests/fuzz/run"
cd "${BUILD_DIR:-$root/build}"
ctest --output-on-failure -j 2 --timeout 600
