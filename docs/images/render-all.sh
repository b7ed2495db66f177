#!/usr/bin/env bash
# Renders the README pictures from the sample states in states/.
# Usage: docs/images/render-all.sh [path/to/kelvrameters]   (default: build/release/cli/kelvrameters)
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
bin=${1:-$here/../../build/release/cli/kelvrameters}
export QT_QPA_PLATFORM=offscreen
render() { # view state output [extra arguments]
  local view=$1 state=$2 out=$3
  shift 3
  "$bin" render-view "$view" --state "$here/states/$state.json" --out "$here/$out.png" --scale 2 "$@"
}
render level-meter silence level-meter-silence
render level-meter tone-18dbfs level-meter-tone-18dbfs
render level-meter loud-over-0db level-meter-loud
render numerical-meter tone-18dbfs numerical-meter-tone
render numerical-meter loud-over-0db numerical-meter-loud
render numerical-meter targets-on-target numerical-meter-targets-on-target
render numerical-meter targets-off-target numerical-meter-targets-off-target
render numerical-meter targets-not-measured numerical-meter-targets-not-measured
render spectrum pink-noise-third spectrum-pink-third --width 320 --height 110
render spectrum pink-noise-48th spectrum-pink-48th --width 320 --height 110
render phase-scope phase-lines-glow phase-scope-lines-glow --width 180 --height 180
render phase-scope phase-points phase-scope-points --width 180 --height 180
render lufs-rings lufs-on-target lufs-rings-on-target
render lufs-rings lufs-off-target lufs-rings-off-target
render lufs-rings silence lufs-rings-silence
render lufs-bars lufs-on-target lufs-bars-on-target
render lufs-bars lufs-off-target lufs-bars-off-target
render level-meter-window window level-meter-window --width 240 --height 860
