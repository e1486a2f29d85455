#!/usr/bin/env bash
# Checks the member naming of .clang-tidy over every source the build compiles.
#   scripts/check-naming.sh [build-dir]    (default build/, configured by scripts/test.sh)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
root=$(pwd)
dirs='(numerics|formats|hostlink|imageio|rfa|rfahost|app|tools|refhost|viewer|samples|python|tests|bench|fuzz)'
out=$(run-clang-tidy-14 -p "$build" -j "$(nproc)" -quiet -header-filter="^$root/$dirs/" \
  "^$root/$dirs/" 2>&1 | grep -E "invalid case style" | sort -u || true)
if [ -n "$out" ]; then
  printf '%s\n' "$out"
  exit 1
fi
echo "member naming: ok"
