#!/usr/bin/env bash
# Installs the Debian 12 packages KelvraMeters needs to build, test and run.
# Idempotent: packages that dpkg already knows are skipped, and the package
# lists are refreshed only when something is actually missing.
set -euo pipefail

packages=(
  # toolchain
  build-essential cmake ninja-build pkg-config
  # libraries
  qt6-base-dev qt6-base-dev-tools qt6-qpa-plugins libgl-dev
  # SVG image plugin: the application icon in the tray and window list
  libqt6svg6
  libpipewire-0.3-dev libebur128-dev libfftw3-dev libsndfile1-dev
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  # a real HTTP server inside the feedback and update-check tests
  libcpp-httplib-dev
  # private audio server for the capture tests
  pipewire pipewire-bin wireplumber dbus dbus-bin
  # signal generation and reference measurements
  sox ffmpeg
  # the man page, made from --help-all at build time
  help2man
  # the Debian package and the checks of its desktop entry and AppStream data
  dpkg-dev appstream desktop-file-utils
  # faster rebuilds
  ccache
  # headless display, screenshots and a font that is always there
  xvfb xauth imagemagick fonts-dejavu-core
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg -s "$p" >/dev/null 2>&1; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
  sudo_cmd=(sudo)
fi

echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
