#!/usr/bin/env bash
# What the running app costs, measured as a user would run it: the Release binary under
# Xvfb on a private PipeWire server, pink noise playing into the default input, one
# configuration after another. For each it prints the share of one core the process
# used (utime + stime from /proc over the measured seconds, after a warm-up) and its
# peak resident memory (VmHWM). When x42-meter is installed (Debian's x42-plugins), its
# EBU R128 radar ("x42-meter 0", through pw-jack) is measured in the same session as a
# reference.
#
#   scripts/measure-live-cpu.sh [BUILD_DIR] [SECONDS]     (defaults: build/release 20)
#
# Runs itself under xvfb-run and scripts/audio-test-env.sh; needs kelvrameters built in
# BUILD_DIR (make bench builds it).
set -euo pipefail

src_dir=$(cd "$(dirname "$0")/.." && pwd)
build_dir=$(cd "${1:-$src_dir/build/release}" && pwd)
seconds=${2:-20}
warmup=3
binary=$build_dir/cli/kelvrameters

if [[ ${KELVRA_MEASURE_INSIDE:-} != 1 ]]; then
    [[ -x $binary ]] || { echo "measure-live-cpu: build $binary first (make bench)" >&2; exit 1; }
    export KELVRA_MEASURE_INSIDE=1
    exec xvfb-run -a -s "-screen 0 1920x1080x24" \
        bash "$src_dir/scripts/audio-test-env.sh" run bash "$0" "$build_dir" "$seconds"
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/kelvra-cpu.XXXXXX")
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$work"' EXIT
ticks_per_second=$(getconf CLK_TCK)

# Pink noise, peak-normalised to -9 dBFS (about -18 dBFS RMS), into the default input.
sox -n -r 48000 -c 2 -b 32 -e floating-point "$work/noise.wav" synth 60 pinknoise norm -9 2>/dev/null
(while :; do pw-play --target mic-feed "$work/noise.wav"; done) >/dev/null 2>&1 &

cpu_ticks() { awk '{ print $14 + $15 }' "/proc/$1/stat"; }
peak_rss_mib() { awk '/^VmHWM:/ { printf "%.1f", $2 / 1024 }' "/proc/$1/status"; }

# measure LABEL COMMAND...: runs COMMAND, waits `warmup` seconds, then measures for
# `seconds`; prints "LABEL | % of one core | peak RSS MiB".
measure() {
    local label=$1; shift
    "$@" >"$work/$label.log" 2>&1 &
    local pid=$!
    sleep "$warmup"
    if ! kill -0 "$pid" 2>/dev/null; then
        printf '| %s | did not run (see below) | |\n' "$label"
        sed 's/^/    /' "$work/$label.log" | tail -5 >&2
        return
    fi
    local start end
    start=$(cpu_ticks "$pid")
    sleep "$seconds"
    end=$(cpu_ticks "$pid")
    local rss
    rss=$(peak_rss_mib "$pid")
    kill "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
    awk -v label="$label" -v used=$((end - start)) -v hz="$ticks_per_second" -v s="$seconds" -v rss="$rss" \
        'BEGIN { printf "| %s | %.1f %% | %s MiB |\n", label, 100 * used / hz / s, rss }'
}

# settings KEY=VALUE...: a fresh configuration directory whose INI file holds these.
settings() {
    local dir
    dir=$(mktemp -d "$work/config.XXXXXX")
    mkdir -p "$dir/Kelvra"
    {
        echo "[General]"
        echo "selectedInputDevice=System Default"
        printf '%s\n' "$@"
    } >"$dir/Kelvra/KelvraMeters.ini"
    echo "$dir"
}

all_panels=$(settings showSpectralMeter=true "spectralOctaveResolution=1/24 Octave" showLissajousMeter=true \
    lissajousGlow=true showLUFSMeter=true showNumericalValue=true)
bars_only=$(settings showSpectralMeter=false showLissajousMeter=false showLUFSMeter=false showNumericalValue=true)

app() { # CONFIG_DIR [ARGS...]; replaces the shell, so the measured pid is the app's
    local config=$1; shift
    exec env XDG_CONFIG_HOME="$config" XDG_DATA_HOME="$work/data" "$binary" "$@"
}

# x42-meter does not connect its inputs itself: link the virtual microphone to them.
x42() {
    (for _ in $(seq 50); do
        pw-link virtual-mic:capture_FL "EBU R128 Meter:inL" 2>/dev/null &&
            pw-link virtual-mic:capture_FR "EBU R128 Meter:inR" 2>/dev/null && break
        sleep 0.1
    done) &
    exec pw-jack x42-meter 0
}

echo "| configuration ($seconds s each, after ${warmup} s) | CPU (one core = 100 %) | peak RSS |"
echo "|---|---|---|"
measure "all panels (both windows)" app "$all_panels"
measure "bars and value only (both windows)" app "$bars_only"
measure "windows closed to the tray" app "$all_panels" --windows none
measure "numerical window alone" app "$all_panels" --windows numerical
if command -v x42-meter >/dev/null && command -v pw-jack >/dev/null; then
    measure "x42-meter 0 (EBU R128 radar)" x42
else
    echo "| x42-meter 0 | not installed (apt-get install x42-plugins) | |"
fi
