#!/usr/bin/env bash
# A long run of the Release app with every panel on and of the headless meter, on a
# private audio server with a looping programme, a device plugged in and pulled out every
# few minutes and one server restart half-way. Every 30 s the resident memory, open file
# descriptors and threads of both processes go into a CSV; at the end the script judges:
#   - after the first 5 minutes resident memory grows by less than 2 MiB,
#   - descriptors and threads stay flat (they may move while a device comes and goes,
#     and must be back where they were),
#   - capture never stops for longer than the server restart takes.
# Run by hand or by `make soak`, never by `make test`.
#   scripts/soak.sh [MINUTES] [BUILD_DIR]      default 60 minutes, build/release
# Results: $SOAK_OUT (default build/soak/): soak.csv, headless.jsonl, soak.png, verdict.txt
set -euo pipefail
minutes=${1:-60}
build_dir=$(realpath "${2:-build/release}")
src_dir=$(cd "$(dirname "$0")/.." && pwd)
binary=$build_dir/cli/kelvrameters
out=${SOAK_OUT:-$src_dir/build/soak}

if [[ ${KELVRA_SOAK_INSIDE:-} != 1 ]]; then
    [[ -x $binary ]] || { echo "soak: build $binary first (make soak does)" >&2; exit 1; }
    # The plot only; not needed by the build or the tests.
    if ! command -v gnuplot >/dev/null; then
        sudo_cmd=(); [[ $(id -u) -eq 0 ]] || sudo_cmd=(sudo)
        "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends gnuplot-nox >/dev/null || true
    fi
    mkdir -p "$out"
    export KELVRA_SOAK_INSIDE=1 SOAK_OUT=$out
    exec xvfb-run -a -s "-screen 0 1600x1000x24" \
        bash "$src_dir/scripts/audio-test-env.sh" run bash "$0" "$minutes" "$build_dir"
fi

session=$KELVRA_AUDIO_TEST_DIR
env_script=$src_dir/scripts/audio-test-env.sh
work=$(mktemp -d "${TMPDIR:-/tmp}/kelvra-soak.XXXXXX")
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$work"' EXIT

# Music-like material: noise bands and tones that swell and fall, with quiet passages at
# -50 dBFS rather than digital silence, so a capture gap shows as a drop below -60.
sox -n -r 48000 -c 2 -b 32 -e floating-point "$work/loud.wav" synth 20 pinknoise tremolo 0.5 60 norm -8
sox -n -r 48000 -c 2 -b 32 -e floating-point "$work/tones.wav" synth 15 sine 110-880 sine 220-1760 norm -14
sox -n -r 48000 -c 2 -b 32 -e floating-point "$work/quiet.wav" synth 8 pinknoise norm -50
sox "$work/loud.wav" "$work/quiet.wav" "$work/tones.wav" "$work/quiet.wav" "$work/programme.wav"
(while :; do pw-play --target mic-feed "$work/programme.wav" || sleep 0.5; done) >/dev/null 2>&1 &

config=$work/config
mkdir -p "$config/Kelvra"
cat >"$config/Kelvra/KelvraMeters.ini" <<'EOF'
[General]
selectedInputDevice=System Default
showSpectralMeter=true
spectralOctaveResolution=1/24 Octave
showLissajousMeter=true
lissajousGlow=true
showLUFSMeter=true
showNumericalValue=true
EOF
XDG_CONFIG_HOME=$config "$binary" --windows level,numerical >"$out/app.log" 2>&1 &
app=$!
"$binary" headless --source "System Default" --every 0.5 >"$out/headless.jsonl" 2>"$out/headless.log" &
headless=$!
sleep 5

sample() { # PID -> "rss_kb,fds,threads"
    local status=/proc/$1/status
    [[ -r $status ]] || { echo ",,"; return; }
    printf '%s,%s,%s' "$(awk '/^VmRSS:/ {print $2}' "$status")" "$(ls "/proc/$1/fd" 2>/dev/null | wc -l)" \
        "$(awk '/^Threads:/ {print $2}' "$status")"
}

echo "minute,app_rss_kb,app_fds,app_threads,headless_rss_kb,headless_fds,headless_threads,event" >"$out/soak.csv"
end=$((SECONDS + minutes * 60))
start=$SECONDS
next_device=$((start + 180))  # a device comes or goes every 3 minutes
restart_at=$((start + minutes * 30))
plugged=0
restarted=0
event=start
while ((SECONDS < end)); do
    if ! kill -0 "$app" 2>/dev/null || ! kill -0 "$headless" 2>/dev/null; then
        echo "soak: a process ended early (see $out/*.log)" >&2
        event=died
    fi
    printf '%.1f,%s,%s,%s\n' "$(awk -v s=$((SECONDS - start)) 'BEGIN {print s / 60}')" "$(sample "$app")" \
        "$(sample "$headless")" "$event" >>"$out/soak.csv"
    [[ $event == died ]] && break
    event=
    for _ in $(seq 30); do
        sleep 1
        if ((SECONDS >= next_device)); then
            if ((plugged)); then bash "$env_script" unplug "$session" "USB Mic"; event+="unplug "
            else bash "$env_script" plug "$session" "USB Mic"; event+="plug "; fi
            plugged=$((1 - plugged))
            next_device=$((next_device + 180))
        fi
        if ((!restarted && SECONDS >= restart_at)); then
            restart_began=$(date +%s.%N)
            bash "$env_script" restart-server "$session"
            restarted=1
            event+="restart "
            echo "$restart_began $(date +%s.%N)" >"$work/restart"
        fi
    done
    event=${event% }
done
kill "$app" "$headless" 2>/dev/null || true
wait "$app" "$headless" 2>/dev/null || true

# The verdict, from the samples after the first 5 minutes and the headless levels.
restart_seconds=$(awk '{printf "%.1f", $2 - $1}' "$work/restart" 2>/dev/null || echo 0)
status=0
python3 - "$out" "$restart_seconds" >"$out/verdict.txt" <<'PY' || status=$?
import csv, json, sys
out, restart = sys.argv[1], float(sys.argv[2])
rows = [r for r in csv.DictReader(open(f"{out}/soak.csv")) if r["app_rss_kb"]]
settled = [r for r in rows if float(r["minute"]) >= 5]
ok = True
def judge(name, good, text):
    global ok
    ok &= good
    print(f"{'pass' if good else 'FAIL'}  {name}: {text}")
for who in ("app", "headless"):
    if len(settled) < 2:
        judge(who, False, "fewer than two samples after 5 minutes")
        continue
    rss = [int(r[f"{who}_rss_kb"]) for r in settled]
    growth = (rss[-1] - rss[0]) / 1024
    judge(f"{who} memory", growth < 2.0, f"{rss[0] / 1024:.1f} MiB at 5 min, {rss[-1] / 1024:.1f} MiB at the end "
          f"(+{growth:.2f} MiB, max {max(rss) / 1024:.1f})")
    for what in ("fds", "threads"):
        values = [int(r[f"{who}_{what}"]) for r in settled]
        judge(f"{who} {what}", values[-1] == values[0] and max(values) - min(values) <= 4,
              f"{values[0]} at 5 min, {values[-1]} at the end, {min(values)}..{max(values)}")
# Capture gaps: the headless meter reports every 0.5 s; the programme never drops below
# -50 dBFS, so a peak under -60 means nothing was captured.
gap = longest = 0.0
previous = None
for line in open(f"{out}/headless.jsonl"):
    try:
        report = json.loads(line)
    except ValueError:
        continue
    t = report["t"]
    silent = max(report["peakLevelLeft"], report["peakLevelRight"]) <= -60
    if silent and previous is not None:
        gap += t - previous
    elif not silent:
        gap = 0.0
    longest = max(longest, gap)
    previous = t
judge("capture", longest <= max(restart, 1.0) + 3.0,
      f"longest stretch without captured audio {longest:.1f} s (server restart took {restart:.1f} s; "
      "the engine reconnects every 2 s)")
print("PASS" if ok else "FAIL")
sys.exit(0 if ok else 1)
PY
cat "$out/verdict.txt"

if command -v gnuplot >/dev/null; then
    gnuplot <<EOF
set terminal pngcairo size 1000,600 font ",10"
set output "$out/soak.png"
set datafile separator ","
set key outside
set multiplot layout 2,1 title "KelvraMeters soak: ${minutes} minutes"
set ylabel "RSS (MiB)"
plot "$out/soak.csv" every ::1 using 1:(\$2/1024) with linespoints title "app", \
     "" every ::1 using 1:(\$5/1024) with linespoints title "headless"
set xlabel "minutes"
set ylabel "count"
plot "$out/soak.csv" every ::1 using 1:3 with lines title "app fds", \
     "" every ::1 using 1:4 with lines title "app threads", \
     "" every ::1 using 1:6 with lines title "headless fds", \
     "" every ::1 using 1:7 with lines title "headless threads"
unset multiplot
EOF
fi
exit "$status"
