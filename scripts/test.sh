#!/usr/bin/env bash
# Installs what is missing, builds everything and runs the whole test suite.
#   scripts/test.sh              normal build in build/
#   scripts/test.sh --sanitize   AddressSanitizer + UndefinedBehaviorSanitizer build in build-asan/
set -euo pipefail
cd "$(dirname "$0")/.."

build=build
extra=()
if [ "${1:-}" = "--sanitize" ]; then
  build=build-asan
  extra=(-DZR_SANITIZE=ON -DZR_BUILD_BENCH=OFF)
fi

scripts/install-deps.sh
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZR_WERROR=ON "${extra[@]}"
cmake --build "$build" -j"$(nproc)"
if [ "$build" = build ]; then scripts/install-python-module.sh "$build"; fi
ctest --test-dir "$build" --output-on-failure -j"$(nproc)"
