#!/usr/bin/env bash
# Runs the registered tests of a build tree through CTest (all of them, or those the
# extra arguments select), with the sanitizer settings the project's tests expect.
set -euo pipefail
build_dir=${1:-build/asan}
shift $(($# > 0 ? 1 : 0)) # the rest goes to ctest, e.g. -L capture
src_dir=$(cd "$(dirname "$0")/.." && pwd)

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=0:strict_string_checks=1}
export LSAN_OPTIONS=${LSAN_OPTIONS:-suppressions=$src_dir/scripts/lsan.supp:print_suppressions=0}
export TSAN_OPTIONS=${TSAN_OPTIONS:-suppressions=$src_dir/scripts/tsan.supp:second_deadlock_stack=1:history_size=4}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}

ctest --test-dir "$build_dir" --output-on-failure --timeout 300 -j "$(nproc)" "$@"
