#!/usr/bin/env bash
# What the running app costs, measured as a user would run it: the Release binary under
# Xvfb on a private PipeWire server, pink noise playing into the default input, one
# configuration after another. For each it prints the share of one core the process
# used (utime + stime from /proc over the measured seconds, after a warm-up) and its
# peak resident memory (VmHWM).
#
# Two programmes, each in a session of its own:
#   loud   pink noise peak-normalised to -9 dBFS (about -22 dBFS RMS), 1920x1080 screen,
#          four window configurations;
#   quiet  pink noise at -31 dBFS RMS (about -19 dBFS peak), 1280x1000 screen, bars and
#          value, all panels.
# In both, two reference meters are measured on the same source: x42-meter's EBU R128
# radar ("x42-meter 0", Debian's x42-plugins) and ebumeter, both JACK clients run through
# pw-jack. Their inputs are linked to the virtual microphone, and a reference whose inputs
# are not linked when measuring starts is reported as such instead of measured: a meter
# fed nothing costs less and would make a false comparison.
#
#   scripts/measure-live-cpu.sh [BUILD_DIR] [SECONDS]     (defaults: build/release 20)
#
# Needs kelvrameters built in BUILD_DIR (make bench builds it). Installs what it needs and
# is missing (the reference meters, pw-jack, Xvfb, sox) with apt-get, through sudo unless
# run as root. KELVRA_MEASURE_SHOTS=DIR saves a screenshot of each configuration there.
set -euo pipefail

src_dir=$(cd "$(dirname "$0")/.." && pwd)
build_dir=$(cd "${1:-$src_dir/build/release}" && pwd)
seconds=${2:-20}
warmup=3
binary=$build_dir/cli/kelvrameters

install_missing() {
    local packages=(x42-plugins ebumeter pipewire-jack xvfb xauth sox imagemagick) missing=() p
    for p in "${packages[@]}"; do dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p"); done
    ((${#missing[@]})) || return 0
    local sudo_cmd=()
    [[ $(id -u) -eq 0 ]] || sudo_cmd=(sudo)
    echo "measure-live-cpu: installing ${missing[*]}" >&2
    export DEBIAN_FRONTEND=noninteractive
    "${sudo_cmd[@]}" apt-get update -qq
    "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

if [[ -z ${KELVRA_MEASURE_PROGRAMME:-} ]]; then
    [[ -x $binary ]] || { echo "measure-live-cpu: build $binary first (make bench)" >&2; exit 1; }
    install_missing
    for programme in loud:1920x1080 quiet:1280x1000; do
        KELVRA_MEASURE_PROGRAMME=${programme%%:*} xvfb-run -a -s "-screen 0 ${programme#*:}x24" \
            bash "$src_dir/scripts/audio-test-env.sh" run bash "$0" "$build_dir" "$seconds"
    done
    exit 0
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/kelvra-cpu.XXXXXX")
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$work"' EXIT
ticks_per_second=$(getconf CLK_TCK)

# noise PEAK_DBFS [RMS_DBFS]: a repeatable 20 s of pink noise peak-normalised to PEAK,
# then, when RMS is given, moved as a whole to that RMS level.
noise() {
    sox -R -n -r 48000 -c 2 -b 32 -e floating-point "$work/raw.wav" synth 20 pinknoise norm "$1" 2>/dev/null
    local gain=0
    if [[ -n ${2:-} ]]; then
        gain=$(sox "$work/raw.wav" -n stats 2>&1 | awk -v want="$2" '/^RMS lev dB/ { print want - $4 }')
    fi
    sox "$work/raw.wav" "$work/noise.wav" gain "$gain"
    sox "$work/noise.wav" -n stats 2>&1 | awk '/^Pk lev dB/ { pk = $4 } /^RMS lev dB/ { rms = $4 }
        END { printf "%.1f dBFS RMS, %.1f dBFS peak", rms, pk }'
}

case $KELVRA_MEASURE_PROGRAMME in
loud) level=$(noise -9) ;;
quiet) level=$(noise -19 -31) ;;
esac
screen=$(xdpyinfo 2>/dev/null | awk '/dimensions:/ { print $2 }' || true)
# Into the default input ("Virtual Mic"), over and over.
(while :; do pw-play --target mic-feed "$work/noise.wav"; done) >/dev/null 2>&1 &

cpu_ticks() { awk '{ print $14 + $15 }' "/proc/$1/stat"; }
peak_rss_mib() { awk '/^VmHWM:/ { printf "%.1f", $2 / 1024 }' "/proc/$1/status"; }

# fed CLIENT: whether both stereo channels of the virtual microphone are linked to
# input ports of the JACK client CLIENT.
fed() {
    pw-link -l 2>/dev/null | awk -v client="$1:" '
        /^[^ \t]/ { port = $0; next }
        index(port, client) == 1 && /\|<-/ && /virtual-mic:capture_F[LR]/ { sub(/.*virtual-mic:/, ""); seen[$0] = 1 }
        END { exit !(("capture_FL" in seen) && ("capture_FR" in seen)) }'
}

# measure LABEL [-fed CLIENT] COMMAND...: runs COMMAND, waits `warmup` seconds, then
# measures for `seconds`; prints "LABEL | % of one core | peak RSS MiB". With -fed, a
# CLIENT whose inputs are not linked to the source by then is not measured.
measure() {
    local label=$1 client=''; shift
    if [[ $1 == -fed ]]; then client=$2; shift 2; fi
    "$@" >"$work/log" 2>&1 &
    local pid=$!
    sleep "$warmup"
    if ! kill -0 "$pid" 2>/dev/null; then
        printf '| %s | did not run (see below) | |\n' "$label"
        sed 's/^/    /' "$work/log" | tail -5 >&2
        return
    fi
    if [[ -n $client ]] && ! fed "$client"; then
        printf '| %s | not measured: its inputs are not linked to the source | |\n' "$label"
        pw-link -l >&2 || true
        kill "$pid" 2>/dev/null || true
        wait "$pid" 2>/dev/null || true
        return
    fi
    local start end
    start=$(cpu_ticks "$pid")
    sleep $((seconds / 2))
    if [[ -n ${KELVRA_MEASURE_SHOTS:-} ]]; then
        mkdir -p "$KELVRA_MEASURE_SHOTS"
        import -window root "$KELVRA_MEASURE_SHOTS/$KELVRA_MEASURE_PROGRAMME-${label//[^A-Za-z0-9]/-}.png" 2>/dev/null || true
    fi
    sleep $((seconds - seconds / 2))
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

# jack_meter CLIENT LEFT_PORT RIGHT_PORT COMMAND...: runs a JACK meter through pw-jack
# (replacing the shell) and links the virtual microphone to its inputs once they exist:
# neither reference meter connects its inputs itself.
jack_meter() {
    local client=$1 left=$2 right=$3; shift 3
    (for _ in $(seq 100); do
        pw-link virtual-mic:capture_FL "$client:$left" 2>/dev/null &&
            pw-link virtual-mic:capture_FR "$client:$right" 2>/dev/null && break
        sleep 0.1
    done) &
    exec pw-jack "$@"
}

echo
echo "Programme: pink noise, $level, screen ${screen:-unknown}"
echo
echo "| configuration ($seconds s each, after ${warmup} s) | CPU (one core = 100 %) | peak RSS |"
echo "|---|---|---|"
case $KELVRA_MEASURE_PROGRAMME in
loud)
    measure "all panels (both windows)" app "$all_panels"
    measure "bars and value only (both windows)" app "$bars_only"
    measure "windows closed to the tray" app "$all_panels" --windows none
    measure "numerical window alone" app "$all_panels" --windows numerical
    ;;
quiet)
    measure "bars and value only (both windows)" app "$bars_only"
    measure "all panels (both windows)" app "$all_panels"
    ;;
esac
measure "x42-meter 0 (EBU R128 radar)" -fed "EBU R128 Meter" jack_meter "EBU R128 Meter" inL inR x42-meter 0
measure "ebumeter" -fed ebumeter jack_meter ebumeter in.L in.R ebumeter
