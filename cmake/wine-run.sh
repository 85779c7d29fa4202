#!/usr/bin/env bash
# Runs a Windows program of the cross build under Wine: in a private prefix (created on first use),
# headless, without Wine's debug output and installer dialogs, with the given directories on the
# DLL search path. Exits with the program's status.
#
# usage: wine-run.sh [--prefix DIR] [--path DIR]... [--lf] PROGRAM.exe [ARG...]
#   --prefix DIR  the Wine prefix (default: $WINEPREFIX, else ./wineprefix)
#   --path DIR    a directory searched for DLLs, after those already in $WINEPATH
#   --lf          turn the program's CRLF line ends on standard output into LF, for readers that
#                 parse the output line by line (the test discovery of CMake)
set -euo pipefail

prefix=${WINEPREFIX:-$PWD/wineprefix}
dll_path=${WINEPATH:-}
lf=0
while (($# > 0)); do
    case $1 in
        --prefix) prefix=${2:?--prefix needs a directory}; shift 2 ;;
        --path) dll_path=${dll_path:+$dll_path;}${2:?--path needs a directory}; shift 2 ;;
        --lf) lf=1; shift ;;
        --) shift; break ;;
        *) break ;;
    esac
done
(($# > 0)) || { echo "usage: wine-run.sh [--prefix DIR] [--path DIR]... [--lf] PROGRAM [ARG...]" >&2; exit 2; }

# Debian's /usr/bin/wine is a script that picks the 32-bit loader when it exists; the programs
# here are 64-bit, so take the 64-bit loader directly.
wine=${VX_WINE:-}
if [[ -z $wine ]]; then
    for candidate in /usr/lib/wine/wine64 "$(command -v wine64 || true)" "$(command -v wine || true)"; do
        if [[ -n $candidate && -x $candidate ]]; then wine=$candidate; break; fi
    done
fi
[[ -n $wine ]] || { echo "wine-run.sh: Wine is not installed (Debian: apt-get install wine64 wine)" >&2; exit 127; }
wineserver=
for candidate in "$(dirname "$wine")/wineserver64" "$(command -v wineserver || true)"; do
    if [[ -n $candidate && -x $candidate ]]; then wineserver=$candidate; break; fi
done

export WINEPREFIX=$prefix
export WINEDEBUG=-all
# No Mono or Gecko installers, no menu entries or file associations written into $HOME.
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d${WINEDLLOVERRIDES:+;$WINEDLLOVERRIDES}"
export WINEPATH=$dll_path
# Headless, always: a test never opens a window, with or without a display.
unset DISPLAY WAYLAND_DISPLAY

# The first program to run creates the prefix; the others wait for it. The mark is written once
# the creation has finished, so a half-made prefix (an interrupted run) is made again.
ready=$prefix/.vx-ready
if [[ ! -f $ready ]]; then
    mkdir -p "$(dirname "$prefix")"
    exec 9>"$prefix.lock"
    flock 9
    if [[ ! -f $ready ]]; then
        log=$(mktemp)
        if ! "$wine" wineboot --init >"$log" 2>&1; then
            echo "wine-run.sh: could not create the Wine prefix $prefix:" >&2
            cat "$log" >&2
            rm -f "$log"
            exit 125
        fi
        rm -f "$log"
        touch "$ready"
    fi
    exec 9>&-
fi

# Debian's Wine stops its server, and Wine's system processes with it, the moment the last program
# ends, so every program would pay seconds for starting them again. A server that stays a while
# after the last program keeps a run of tests fast. (It is a no-op when a server is running.)
if [[ -n $wineserver ]]; then
    "$wineserver" -p"${VX_WINE_LINGER:-20}" </dev/null >/dev/null 2>&1 || true
fi

if ((lf)); then
    "$wine" "$@" | sed 's/\r$//'
else
    exec "$wine" "$@"
fi
