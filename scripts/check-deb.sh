#!/usr/bin/env bash
# Checks the Debian package as a user's machine would meet it: lintian on the .deb, then (as root) installs it with
# apt-get, validates the installed desktop entry and AppStream metainfo, runs the installed tessary (--version,
# --ocr-file on the sample under a private X server) and shows what the package manager updates, and finally
# removes the package again (unless --keep). Installs lintian, desktop-file-utils and appstream when missing.
#
#   scripts/check-deb.sh [--keep] build-deb/tessary_1.0.0-1_amd64.deb
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
keep=false
if [ "${1:-}" = "--keep" ]; then keep=true; shift; fi
deb=$(realpath "${1:?usage: $0 [--keep] PACKAGE.deb}")

step() { printf '\n== %s\n' "$*"; }

tools=()
command -v lintian >/dev/null || tools+=(lintian)
command -v desktop-file-validate >/dev/null || tools+=(desktop-file-utils)
command -v appstreamcli >/dev/null || tools+=(appstream)
if [ ${#tools[@]} -gt 0 ]; then
    DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${tools[@]}" >/dev/null
fi

step "package"
dpkg-deb --info "$deb" | sed -n '/Package:/,$p'
du -h "$deb"

step "lintian"
# Errors fail the check; warnings and notes are shown.
lintian --no-tag-display-limit --display-level '>=info' "$deb" || true
if lintian --fail-on error "$deb" >/dev/null; then echo "lintian: no errors"; else echo "lintian: errors" >&2; exit 1; fi

step "install"
export DEBIAN_FRONTEND=noninteractive
apt-get install -y "$deb" >/dev/null
cleanup() { if [ "$keep" = false ]; then apt-get remove -y tessary >/dev/null && echo "removed tessary"; fi; }
trap cleanup EXIT
dpkg -L tessary

step "desktop-file-validate"
desktop-file-validate /usr/share/applications/md.velmor.tessary.desktop && echo "desktop entry: valid"

step "appstreamcli validate"
# --no-net: the homepage and screenshot addresses are only reachable from the internet.
appstreamcli validate --no-net /usr/share/metainfo/md.velmor.tessary.metainfo.xml

step "tessary"
cd /tmp
# Until --version is a command-line mode of its own it starts the application, which the time limit ends.
HOME=$(mktemp -d) timeout 20 "$root/tests/support/with-xvfb" tessary --version || echo "(tessary --version: status $?)"
home=$(mktemp -d)
output=$(HOME=$home "$root/tests/support/with-xvfb" tessary --ocr-file "$root/samples/tessary-sample.png")
printf '%s\n' "$output"
if [ "$output" = "$(cat "$root/samples/tessary-sample.txt")" ]; then
    echo "ocr-file: the sample's text"
else
    echo "ocr-file: differs from samples/tessary-sample.txt" >&2; exit 1
fi
rm -rf "$home"
