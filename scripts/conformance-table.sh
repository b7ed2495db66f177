#!/usr/bin/env bash
# Prints the broadcast loudness conformance table of docs/conformance.md: runs the
# conformance test binary of a build (default build/asan) once, all cases in one
# process, and prints the markdown table it writes. The test's own output goes to
# standard error. Build it first:
#   flock /tmp/kelvra-build.lock cmake --build build/asan --target test_conformance
set -euo pipefail
build_dir="${1:-build/asan}"
binary="$build_dir/tests/conformance/test_conformance"
if [[ ! -x "$binary" ]]; then
  echo "conformance-table.sh: $binary not found; build the test_conformance target first" >&2
  exit 2
fi
table="$(mktemp)"
trap 'rm -f "$table"' EXIT
status=0
KELVRA_CONFORMANCE_TABLE="$table" QT_QPA_PLATFORM=offscreen "$binary" >&2 || status=$?
cat "$table"
exit "$status"
