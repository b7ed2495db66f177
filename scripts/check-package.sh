#!/usr/bin/env bash
# Builds the Debian package from a configured and built tree, unpacks it into a scratch
# root and checks what a user gets: the program starts and reports its version, and the
# desktop entry, icon, AppStream metadata and man page are where the desktop looks.
#   scripts/check-package.sh BUILD_DIR VERSION
set -euo pipefail
build_dir=$(realpath "$1")
version=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cpack --config "$build_dir/CPackConfig.cmake" -B "$scratch/out" >"$scratch/cpack.log" 2>&1 ||
    { cat "$scratch/cpack.log"; exit 1; }
deb=$(ls "$scratch"/out/kelvrameters_*.deb)
echo "package: $(basename "$deb")"

fail() { echo "check-package: $*" >&2; exit 1; }
depends=$(dpkg-deb -f "$deb" Depends)
echo "depends: $depends"
for library in libqt6widgets6 libpipewire-0.3-0 libebur128-1 libsndfile1 libfftw3-single3 pipewire; do
    [[ $depends == *"$library"* ]] || fail "Depends lacks $library"
done

dpkg -x "$deb" "$scratch/root"
for file in usr/bin/kelvrameters usr/share/applications/com.kelvra.KelvraMeters.desktop \
            usr/share/icons/hicolor/scalable/apps/com.kelvra.KelvraMeters.svg \
            usr/share/metainfo/com.kelvra.KelvraMeters.metainfo.xml usr/share/man/man1/kelvrameters.1; do
    [[ -f $scratch/root/$file ]] || fail "the package lacks /$file"
done

# No display: --version must answer before any window system is touched.
reported=$(env -u DISPLAY -u WAYLAND_DISPLAY QT_QPA_PLATFORM=xcb "$scratch/root/usr/bin/kelvrameters" --version)
[[ $reported == "kelvrameters $version" ]] || fail "--version printed \"$reported\""
echo "installed binary: $reported"
