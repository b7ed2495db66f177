#!/bin/sh
# Measures `kelvrameters analyze` against ffmpeg's ebur128 filter, ebumeter's ebur128 and
# bs1770gain on the same files: wall and CPU time and peak memory (/usr/bin/time -v), and
# the integrated loudness, loudness range and true peak each reports.
#
#   scripts/bench-analyze.sh [BUILD_DIR]   (default build/release)
#
# Installs ffmpeg, ebumeter and bs1770gain with apt when missing (benchmarks only, never
# make test). Test files (16-bit stereo 48 kHz: 10 min, 2 h, a batch of 8 x 10 min) go to
# $KELVRA_BENCH_DIR (default /tmp/kelvra-bench-analyze) and are kept for reruns. Run it
# while no build is running: wrap it in `flock /tmp/kelvra-build.lock`.
set -eu

build_dir=${1:-build/release}
program=$build_dir/cli/kelvrameters
data=${KELVRA_BENCH_DIR:-/tmp/kelvra-bench-analyze}
[ -x "$program" ] || { echo "no $program: build the kelvrameters target first" >&2; exit 2; }

missing=""
command -v ffmpeg >/dev/null || missing="$missing ffmpeg"
command -v ebur128 >/dev/null || missing="$missing ebumeter"
command -v bs1770gain >/dev/null || missing="$missing bs1770gain"
command -v sox >/dev/null || missing="$missing sox"
[ -x /usr/bin/time ] || missing="$missing time"
if [ -n "$missing" ]; then
    sudo=""; [ "$(id -u)" -eq 0 ] || sudo=sudo
    $sudo apt-get install -y --no-install-recommends $missing >/dev/null || echo "could not install:$missing" >&2
fi

mkdir -p "$data"
# Programme-like material: pink noise with a slow level swing.
make_file() { # NAME SECONDS
    [ -s "$data/$1" ] || sox -q -n -r 48000 -c 2 -b 16 "$data/$1" synth "$2" pinknoise vol 0.25 tremolo 0.05 60
}
make_file ten.wav 600
make_file two-hours.wav 7200
i=1
while [ $i -le 8 ]; do make_file "batch$i.wav" 600; i=$((i + 1)); done
batch=$(i=1; while [ $i -le 8 ]; do printf '%s ' "$data/batch$i.wav"; i=$((i + 1)); done)

# One measured run: prints "wall cpu maxrss_mb" of COMMAND and keeps its output in $out.
out=$(mktemp)
measure() {
    /usr/bin/time -v -o "$out.time" "$@" >"$out" 2>&1 || true
    awk -F': ' '/Elapsed \(wall clock\)/ { n = split($2, p, ":"); w = 0; for (i = 1; i <= n; i++) w = w * 60 + p[i] }
                /User time/ { u = $2 } /System time/ { s = $2 } /Maximum resident/ { m = $2 }
                END { printf "%.2f %.2f %.0f", w, u + s, m / 1024 }' "$out.time"
}
ffmpeg_values() { awk '/Integrated loudness/ { s = 1 } s && /I:/ { i = $2 } s && /LRA:/ { l = $2 } s && /Peak:/ { p = $2 } END { printf "%s %s %s", i, l, p }' "$out"; }
analyze_values() { awk 'NR == 2 { printf "%s %s %s", $1, $2, $5 }' "$out"; }
ebur128_values() { awk '/Integrated/ { i = $(NF-1) } /range/ { l = $(NF-1) } /Peak level/ { p = $(NF-1) } END { printf "%s %s %s", i, l, p }' "$out"; }
bs1770_values() { awk '/integrated/ { i = $4 } /shortterm lra/ { l = $3 } /true peak/ { p = $3 } END { printf "%s %s %s", i, l, p }' "$out"; }

row() { # TOOL FILESET VALUES... (wall cpu mem I LRA TP)
    printf '| %s | %s | %s s | %s s | %s MB | %s | %s | %s |\n' "$@"
}

echo "| tool | files | wall | CPU | peak memory | I (LUFS) | LRA (LU) | TP (dBTP) |"
echo "|---|---|---|---|---|---|---|---|"
for set in ten two-hours; do
    f="$data/$set.wav"
    t=$(measure "$program" analyze "$f"); row "kelvrameters analyze" "$set" $t $(analyze_values)
    t=$(measure ffmpeg -nostats -i "$f" -af ebur128=peak=true -f null -); row "ffmpeg ebur128=peak=true" "$set" $t $(ffmpeg_values)
    if command -v ebur128 >/dev/null; then
        t=$(measure ebur128 --lufs "$f"); row "ebur128 (ebumeter; its peak is the sample peak)" "$set" $t $(ebur128_values)
    fi
    if command -v bs1770gain >/dev/null; then
        t=$(measure bs1770gain --ebu -i -r -t "$f"); row "bs1770gain" "$set" $t $(bs1770_values)
    fi
done
# The batch: analyze measures the files in parallel; the others take one file after another.
t=$(measure "$program" analyze $batch); row "kelvrameters analyze" "8 x 10 min" $t "-" "-" "-"
t=$(measure sh -c "for f in $batch; do ffmpeg -nostats -i \$f -af ebur128=peak=true -f null - || exit 1; done")
row "ffmpeg, one file after another" "8 x 10 min" $t "-" "-" "-"
t=$(measure sh -c "printf '%s\n' $batch | xargs -P 2 -I F ffmpeg -nostats -i F -af ebur128=peak=true -f null -")
row "ffmpeg, two at a time (xargs -P 2)" "8 x 10 min" $t "-" "-" "-"
rm -f "$out" "$out.time"
