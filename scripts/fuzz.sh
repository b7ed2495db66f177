#!/usr/bin/env bash
# make fuzz: builds the libFuzzer targets (tests/fuzz) with clang in their own tree and
# runs each for SECONDS (default 60) from its seed corpus in tests/fuzz/corpus/<target>/.
# New inputs go to a scratch copy, never into the seed corpus; a crash is saved under
# BUILD_DIR/findings/<target>/ and makes the script fail. Prints per target the
# executions, libFuzzer's final coverage ("cov:" edges, "ft:" features) and any crash.
#
#   scripts/fuzz.sh [SECONDS] [BUILD_DIR]        BUILD_DIR defaults to build/fuzz
#   FUZZ_TARGETS="appcast frame_text" scripts/fuzz.sh 30    only some targets
set -euo pipefail

seconds=${1:-60}
src_dir=$(cd "$(dirname "$0")/.." && pwd)
build_dir=${2:-$src_dir/build/fuzz}
targets=${FUZZ_TARGETS:-settings_exchange gradient_exchange gradient_json frame_text appcast audio_file}
# Builds on this machine take turns (other trees build beside this one).
build_lock=${KELVRA_BUILD_LOCK:-/tmp/kelvra-build.lock}

if ! [[ $seconds =~ ^[0-9]+$ ]] || ((seconds < 1)); then
    echo "usage: $0 [SECONDS] [BUILD_DIR]" >&2
    exit 2
fi

# clang and its libFuzzer runtime are needed only here, not by make test.
fuzzer_runtime() { compgen -G "/usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a" >/dev/null; }
if ! command -v clang++ >/dev/null || ! fuzzer_runtime; then
    echo "Installing clang (libFuzzer) ..."
    sudo_cmd=()
    ((EUID == 0)) || sudo_cmd=(sudo)
    "${sudo_cmd[@]}" apt-get install -y clang
    # The runtime is only a recommendation of clang-N; name its package after clang's version.
    if ! fuzzer_runtime; then
        major=$(clang++ -dumpversion | cut -d. -f1)
        "${sudo_cmd[@]}" apt-get install -y "libclang-rt-$major-dev"
    fi
fi

export CCACHE_BASEDIR=$src_dir
if [[ ! -f $build_dir/build.ninja ]]; then
    cmake -S "$src_dir" -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DCMAKE_CXX_COMPILER=clang++ -DKELVRA_FUZZ=ON -DKELVRA_BUILD_BENCH=OFF -DKELVRA_BUILD_TESTS=ON
fi
fuzzers=()
for target in $targets; do fuzzers+=("${target}_fuzzer"); done
flock "$build_lock" cmake --build "$build_dir" --target "${fuzzers[@]}"

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=0:strict_string_checks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
export QT_QPA_PLATFORM=offscreen
# Qt's warnings about each rejected input would drown the fuzzer's own lines.
export QT_LOGGING_RULES="*.debug=false;*.warning=false"

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
# The project's leak suppressions plus those of leaks that only hostile files reach.
cat "$src_dir/scripts/lsan.supp" "$src_dir/tests/fuzz/lsan.supp" >"$scratch/lsan.supp"
export LSAN_OPTIONS=${LSAN_OPTIONS:-suppressions=$scratch/lsan.supp:print_suppressions=0}
logs=$build_dir/logs
mkdir -p "$logs"

failed=0
summary=()
for target in $targets; do
    findings=$build_dir/findings/$target
    mkdir -p "$scratch/$target" "$findings"
    echo "== $target: ${seconds} s"
    status=0
    # The scratch folder comes first: libFuzzer writes new inputs into the first folder.
    "$build_dir/tests/fuzz/${target}_fuzzer" -max_total_time="$seconds" -timeout=25 -print_final_stats=1 \
        -artifact_prefix="$findings/" "$scratch/$target" "$src_dir/tests/fuzz/corpus/$target" \
        >"$logs/$target.log" 2>&1 || status=$?
    executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$logs/$target.log" | tail -n1)
    coverage=$(grep -oE 'cov: [0-9]+ ft: [0-9]+' "$logs/$target.log" | tail -n1 || true)
    speed=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$logs/$target.log" | tail -n1)
    crash=$(grep -oE "(crash|leak|timeout|oom|slow-unit)-[0-9a-f]+" "$logs/$target.log" | sort -u | tr '\n' ' ' || true)
    line=$(printf '%-18s executions %-10s %-22s exec/s %-7s' "$target" "${executions:-?}" "${coverage:-cov: ? ft: ?}" "${speed:-?}")
    if ((status != 0)); then
        failed=1
        line+=" CRASH (exit $status) ${crash:-see log} -> $findings, log $logs/$target.log"
        grep -m3 -E "^(==[0-9]+==ERROR|SUMMARY|fuzz invariant broken)" "$logs/$target.log" || true
    fi
    summary+=("$line")
    echo "$line"
done

echo
echo "Fuzzing summary (${seconds} s per target; logs in $logs):"
printf '  %s\n' "${summary[@]}"
exit $failed
