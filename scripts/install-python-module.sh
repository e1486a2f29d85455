#!/usr/bin/env bash
# Makes `import rfabg` work without setting PYTHONPATH: writes the file rfabg.pth, naming the
# built package's folder (<build>/python), into the user site-packages of the python3 that
# comes first on PATH and of Debian's /usr/bin/python3. Every CPython X.Y reads the same
# ~/.local/lib/pythonX.Y/site-packages, so one file serves both when their versions agree.
# Nothing else is added to sys.path, and no interpreter's own folders are touched; deleting
# the file undoes it. See docs/python.md.
#   scripts/install-python-module.sh [build-dir]      (default: build)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
package_parent="$(pwd)/$build/python"
if ! ls "$package_parent"/rfabg/_rfabg.*.so >/dev/null 2>&1; then
  echo "install-python-module: $package_parent/rfabg was not built (pybind11-dev or python3-dev missing)"
  exit 0
fi

interpreters=()
if command -v python3 >/dev/null; then interpreters+=("$(command -v python3)"); fi
if [ -x /usr/bin/python3 ]; then interpreters+=(/usr/bin/python3); fi
for py in "${interpreters[@]}"; do
  # A module built for another minor version cannot be loaded: leave that interpreter alone.
  if ! PYTHONPATH="$package_parent" "$py" -c "import rfabg" >/dev/null 2>&1; then
    echo "install-python-module: $py cannot load this build of rfabg (another Python version?); skipped"
    continue
  fi
  site=$("$py" -c "import site; print(site.getusersitepackages() if site.ENABLE_USER_SITE else '')")
  if [ -z "$site" ]; then
    echo "install-python-module: $py has no user site-packages (a virtual environment?); use PYTHONPATH=$package_parent"
    continue
  fi
  mkdir -p "$site"
  if [ "$(cat "$site/rfabg.pth" 2>/dev/null || true)" != "$package_parent" ]; then
    printf '%s\n' "$package_parent" >"$site/rfabg.pth.tmp"
    mv "$site/rfabg.pth.tmp" "$site/rfabg.pth"
  fi
  if (cd / && "$py" -c "import rfabg") >/dev/null 2>&1; then
    echo "install-python-module: $py imports rfabg from $package_parent ($site/rfabg.pth)"
  else
    echo "install-python-module: $py still cannot import rfabg (user site-packages switched off?); use PYTHONPATH=$package_parent"
  fi
done
