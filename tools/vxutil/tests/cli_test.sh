#!/usr/bin/env bash
# Command-line tests of vxutil: output, exit status and usage errors of every command.
#
# usage: cli_test.sh PATH-TO-VXUTIL VERSION
set -u
vxutil=${1:?usage: cli_test.sh PATH-TO-VXUTIL VERSION}
version=${2:?usage: cli_test.sh PATH-TO-VXUTIL VERSION}
commands=(bytes field format guid lower match msg replace split trim upper)
passed=0
failed=0
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

pass() { passed=$((passed + 1)); }
fail() {
    failed=$((failed + 1))
    printf 'FAIL: vxutil%s\n' "$(printf ' [%s]' "${@:2}")"
    printf '      %s\n' "$1"
}

# Runs vxutil; its output lands in $scratch/out and $scratch/err, its status in $status.
invoke() {
    "$vxutil" "$@" >"$scratch/out" 2>"$scratch/err"
    status=$?
}

# t STATUS ARG... '=>' LINE...: vxutil ARG... exits with STATUS and prints exactly the LINEs (none
# for no output at all), and nothing on standard error.
t() {
    local expected=$1 args=() lines=()
    shift
    while (($# > 0)) && [[ $1 != '=>' ]]; do args+=("$1"); shift; done
    shift
    lines=("$@")
    invoke "${args[@]}"
    local want=""
    ((${#lines[@]} > 0)) && want=$(printf '%s\n' "${lines[@]}"; printf x) && want=${want%x}
    local got
    got=$(cat "$scratch/out"; printf x)
    got=${got%x}
    if ((status != expected)); then
        fail "exit status $status, expected $expected" "${args[@]}"
    elif [[ $got != "$want" ]]; then
        fail "output [$got], expected [$want]" "${args[@]}"
    elif [[ -s $scratch/err ]]; then
        fail "unexpected standard error: $(cat "$scratch/err")" "${args[@]}"
    else
        pass
    fi
}

# bad ARG...: bad usage; status 2, nothing on standard output, one line on standard error that
# points to the help of the command, or of the tool when no command applies.
bad() {
    invoke "$@"
    local hint="vxutil --help" c
    for c in "${commands[@]}"; do [[ ${1-} == "$c" ]] && hint="vxutil $c --help"; done
    if ((status != 2)); then
        fail "exit status $status, expected 2" "$@"
    elif [[ -s $scratch/out ]]; then
        fail "unexpected output: $(cat "$scratch/out")" "$@"
    elif (($(wc -l <"$scratch/err") != 1)) || [[ $(<"$scratch/err") != "vxutil: "?*" (try '$hint')" ]]; then
        fail "standard error: $(cat "$scratch/err")" "$@"
    else
        pass
    fi
}

# has TEXT ARG...: vxutil ARG... exits with 0 and prints a line that begins with TEXT.
has() {
    local text=$1 line
    shift
    invoke "$@"
    if ((status == 0)); then
        while IFS= read -r line; do
            [[ $line == "$text"* ]] && { pass; return; }
        done <"$scratch/out"
    fi
    fail "no line beginning with [$text] (status $status)" "$@"
}

# --- help and version -------------------------------------------------------------------------
t 0 --version '=>' "vxutil $version"
for c in "${commands[@]}"; do
    has "  $c " --help
    has "  $c " -h
    has "usage: vxutil $c " help "$c"
    has "usage: vxutil $c " "$c" --help
    has "usage: vxutil $c " "$c" x -h
done
has "usage: vxutil COMMAND" help
bad
bad nope
bad --nope
bad help nope
bad help match split

# --- match ------------------------------------------------------------------------------------
t 0 match 'a*c' abc '=>' 'yes abc'
t 0 match 'a?c' abc '=>' 'yes abc'
t 0 match '***' abc '=>' 'yes abc'
t 1 match 'a?' abc '=>' 'no  abc'
t 1 match abc ABC '=>' 'no  ABC'
t 0 match '' '' '=>' 'yes '
t 0 match '*' '' '=>' 'yes '
t 1 match '?' '' '=>' 'no  '
t 1 match 'a*c' abc abd ac '=>' 'yes abc' 'no  abd' 'yes ac'
# A * that first takes too little has to try again further on.
t 0 match '*ab' xabab '=>' 'yes xabab'
t 0 match 'a*b*c' aXcbc '=>' 'yes aXcbc'
t 0 match '*a?c' abcaXc '=>' 'yes abcaXc'
t 1 match '*x?' abcx '=>' 'no  abcx'
t 1 match 'a*b' aXbX '=>' 'no  aXbX'
# One character, not its bytes.
t 0 match '?' é '=>' 'yes é'
t 0 match '?€?' 'a€😀' '=>' 'yes a€😀'
t 0 match -- '--*' --x '=>' 'yes --x'
bad match
bad match 'a*'
bad match --nope a b

# --- split ------------------------------------------------------------------------------------
t 0 split X aXbXXc '=>' '[a]' '[b]' '[]' '[c]'
t 0 split --first X aXbXXc '=>' '[a]' '[bXXc]'
t 0 split X aXbXXc --first '=>' '[a]' '[bXXc]'
t 0 split X abc '=>' '[abc]'
t 1 split X '' '=>'
t 0 split , ',a,' '=>' '[]' '[a]' '[]'
t 0 split :: 'a::b:::c' '=>' '[a]' '[b]' '[:c]'
t 0 split --first :: '::' '=>' '[]' '[]'
t 0 split - -- --a '=>' '[]' '[]' '[a]'
t 0 split ' ' 'ä ö' '=>' '[ä]' '[ö]'
bad split '' abc
bad split X
bad split X a b
bad split --frist X a

# --- field ------------------------------------------------------------------------------------
t 0 field ';' 0 'a;b;c' '=>' a
t 0 field ';' 1 'a;b;c' '=>' b
t 0 field ';' 2 'a;b;c' '=>' c
t 0 field ';' 3 'a;b;c' '=>' ''
t 0 field ';' 2 'a;b' '=>' ''
t 0 field ';' 2 'a;b;' '=>' ''
t 0 field ';' 1 ';;x' '=>' ''
t 0 field ';' 0x1 'a;b' '=>' b
t 0 field ';' 4294967295 'a;b' '=>' ''
t 0 field é 1 'aébéc' '=>' b
bad field ';;' 1 'a;b'
bad field '' 1 'a;b'
bad field ';' -1 'a;b'
bad field ';' 4294967296 'a;b'
bad field ';' x 'a;b'
bad field ';' '' 'a;b'
bad field ';' 1

# --- trim -------------------------------------------------------------------------------------
t 0 trim - --a-- '=>' a
t 0 trim --leading - --a-- '=>' a--
t 0 trim --trailing - --a-- '=>' --a
t 0 trim --leading --trailing - --a-- '=>' a
t 0 trim - --- '=>' ---
t 0 trim --leading - --- '=>' ---
t 0 trim --trailing - --- '=>' ---
t 0 trim --set - --a-- '=>' a
t 0 trim --set --leading - --a-- '=>' a--
t 0 trim --set --trailing - --a-- '=>' --a
t 0 trim --set - --- '=>' ''
t 0 trim --set --leading - --- '=>' ''
t 0 trim --set ' -.' ' -.a b.- ' '=>' 'a b'
t 0 trim --set '' ' a ' '=>' ' a '
t 0 trim ' ' '   ' '=>' '   '
t 0 trim é ééaé '=>' a
bad trim ab x
bad trim '' x
bad trim -
bad trim - a b
bad trim --both - a

# --- replace, lower, upper ----------------------------------------------------------------------
t 0 replace a aa aba '=>' aabaa
t 0 replace ab '' abcab '=>' c
t 0 replace '' x abc '=>' abc
t 0 replace aa a aaaa '=>' aa
t 0 replace '{n}' 'ö' 'x{n}y{n}' '=>' xöyö
t 0 lower 'ÄBC Straße' '=>' 'äbc straße'
t 0 upper 'äbc straße' '=>' 'ÄBC STRAßE'
t 0 lower '' '=>' ''
bad replace a b
bad replace a b c d
bad lower
bad lower a b
bad upper

# --- bytes ------------------------------------------------------------------------------------
t 0 bytes 'hé€😀' '=>' '68 c3 a9 e2 82 ac f0 9f 98 80'
t 0 bytes '' '=>' ''
bad bytes
bad bytes a b

# --- format -----------------------------------------------------------------------------------
t 0 format 'plain' '=>' plain
t 0 format '100%% %s' done '=>' '100% done'
t 0 format '%d|%i|%u|%o|%x|%X' -42 +7 42 8 255 255 '=>' '-42|7|42|10|ff|FF'
t 0 format '%5d|%-5d|%05d|%+d' 42 42 42 42 '=>' '   42|42   |00042|+42'
t 0 format '%d %u' -2147483648 4294967295 '=>' '-2147483648 4294967295'
t 0 format '%ld %lu' -2147483648 4294967295 '=>' '-2147483648 4294967295'
t 0 format '%lld %I64u %llx' -9223372036854775808 18446744073709551615 0xfFfFfFfFfFfFfFfF \
    '=>' '-9223372036854775808 18446744073709551615 ffffffffffffffff'
t 0 format '%hd %hhu' 65537 257 '=>' '1 1'
t 0 format '%.2f|%e|%g|%Lf' 3.14159 1500 0.0001 2.5 '=>' '3.14|1.500000e+03|0.0001|2.500000'
t 0 format '[%s] [%5s] [%-5s] [%.2s]' wörld ab ab abcdef '=>' '[wörld] [   ab] [ab   ] [ab]'
t 0 format '%S|%hs|%ls|%ws' é é é é '=>' 'é|é|é|é'
t 0 format '%c|%lc|%C|%hc' xyz € abc abc '=>' 'x|€|a|a'
t 0 format '%d%d%d%d%d%d%d%d' 1 2 3 4 5 6 7 8 '=>' 12345678
t 0 format -- '--%d--' 5 '=>' --5--
# The text is cut at 1023 characters, whichever conversion makes it long.
long600a=$(printf 'a%.0s' {1..600})
long600b=$(printf 'b%.0s' {1..600})
long2000=$(printf 'c%.0s' {1..2000})
t 0 format '%-2000s|' x '=>' "x$(printf ' %.0s' {1..1022})"
t 0 format '%s%s' "$long600a" "$long600b" '=>' "$long600a${long600b:0:423}"
t 0 format "$long2000" '=>' "${long2000:0:1023}"
t 0 format '%s' "$long2000" '=>' "${long2000:0:1023}"
t 0 format '%.1022s|%s' "$long2000" xyz '=>' "${long2000:0:1022}|"
bad format
bad format '%d'
bad format '%d' 1 2
bad format 'no conversion' 1
bad format '%d' x
bad format '%d' 1.5
bad format '%d' 2147483648
bad format '%d' ''
bad format '%u' -1
bad format '%ld' 2147483648
bad format '%lu' 4294967296
bad format '%llu' 18446744073709551616
bad format '%f' 1.5x
bad format '%f' ''
bad format '%*d' 5 1
bad format '%.*f' 2 1.5
bad format '%n' 1
bad format '%p' 1
bad format '%q' 1
bad format '%Ld' 1
bad format '%hhs' x
bad format '%c' ''
bad format 'abc%' 1
bad format '%d%d%d%d%d%d%d%d%d' 1 2 3 4 5 6 7 8 9

# --- guid -----------------------------------------------------------------------------------------
t 0 guid parse 6BA7B810-9DAD-11D1-80B4-00C04FD430C8 '=>' 6ba7b810-9dad-11d1-80b4-00c04fd430c8 initialized
t 0 guid parse 0 '=>' 00000000-0000-0000-0000-000000000000 'not initialized'
t 0 guid parse 00000001-0000-0001-0000-000000000000 '=>' 00000001-0000-0001-0000-000000000000 'not initialized'
t 0 guid compare 0 6ba7b810-9dad-11d1-80b4-00c04fd430c8 '=>' less
t 0 guid compare 00000002-0000-0000-0000-000000000000 00000001-ffff-ffff-ffff-ffffffffffff '=>' greater
t 0 guid compare 6ba7b810-9dad-11d1-80b4-00c04fd430c8 6BA7B810-9DAD-11D1-80B4-00C04FD430C8 '=>' equal
# New guids: well formed, version 1, all different.
invoke guid new 5
if ((status == 0)) && [[ $(grep -cE '^[0-9a-f]{8}-[0-9a-f]{4}-1[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}$' "$scratch/out") == 5 ]] \
    && [[ $(sort -u "$scratch/out" | wc -l) == 5 ]]; then pass; else fail "five new guids: $(cat "$scratch/out")" guid new 5; fi
bad guid
bad guid frob
bad guid parse
bad guid parse '{6ba7b810-9dad-11d1-80b4-00c04fd430c8}'
bad guid parse 6ba7b810-9dad-11d1-80b4-00c04fd430c
bad guid compare 0
bad guid new 1001

# --- msg ------------------------------------------------------------------------------------------
t 0 msg 'E: File [File] not found!' 'File=C:\a.txt' '=>' 'File C:\a.txt not found!'
t 0 msg --severity 'w:  careful' '=>' warning careful
t 0 msg --severity 'x: y' '=>' none y
t 0 msg --severity Hello '=>' none Hello
t 0 msg 'Size [Size%5.2f] mm' Size=2 '=>' 'Size  2.00 mm'
t 0 msg '[N%04d]|[C%c]|[S%S]|' N=7 C=xyz S=gone '=>' '0007|x||'
t 0 msg '$2 before $1' one two '=>' 'two before one'
t 0 msg '$12 and $1' a '=>' 'a2 and $1'
t 0 msg '\[File] [File]' File=x '=>' '\[File] x'
t 0 msg 'Count %d of %s' 3 all '=>' 'Count 3 of all'
t 0 msg 'True is [B]' B=True '=>' 'True is True'
invoke msg 'no placeholder' X=1
if ((status == 1)) && [[ $(cat "$scratch/out") == 'no placeholder' ]] && [[ $(wc -l <"$scratch/err") == 1 ]]; then pass; else fail "status $status for an unplaced value" msg 'no placeholder' X=1; fi
bad msg
bad msg --frob x

# --- the environment ----------------------------------------------------------------------------
# Arguments decode as UTF-8 whatever the locale of the environment says.
for locale in C POSIX C.UTF-8; do
    LC_ALL=$locale t 0 bytes é '=>' 'c3 a9'
    LC_ALL=$locale t 0 upper é '=>' É
done
# Output that cannot be written is reported.
if [[ -w /dev/full ]]; then
    "$vxutil" lower X >/dev/full 2>"$scratch/err"
    status=$?
    if ((status == 3)) && [[ $(wc -l <"$scratch/err") == 1 ]]; then pass; else fail "status $status writing to /dev/full" lower X; fi
fi

printf '%d passed, %d failed\n' "$passed" "$failed"
((failed == 0))
