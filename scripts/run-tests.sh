#!/usr/bin/env bash
# Runs every registered test of a build tree through CTest, with the sanitizer
# settings the project's tests expect.
set -euo pipefail
build_dir=${1:-build/asan}
src_dir=$(cd "$(dirname "$0")/.." && pwd)

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=0:strict_string_checks=1}
export LSAN_OPTIONS=${LSAN_OPTIONS:-suppressions=$src_dir/scripts/lsan.supp:print_suppressions=0}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}

ctest --test-dir "$build_dir" --output-on-failure --timeout 300 -j "$(nproc)"
