#!/usr/bin/env bash
# Sets up a fresh Debian 12 machine, builds Tessary and recognises the bundled sample screenshot: the text is
# printed and left on the clipboard. Without a display a virtual one (Xvfb) is started for the run.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-dependencies.sh"
"$root/scripts/build.sh" >/dev/null
# The launcher entry and icon for the user's menus (the application itself runs from the build tree or this prefix).
cmake --install "${BUILD_DIR:-$root/build}" --prefix "$HOME/.local" >/dev/null
tessary=${BUILD_DIR:-$root/build}/bin/tessary
sample=$root/samples/tessary-sample.png

run() {
    "$tessary" --ocr-file "$sample"
    echo "---- clipboard (read with xclip from another process):"
    xclip -selection clipboard -o
    echo
}

if [ -n "${DISPLAY:-}" ] && xdpyinfo >/dev/null 2>&1; then
    run
else
    echo "(no display: running on a virtual X server)"
    export -f run
    export tessary sample
    "$root/tests/support/with-xvfb" bash -c run
fi
