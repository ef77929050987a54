#!/usr/bin/env bash
# Installs what is missing, builds, and starts the application on its embedded SQLite demo
# database (created on first run). Extra arguments go to the application, e.g. --officer 1002.
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
"$here/scripts/bootstrap.sh"
"$here/scripts/build.sh" --target korva
app="${KORVA_BUILD_DIR:-$here/build}/src/shell/korva"
if [[ -z "${DISPLAY:-}" && -z "${WAYLAND_DISPLAY:-}" ]]; then
    echo "No display found: starting on a virtual one (xvfb-run)." >&2
    exec xvfb-run -a "$app" "$@"
fi
exec "$app" "$@"
