#!/usr/bin/env bash
# The main job on the bundled sample screens, on a fresh machine:
#  - always: runs the RFA chain over tests/data/samples/ with the bundled parameters through
#    rfa-process and writes the results and before/after pictures into out/demo/;
#  - with a display: also opens the first sample in the reference host's viewer, whose plug-in
#    menu "PEH" starts the tool (rfa-bg) connected to it.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
targets=(rfa-process rfa-bg veldra-refhost)
# The Python module, when pybind11 was found (docs/python.md).
if cmake --build build --target help | grep -q '^rfabg:'; then targets+=(rfabg); fi
cmake --build build --target "${targets[@]}" -j"$(nproc)"
scripts/install-python-module.sh build

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

if [ -z "${DISPLAY:-}" ]; then
  echo
  echo "No display: the viewer was not started (set DISPLAY to see the plug-in at work)."
  exit 0
fi

# The tool starts with the bundled parameters (its settings file sits beside it) and writes its
# registration file rfa-bg.menu at every start. Started once here without a host (port 1 is
# never served), it registers itself and ends, as it always does without a host.
cp tests/data/samples/default.rfa_bg build/app/rfa-bg.ini
(ulimit -c 0; build/app/rfa-bg -P 1 >/dev/null 2>&1) 2>/dev/null || true

echo
echo "Viewer: choose PEH > \"RFA: Background: Spherical Harmonics\", then press"
echo "\"New Image (Apply checked operations)\" in the tool's window."
exec build/refhost/veldra-refhost --gui --plugin-dir build/app tests/data/samples/sample-1.tif
