#!/usr/bin/env bash
# Builds Tessary and its tests with AddressSanitizer and UBSan (gcc) in build-asan/ (or $SANITIZE_BUILD_DIR) and runs
# them with ctest. Any memory error or undefined behaviour ends the process that made it, so its test fails.
# Arguments go to ctest (for example -R 'TextPolisher|Configuration' or -LE x11).
# SANITIZE_TARGETS builds only the named test targets and their libraries instead of everything (tests that run
# bin/tessary then need SANITIZE_TARGETS to name tessary and tessary-helper too).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${SANITIZE_BUILD_DIR:-$root/build-asan}
flags="-fsanitize=address,undefined -fno-omit-frame-pointer"
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
executables=ON
[ -n "${SANITIZE_TARGETS:-}" ] && executables=OFF
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTESSARY_BUILD_BENCH=OFF "${launcher[@]}" \
    -DTESSARY_TESTS_BUILD_EXECUTABLES=$executables \
    -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_C_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS="$flags" >/dev/null
# shellcheck disable=SC2086 # a list of target names
cmake --build "$build" -j "$(nproc)" ${SANITIZE_TARGETS:+--target $SANITIZE_TARGETS}
# Leaks are not errors here: Qt, fontconfig and the recognition engines keep caches until exit on purpose.
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=0:abort_on_error=1:detect_stack_use_after_return=0}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
cd "$build"
ctest --output-on-failure -j 2 --timeout 900 "$@"
