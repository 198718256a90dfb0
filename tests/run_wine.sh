#!/bin/sh
# Runs one Windows program under Wine: run_wine.sh PROGRAM [ARGUMENT...]
# Wine's own files lie in a folder beside the program, made by whoever comes first.
set -eu

if [ $# -lt 1 ]; then
    echo "usage: $0 PROGRAM [ARGUMENT...]" >&2
    exit 2
fi

program_dir=$(cd "$(dirname "$1")" && pwd)
WINEPREFIX=$program_dir/wine
WINEDEBUG=${WINEDEBUG--all}
WINEARCH=win64
WINEDLLOVERRIDES='mscoree,mshtml,winemenubuilder.exe='
export WINEPREFIX WINEDEBUG WINEARCH WINEDLLOVERRIDES
unset DISPLAY

wine=$(command -v wine64 || true)
if [ -z "$wine" ] && [ -x /usr/lib/wine/wine64 ]; then
    wine=/usr/lib/wine/wine64
fi
if [ -z "$wine" ]; then
    wine=$(command -v wine) || { echo "$0: Wine is missing: run scripts/install-packages.sh" >&2; exit 2; }
fi

# Two tests may start at the same time; only one of them makes the folder. The lock is closed for
# what is started, because Wine's server outlives the program and would hold it.
if [ ! -e "$WINEPREFIX.ready" ]; then
    (
        flock 9
        if [ ! -e "$WINEPREFIX.ready" ]; then
            if ! "$wine" wineboot --init >"$WINEPREFIX.log" 2>&1 </dev/null 9>&-; then
                cat "$WINEPREFIX.log" >&2
                exit 2
            fi
            touch "$WINEPREFIX.ready"
        fi
    ) 9>"$WINEPREFIX.lock"
fi

exec "$wine" "$@"
