#!/usr/bin/env bash
# Runs a Windows program under wine, quietly, in a wine prefix of its own that is made (once, under
# a lock) on first use. ZEFA_WINEPREFIX chooses the prefix.
set -euo pipefail
export WINEPREFIX=${ZEFA_WINEPREFIX:-${TMPDIR:-/tmp}/zefa-wine-$(id -u)}
export WINEDEBUG=-all
wine=$(command -v wine64 || echo /usr/lib/wine/wine64)
if [ ! -f "$WINEPREFIX/system.reg" ]; then
  mkdir -p "$WINEPREFIX"
  flock "$WINEPREFIX/.made" bash -c \
    '[ -f "$WINEPREFIX/system.reg" ] || "$1" wineboot --init >/dev/null 2>&1' _ "$wine"
fi
exec "$wine" "$@"
