#!/usr/bin/env bash
# Takes a picture of the main window under a virtual X display and writes docs/mainwindow.png.
# Starts the reference host (the program needs its host to show the window) and rfa-bg, waits
# for the window, grabs it with ImageMagick's import, then ends both programs.
#   scripts/screenshot-mainwindow.sh [build-dir]      (default: build)
# Needs: xvfb-run (package xvfb), import (imagemagick), xwininfo (x11-utils).
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
root=$(pwd)
out="$root/docs/mainwindow.png"

if [ -z "${ZR_SCREENSHOT_IN_XVFB:-}" ]; then
  cmake --build "$build" --target rfa-bg veldra-refhost >/dev/null
  exec env ZR_SCREENSHOT_IN_XVFB=1 xvfb-run -a -s "-screen 0 1024x900x24" "$0" "$@"
fi

work=$(mktemp -d)
host_pid=""
app_pid=""
cleanup() {
  [ -n "$app_pid" ] && kill "$app_pid" 2>/dev/null || true
  [ -n "$host_pid" ] && kill "$host_pid" 2>/dev/null || true
  wait 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

# A private copy of the program, so its registration and settings files land in $work.
cp "$root/$build/app/rfa-bg" "$work/rfa-bg"
port=$((20000 + RANDOM % 20000))
"$root/$build/refhost/veldra-refhost" --port "$port" --local-name "" >"$work/host.log" 2>&1 &
host_pid=$!
for _ in $(seq 50); do grep -q listening "$work/host.log" 2>/dev/null && break; sleep 0.1; done

(cd "$work" && QT_QPA_PLATFORM=xcb exec ./rfa-bg -P "$port" -O) >"$work/app.log" 2>&1 &
app_pid=$!

title="RFA: Background: Spherical Harmonics"
window=""
for _ in $(seq 100); do
  window=$(xwininfo -root -tree 2>/dev/null | grep -F "\"$title\"" | awk '{print $1}' | head -1 || true)
  [ -n "$window" ] && break
  kill -0 "$app_pid" 2>/dev/null || break
  sleep 0.1
done
if [ -z "$window" ]; then
  echo "main window did not appear" >&2
  cat "$work/app.log" >&2
  exit 1
fi
sleep 1  # let the start-up timer fill the panel and the window paint
mkdir -p "$(dirname "$out")"
import -window "$window" "$out"
echo "wrote $out"
