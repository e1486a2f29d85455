#!/usr/bin/env bash
# The headless main job: builds rfa-process, runs the RFA chain over the bundled sample screens
# with the bundled default parameters and writes before/after pictures.
#   scripts/demo.sh            results in out/demo/
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build --target rfa-process -j"$(nproc)"

out=out/demo
rm -rf "$out"
mkdir -p "$out"
build/tools/rfa-process --parameters tests/data/samples/default.rfa_bg --png \
  --jobs "$(nproc)" --output "$out" tests/data/samples

cp "$out/sample-1.before.png" "$out/before.png"
cp "$out/sample-1.after.png" "$out/after.png"
echo
echo "Results (32-bit float TIFF + key records) are in $out/"
echo "Before/after pictures of the first sample:"
echo "  $(pwd)/$out/before.png"
echo "  $(pwd)/$out/after.png"
