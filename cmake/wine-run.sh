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

# Programs of one prefix take turns here: the first one creates the prefix, and whoever finds no
# Wine server running starts one. The mark is written once the prefix is complete, so a half-made
# prefix (an interrupted run) is made again.
mkdir -p "$(dirname "$prefix")"
exec 9>"$prefix.lock"
flock 9
ready=$prefix/.vx-ready
if [[ ! -f $ready ]]; then
    log=$(mktemp)
    if ! "$wine" wineboot --init >"$log" 2>&1 9>&-; then
        echo "wine-run.sh: could not create the Wine prefix $prefix:" >&2
        cat "$log" >&2
        rm -f "$log"
        exit 125
    fi
    rm -f "$log"
    [[ -z $wineserver ]] || "$wineserver" -w 9>&-
    touch "$ready"
fi
# Debian's Wine stops its server, and Wine's system processes with it, the moment the last program
# ends, so every program would pay seconds for starting them again: the server started here stays
# a while after the last program. Wine's system processes start with the first program a server
# sees and keep that program's standard output and error open as long as they live; a program run
# with a pipe there (as ctest runs them) would not be seen to end until the server goes. So a
# new server first starts them with nothing open. (Nor does anything started here keep the lock.)
if [[ -n $wineserver ]] && "$wineserver" -p"${VX_WINE_LINGER:-20}" </dev/null >/dev/null 2>&1 9>&-; then
    "$wine" wineboot </dev/null >/dev/null 2>&1 9>&- || true
fi
exec 9>&-

if ((lf)); then
    "$wine" "$@" | sed 's/\r$//'
else
    exec "$wine" "$@"
fi
