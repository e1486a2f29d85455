#!/bin/sh
# Screenshot of the viewer host on a virtual display: veldra-refhost --gui with a bundled
# sample and the result of the RFA chain on it (made by rfa-process, the same library code as
# the plug-in), and the plug-in rfa-bg started beside it exactly as the viewer's plug-in menu
# starts it ("-O -P <port>"). Writes docs/viewer.png (or the file given as the first argument).
#
# Needs: xvfb-run (xvfb), import (imagemagick). Build first: cmake --build build --target
# veldra-refhost rfa-bg rfa-process. BUILD_DIR overrides the build folder.
set -eu

root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$root/build}
out=${1:-$root/docs/viewer.png}
case $out in /*) ;; *) out=$(pwd)/$out ;; esac

if [ -z "${ZR_SCREENSHOT_INNER:-}" ]; then
  for tool in xvfb-run import; do
    command -v $tool >/dev/null || { echo "screenshot-viewer.sh: $tool is missing" >&2; exit 2; }
  done
  for exe in refhost/veldra-refhost app/rfa-bg tools/rfa-process; do
    [ -x "$build/$exe" ] || { echo "screenshot-viewer.sh: build $build/$exe first" >&2; exit 2; }
  done
  ZR_SCREENSHOT_INNER=1 exec xvfb-run -a -s "-screen 0 1400x900x24" "$0" "$out"
fi

work=$(mktemp -d)
viewer_pid=
plugin_pid=
cleanup() {
  [ -n "$plugin_pid" ] && kill "$plugin_pid" 2>/dev/null || true
  [ -n "$viewer_pid" ] && kill "$viewer_pid" 2>/dev/null || true
  wait 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

# The plug-in's folder: a copy of the program, which writes its registration file beside itself
# at every start (the viewer's plug-in menu is built from it).
mkdir -p "$work/plugins" "$work/result"
cp "$build/app/rfa-bg" "$work/plugins/rfa-bg"
# Its automatic settings file: the parameters that suit the bundled samples.
cp "$root/tests/data/samples/default.rfa_bg" "$work/plugins/rfa-bg.ini"
cp "$root/tests/data/samples/sample-1.tif" "$work/sample-1.tif"
"$build/tools/rfa-process" -p "$root/tests/data/samples/default.rfa_bg" -o "$work/result" \
  "$work/sample-1.tif" >/dev/null
cp "$work/result/sample-1.tif" "$work/sample-1-result.tif"
cp "$work/result/sample-1.keys.xml" "$work/sample-1-result.keys.xml"
# A first start without a host only writes the registration file, then gives up.
sh -c 'cd "$1" && QT_QPA_PLATFORM=offscreen ./rfa-bg -P 1' sh "$work/plugins" >/dev/null 2>&1 || true
[ -f "$work/plugins/rfa-bg.menu" ] || { echo "screenshot-viewer.sh: no rfa-bg.menu" >&2; exit 1; }

"$build/refhost/veldra-refhost" --gui --port 0 --local-name "" -geometry 930x880+0+0 \
  --plugin-dir "$work/plugins" ${ZR_SCREENSHOT_LOG:+--log "$ZR_SCREENSHOT_LOG"} "$work/sample-1-result.tif" "$work/sample-1.tif" \
  >"$work/viewer.out" 2>"$work/viewer.err" &
viewer_pid=$!
port=
for _ in $(seq 100); do
  port=$(sed -n 's/^veldra-refhost listening on 127.0.0.1:\([0-9]*\)$/\1/p' "$work/viewer.out")
  [ -n "$port" ] && break
  sleep 0.1
done
[ -n "$port" ] || { echo "screenshot-viewer.sh: the viewer did not start" >&2; cat "$work/viewer.err" >&2; exit 1; }

# The tool, started with the registered parameter and the host's port, beside the viewer.
(cd "$work/plugins" && exec ./rfa-bg -geometry +935+0 -O -P "$port") >"$work/plugin.out" 2>&1 &
plugin_pid=$!
sleep 4
kill -0 "$plugin_pid" 2>/dev/null || { echo "screenshot-viewer.sh: rfa-bg ended" >&2; cat "$work/plugin.out" >&2; exit 1; }

# With xdotool the tool does its job on the focused sample: "Draw screen" (top right of
# its window) adds the screen's outline as a region of the sample, then "New Image
# (Apply checked operations)" (bottom left) makes a third window with the result and its key
# record and log. The button places are those of the tool's window at its default size.
if command -v xdotool >/dev/null; then
  win=$(xdotool search --sync --onlyvisible --pid "$plugin_pid" | head -n 1)
  eval "$(xdotool getwindowgeometry --shell "$win")"
  echo "rfa-bg window: $WIDTH x $HEIGHT at $X, $Y" >&2
  xdotool mousemove $((X + WIDTH - 64)) $((Y + 100)) click 1
  sleep 1
  xdotool mousemove $((X + 130)) $((Y + HEIGHT - 35)) click 1
  sleep 6
  # Tile the viewer's windows (View > Tile, Ctrl+T).
  viewer_win=$(xdotool search --onlyvisible --pid "$viewer_pid" | head -n 1)
  xdotool windowfocus --sync "$viewer_win" key ctrl+t || true
  sleep 1
fi

mkdir -p "$(dirname "$out")"
import -window root "$out"
echo "screenshot-viewer.sh: wrote $out"
