#!/usr/bin/env bash
# Runs every benchmark program of a (Release) build tree.
set -euo pipefail
build_dir=${1:-build/release}
status=0
while IFS= read -r bench; do
  echo "== $(basename "$bench")"
  "$bench" --benchmark_min_time=0.2 || status=1
done < <(find "$build_dir/bench" -type f -executable -name 'bench_*' | sort)
exit $status
