#!/usr/bin/env bash
# Command-line tests of vxutil: output, exit status and usage errors of every command.
#
# usage: cli_test.sh VERSION COMMAND...
#   COMMAND... runs vxutil: its path, or a runner and its arguments followed by the path.
set -u
version=${1:?usage: cli_test.sh VERSION COMMAND...}
shift
(($# > 0)) || { echo "usage: cli_test.sh VERSION COMMAND..." >&2; exit 2; }
vxutil=("$@")
# A Windows build runs under Wine, where the Linux file system is the drive Z:, PATH lists are
# separated by ';' and wide text is UTF-16; what only the POSIX mapping does is checked there only.
windows=0
[[ ${vxutil[${#vxutil[@]}-1]} == *.exe ]] && windows=1
drive=C sep=:
((windows)) && drive=Z sep=';'
commands=(base64 bytes cdoc cond crc32 date db field format guid gunzip gzip loc lock log lower ls match msg path pe pipe ps reg replace split time trim upper which xml)
# QR symbols exist where the library was built with qrcodegen (not on Windows).
"${vxutil[@]}" help qr >/dev/null 2>&1 && commands+=(qr)
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
# Wine, very rarely, fails to start a program at all or ends it before it runs: status 127 with
# no output, or a failure with no output and nothing on standard error (seen once as status 1
# from `format`, which cannot fail silently). Such a run is made once more, with standard input
# from its start when that is a file (a pipe is consumed, so its cases feed files through `fed`).
# A command that fails silently by design (`match`, `which`, ...) then just runs twice.
invoke() {
    "${vxutil[@]}" "$@" >"$scratch/out" 2>"$scratch/err"
    status=$?
    if ((windows && status != 0)) && [[ ! -s $scratch/out ]] &&
        { ((status == 127)) || [[ ! -s $scratch/err ]]; }; then
        local first=$status firstErr
        firstErr=$(head -c 300 "$scratch/err")
        if [[ -f /dev/stdin ]]; then
            "${vxutil[@]}" "$@" </dev/stdin >"$scratch/out" 2>"$scratch/err"
        else
            "${vxutil[@]}" "$@" >"$scratch/out" 2>"$scratch/err"
        fi
        status=$?
        if ((status != first)); then
            printf 'note: under Wine vxutil%s first gave status %s and no output (%s), then %s\n' \
                "$(printf ' [%s]' "$@")" "$first" "$firstErr" "$status"
        fi
    fi
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
        fail "exit status $status, expected $expected; standard error: $(cat "$scratch/err")" \
            "${args[@]}"
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
if ((windows)); then
    t 1 match '?€?' 'a€😀' '=>' 'no  a€😀' # a character above U+FFFF is two units
else
    t 0 match '?€?' 'a€😀' '=>' 'yes a€😀'
fi
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

# --- path -----------------------------------------------------------------------------------------
t 0 path normalize 'C:/a//b/../c/./' '=>' 'C:\a\c'
t 0 path normalize --directory 'C:/a//b/../c/./' '=>' 'C:\a\c\'
t 0 path normalize 'C:\..\x' 'C:\a\.\..\b' '\\\\server\x' 'C:x' '=>' 'C:\x' 'C:\a\b' '\\server\x' 'C:x'
t 0 path normalize '"C:\a b\c" -x' '=>' 'C:\a b\c'
t 0 path normalize '' '=>' ''
VX_TEST_ROOT='C:\root' t 0 path normalize '%VX_TEST_ROOT%\a\%VX_TEST_ROOT%' 'C:\a\%VX_UNSET_NAME%\..\x' \
    '=>' 'C:\root\a\C:\root' 'C:\a\x'
winScratch="$drive:${scratch//\//\\}"
cd "$scratch" || exit 1
t 0 path normalize x '\y' '=>' "$winScratch\\x" "$drive:\\y"
cd - >/dev/null || exit 1
t 0 path parts 'c:\dir.ext\a.b.c' '=>' 'drive     C:' 'path      \dir.ext\' 'name      a.b' 'extension c'
t 0 path parts --first-dot 'c:\dir.ext\a.b.c' '=>' 'drive     C:' 'path      \dir.ext\' 'name      a' 'extension b.c'
t 0 path parts '\\srv\share\.hidden' '=>' 'drive     \\srv' 'path      \share\' 'name      ' 'extension hidden'
t 0 path parts 'C:\' '=>' 'drive     C:' 'path      \' 'name      ' 'extension '
t 0 path relative 'C:\A\B\File.TXT' 'c:\a' '=>' '.\b\file.txt'
t 0 path relative 'C:\A\B\File.TXT' 'c:\a\c\' '=>' '..\b\file.txt'
t 0 path relative 'C:\A\B\File.TXT' 'D:\' '=>' 'C:\A\B\File.TXT'
t 0 path relative 'C:\foobar\x' 'C:\foo' '=>' '..\foobar\x'
t 1 path relative 'C:\' 'C:\a' '=>'
mkdir -p "$scratch/Data/Sub"
if ((!windows)); then # the drive table and shares of the POSIX mapping
VX_DRIVES="Q=$scratch" t 0 path native 'q:\data\SUB\new.txt' '=>' "$scratch/Data/Sub/new.txt"
VX_DRIVES="Q=$scratch" t 0 path native 'Q:\' '=>' "$scratch"
VX_DRIVES= t 1 path native 'Q:\x' '=>'
VX_UNC_ROOT= t 1 path native '\\srv\share\x' '=>'
VX_UNC_ROOT="$scratch" t 0 path native '\\srv\share\x' '=>' "$scratch/srv/share/x"
fi
bad path
bad path frob x
bad path normalize
bad path parts
bad path parts a b
bad path relative a
bad path relative a b c
bad path native
bad path native a b
bad path parts --directory x
bad path normalize --first-dot x
bad path normalize --nope x

# --- crc32 ----------------------------------------------------------------------------------------
printf 123456789 >"$scratch/nine"
: >"$scratch/empty"
printf 'The quick brown fox jumps over the lazy dog' >"$scratch/fox file"
t 0 crc32 "$scratch/nine" "$scratch/empty" "$scratch/fox file" \
    '=>' "cbf43926  $scratch/nine" "00000000  $scratch/empty" "414fa339  $scratch/fox file"
cd "$scratch" || exit 1
t 0 crc32 NINE '=>' 'cbf43926  NINE'
cd - >/dev/null || exit 1
# A missing file: the others are still reported, the missing one on standard error.
invoke crc32 "$scratch/missing" "$scratch/nine" "$scratch/Data"
if ((status == 1)) && [[ $(cat "$scratch/out") == "cbf43926  $scratch/nine" ]] && [[ $(wc -l <"$scratch/err") == 2 ]]; then
    pass
else
    fail "status $status, output $(cat "$scratch/out"), errors $(cat "$scratch/err")" crc32 missing nine Data
fi
# The same value as gzip's trailer, on data that crosses the 512 KiB read blocks.
if command -v gzip >/dev/null && command -v od >/dev/null; then
    head -c 1500007 /dev/urandom >"$scratch/random"
    expected=$(gzip -c "$scratch/random" | tail -c 8 | od -An -tx1 -N4 | awk '{print $4 $3 $2 $1}')
    t 0 crc32 "$scratch/random" '=>' "$expected  $scratch/random"
fi
bad crc32
bad crc32 --nope x

# --- ls -------------------------------------------------------------------------------------------
tree="$scratch/tree"
mkdir -p "$tree/Sub/deep" "$tree/sub" "$tree/.hid"
for f in a.txt B.TXT .h noext Sub/x.txt Sub/deep/y.txt sub/z.txt .hid/q.txt; do : >"$tree/$f"; done
chmod 444 "$tree/B.TXT"
ln -s .. "$tree/Sub/up"
t 0 ls "$tree" '=>' 'd--h-  .hid\' 'd----  Sub\' 'd----  sub\' '---h-  .h' '-----  a.txt' '--r--  B.TXT' '-----  noext'
t 0 ls "$tree" '*.TXT' '=>' '-----  a.txt' '--r--  B.TXT'
t 0 ls "$tree" '*.' --mask 2 '=>' 'd----  Sub\' 'd----  sub\' '-----  noext'
t 0 ls --mask 0x11 "$tree" '=>' '---h-  .h' '-----  a.txt' '-----  noext'
t 0 ls "$tree/SUB" '=>' 'd----  deep\' 'dl---  up\' '-----  x.txt'
t 0 ls "$drive:${tree//\//\\}\\sub" '=>' '-----  z.txt'
t 0 ls "$tree/sub" 'nothing*' '=>'
# The files of a sub-directory, and of all below it, come before the directory's own; links are
# not entered.
t 0 ls --recursive "$tree" '=>' '.hid\q.txt' 'Sub\deep\y.txt' 'Sub\x.txt' 'sub\z.txt' '.h' 'a.txt' 'B.TXT' 'noext'
t 0 ls "$tree" '*.txt' --recursive --mask 3 '=>' 'Sub\deep\y.txt' 'Sub\x.txt' 'sub\z.txt' 'a.txt'
# A name that is not UTF-8, and one with a terminal escape: printed so that the first can be given
# back as it is, the second shown, not obeyed. (Native names of bytes, and control characters in
# names, are POSIX matters: Windows names are UTF-16 and have no control characters.)
if ((!windows)); then
    odd="$scratch/odd"
    mkdir -p "$odd"
    printf 'raw' >"$odd/"$'caf\xe9'
    : >"$odd/"$'red\e[31m'
    t 0 ls "$odd" '=>' $'-----  caf\xe9' '-----  red\x1b[31m'
    t 0 crc32 "$odd/"$'caf\xe9' '=>' "1ab3db55  $odd/"$'caf\xe9'
fi
invoke ls "$tree/missing"
if ((status == 1)) && [[ ! -s $scratch/out ]] && [[ $(wc -l <"$scratch/err") == 1 ]]; then pass; else fail "status $status for a missing directory" ls missing; fi
bad ls
bad ls a b c
bad ls "$tree" --mask
bad ls "$tree" --mask -1
bad ls "$tree" --mask x
bad ls "$tree" --mask 1 --mask 2
bad ls "$tree" --all

# --- which ----------------------------------------------------------------------------------------
# Windows form of a native path on the default drive table.
win() { local p=${1//\//\\}; printf '%s:%s' "$drive" "$p"; }
paths="$scratch/paths"
mkdir -p "$paths/one" "$paths/two/deep/er"
: >"$paths/two/tool"
: >"$paths/one/.hidden"
: >"$paths/two/deep/er/tool"
: >"$paths/one/other"
t 0 which tool "$paths/one$sep$paths/two" '=>' "$(win "$paths/two/tool")"
# A deep hit in an earlier directory beats a direct hit in a later one.
t 0 which --recursive tool "$paths/two/deep$sep$paths/two" '=>' "$(win "$paths/two/deep/er/tool")"
t 0 which 'er\tool' "$paths/two/deep" '=>' "$(win "$paths/two/deep/er/tool")"
t 1 which tool "$paths/one" '=>'
t 1 which tool "$paths/missing" '=>'
# Missing directories and repeated ones (case ignored) are dropped; the first spelling stays.
t 0 which --all x "$paths/ONE$sep$paths/missing$sep$paths/one$sep$paths/two" '=>' "$(win "$paths/ONE")\\" "$(win "$paths/two")\\"
t 0 which --semicolons tool "$(win "$paths/one");$(win "$paths/two")" '=>' "$(win "$paths/two/tool")"
bad which
bad which tool
bad which --frob tool "$paths"

# --- the environment ----------------------------------------------------------------------------
# Arguments decode as UTF-8 whatever the locale of the environment says.
# (Wine decodes the arguments of a Windows program by the locale: there only a UTF-8 one counts.)
locales=(C POSIX C.UTF-8)
((windows)) && locales=(C.UTF-8)
for locale in "${locales[@]}"; do
    LC_ALL=$locale t 0 bytes é '=>' 'c3 a9'
    LC_ALL=$locale t 0 upper é '=>' É
done
# Output that cannot be written is reported.
if [[ -w /dev/full ]]; then
    "${vxutil[@]}" lower X >/dev/full 2>"$scratch/err"
    status=$?
    if ((status == 3)) && [[ $(wc -l <"$scratch/err") == 1 ]]; then pass; else fail "status $status writing to /dev/full" lower X; fi
fi

# --- cdoc ---------------------------------------------------------------------------------------
# fails STATUS ARG...: vxutil ARG... exits with STATUS, prints nothing and one line on standard error.
fails() {
    local expected=$1
    shift
    invoke "$@"
    if ((status == expected)) && [[ ! -s $scratch/out ]] && (($(wc -l <"$scratch/err") == 1)); then
        pass
    else
        fail "status $status, output [$(cat "$scratch/out")], errors [$(cat "$scratch/err")]" "$@"
    fi
}
# same A B: the files A and B hold the same bytes.
same() {
    if cmp -s "$1" "$2"; then pass; else fail "$1 and $2 differ" cmp "$1" "$2"; fi
}
cdoc="$scratch/cdoc"
mkdir -p "$cdoc"
printf 'hi\n' >"$cdoc/hi.txt"
printf 'PNG data' >"$cdoc/Pic.PNG"
printf 'JPEG' >"$cdoc/x.JPEG"
t 0 cdoc add "$cdoc/one.vxc" a "$cdoc/hi.txt" '=>'
# The block, the magic, the entry (length, name, start, end), the end mark, the magic and D.
printf 'hi\nvxcompoundDoc\x01\0\0\0\0\0\0\0a\0\0\0\0\0\0\0\0\x03\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0vxcompoundDoc\x03\0\0\0\0\0\0\0' \
    >"$cdoc/one.expected"
same "$cdoc/one.vxc" "$cdoc/one.expected"
t 0 cdoc add "$cdoc/d.vxc" greeting "$cdoc/hi.txt" '=>'
t 0 cdoc add "$cdoc/d.vxc" a "$cdoc/Pic.PNG" '=>'
t 0 cdoc list "$cdoc/d.vxc" '=>' '         8  a' '         3  greeting'
# Names are shown, never obeyed: a terminal escape and a line feed in a name come out as \xHH.
t 0 cdoc add "$cdoc/esc.vxc" $'red\e[31m\nline' "$cdoc/hi.txt" '=>'
t 0 cdoc list "$cdoc/esc.vxc" '=>' '         3  red\x1b[31m\x0aline'
t 0 cdoc cat "$cdoc/d.vxc" greeting '=>' hi
cp "$cdoc/d.vxc" "$cdoc/before.vxc"
fails 1 cdoc add "$cdoc/d.vxc" a "$cdoc/hi.txt"
fails 1 cdoc cat "$cdoc/d.vxc" missing
same "$cdoc/d.vxc" "$cdoc/before.vxc"
t 1 cdoc thumbnail "$cdoc/d.vxc" '=>'
t 0 cdoc thumbnail "$cdoc/d.vxc" "$cdoc/Pic.PNG" '=>'
t 0 cdoc thumbnail "$cdoc/d.vxc" '=>' 'png, 8 bytes'
t 0 cdoc thumbnail "$cdoc/d.vxc" "$cdoc/x.JPEG" '=>'
t 0 cdoc thumbnail "$cdoc/d.vxc" '=>' 'jpeg, 4 bytes'
t 0 cdoc list "$cdoc/d.vxc" '=>' '         8  a' '         3  greeting' '         4  thumbnail' '        14  thumbnailformat'
fails 1 cdoc thumbnail "$cdoc/d.vxc" "$cdoc/missing.png"
# Names of 127 bytes are taken, of 128 refused, and the document stays as it was.
t 0 cdoc add "$cdoc/d.vxc" "$(printf 'n%.0s' {1..127})" "$cdoc/hi.txt" '=>'
cp "$cdoc/d.vxc" "$cdoc/before.vxc"
fails 1 cdoc add "$cdoc/d.vxc" "$(printf 'n%.0s' {1..128})" "$cdoc/hi.txt"
same "$cdoc/d.vxc" "$cdoc/before.vxc"
# What is no document: a missing file, plain text, a cut document.
head -c 60 "$cdoc/d.vxc" >"$cdoc/cut.vxc"
fails 1 cdoc list "$cdoc/missing.vxc"
fails 1 cdoc list "$cdoc/hi.txt"
fails 1 cdoc list "$cdoc/cut.vxc"
fails 1 cdoc add "$cdoc/cut.vxc" b "$cdoc/hi.txt"
fails 1 cdoc add "$cdoc/d.vxc" b "$cdoc/missing.txt"
t 0 ls "$cdoc" '*.tmp' '=>'
bad cdoc
bad cdoc frob x
bad cdoc list
bad cdoc list a b
bad cdoc cat "$cdoc/d.vxc"
bad cdoc cat "$cdoc/d.vxc" ''
bad cdoc add "$cdoc/d.vxc" a
bad cdoc thumbnail a b c
bad cdoc list --all x

# --- loc ----------------------------------------------------------------------------------------
lang="$scratch/lang"
mkdir -p "$lang/de" "$lang/fr" "$lang/en"
printf '%s\n' 'Msg_EWriteFile  E: Fehler beim Schreiben der Datei [File] ; Datei' 'Msg_Hi Hallo [Name]\nWillkommen' \
    'Msg_Alias $$Msg_Hi' '#include common.loc' ';;cmd(replace:::Hallo:::Servus)' >"$lang/de/vxUtils.loc"
printf '%s\n' 'Msg_Common "gemeinsam; mit Semikolon"' 'Msg_Hi nie gesehen' >"$lang/de/common.loc"
printf '\xef\xbb\xbfMsg_EWriteFile Erreur d\xe2\x80\x99\xc3\xa9criture du fichier [File]\n' >"$lang/fr/vxUtils.loc"
printf '%s\n' 'Msg_Hi Moin [Name]' >"$lang/de/vxUtils_nord.loc"
printf '%s\n' 'Msg_Only only in app' >"$lang/de/app.loc"
t 0 loc get --path "$lang" --lang de Msg_Hi Name=Ada '=>' 'Servus Ada' Willkommen
t 0 loc get --path "$lang" --default-lang de Msg_Common '=>' 'gemeinsam; mit Semikolon'
t 0 loc get --path "$lang" --lang de Msg_Alias Name=Bo '=>' 'Servus Bo' Willkommen
t 0 loc get --path "$lang" --lang de --overlay nord Msg_Hi Name=Ada '=>' 'Moin Ada'
# Not found: the default text, the id itself without --text, and exit status 1.
t 1 loc get --path "$lang" --lang en Msg_Hi Name=Ada '=>' Msg_Hi
t 1 loc get --path "$lang" --lang en --text 'Hello [Name]' Msg_Hi Name=Ada '=>' 'Hello Ada'
# One default file does not fall back to the default language; a list of files does.
t 1 loc get --path "$lang" --lang en --default-lang de --default-file app.loc Msg_Only '=>' Msg_Only
t 0 loc get --path "$lang" --lang en --default-lang de --file app.loc Msg_Only '=>' 'only in app'
# The first file found is asked, and only it.
t 1 loc get --path "$lang" --lang de --file vxUtils.loc --file app.loc Msg_Only '=>' Msg_Only
t 0 loc dump "$lang/de/vxUtils.loc" '=>' '#include common.loc' 'Msg_Alias Servus [Name]\nWillkommen' \
    'Msg_Common gemeinsam; mit Semikolon' 'Msg_EWriteFile E: Fehler beim Schreiben der Datei [File]' \
    'Msg_Hi Servus [Name]\nWillkommen'
t 0 loc dump --overlay nord "$lang/de/app.loc" '=>' 'Msg_Only only in app'
t 0 loc dump --overlay nord "$lang/de/vxUtils.loc" '=>' '#include common.loc' 'Msg_Alias Moin [Name]' \
    'Msg_Common gemeinsam; mit Semikolon' 'Msg_EWriteFile E: Fehler beim Schreiben der Datei [File]' 'Msg_Hi Moin [Name]'
t 1 loc dump "$lang/de/missing.loc" '=>'
# A write that fails reports in the language asked for, with the file filled in.
t 1 loc write --path "$lang" --lang de "$lang/missing/plan.dxf" '=>' "Fehler beim Schreiben der Datei $(win "$lang/missing/plan.dxf")"
t 1 loc write --path "$lang" --lang fr "$lang/missing/plan.dxf" '=>' "Erreur d’écriture du fichier $(win "$lang/missing/plan.dxf")"
t 1 loc write --path "$lang" --lang en "$lang/missing/plan.dxf" '=>' "Error writing file $(win "$lang/missing/plan.dxf")"
t 0 loc write --path "$lang" "$lang/made.txt" '=>' "$(win "$lang/made.txt")"
bad loc
bad loc frob
bad loc get
bad loc get --lang
bad loc get --frob x Msg_Hi
bad loc get Msg_Hi novalue
bad loc get Msg_Hi =x
bad loc dump
bad loc dump a b
bad loc dump --lang de a
bad loc write
bad loc write a b

# --- base64, gzip, gunzip, pe ---------------------------------------------------------------------
# buf_check TEXT COMMAND...: the shell command succeeds; TEXT says what it checks.
buf_check() {
    local what=$1
    shift
    if "$@"; then pass; else fail "$what" "$@"; fi
}
buf="$scratch/buf"
mkdir -p "$buf"
printf Man >"$buf/man"
t 0 base64 encode "$buf/man" '=>' TWFu
# fed INPUT ARG...: t ARG... with the bytes of INPUT (a printf format) on standard input.
fed() {
    printf "$1" >"$scratch/in"
    shift
    t "$@" <"$scratch/in"
}
fed Man 0 base64 encode '=>' TWFu
fed M 0 base64 encode '=>' TQ==
fed Ma 0 base64 encode '=>' TWE=
fed '' 0 base64 encode '=>' ''
fed 'TWFuCg==\n' 0 base64 decode '=>' Man
# Decoding ends at the first '=' and at the first character outside the alphabet, a line break too.
fed 'TWFuCg\nTWFu' 0 base64 decode '=>' Man
fed 'TWFuCg==TWFu' 0 base64 decode '=>' Man
fed 'TWFuCg TWFu' 0 base64 decode '=>' Man
# Every byte value, both ways, and the same text as the system's base64.
for i in $(seq 0 255); do printf "\\$(printf '%03o' "$i")"; done >"$buf/bytes"
"${vxutil[@]}" base64 encode "$buf/bytes" >"$buf/bytes.b64"
"${vxutil[@]}" base64 decode "$buf/bytes.b64" >"$buf/bytes.back"
buf_check "base64 round trip of all bytes" cmp -s "$buf/bytes" "$buf/bytes.back"
if command -v base64 >/dev/null; then
    buf_check "same text as base64 -w0" test "$(base64 -w0 "$buf/bytes")" == "$(cat "$buf/bytes.b64")"
fi
fails 1 base64 encode "$buf/missing"
bad base64
bad base64 frob
bad base64 encode a b
bad base64 --nope encode

head -c 70000 /dev/urandom >"$buf/plan.txt"
printf 'plain text, repeated; ' >>"$buf/plan.txt"
cp "$buf/plan.txt" "$buf/original"
has "$buf/plan.txt.gz  70022 -> " gzip "$buf/plan.txt"
buf_check "gzip keeps its source" cmp -s "$buf/plan.txt" "$buf/original"
if command -v gunzip >/dev/null; then
    buf_check "gunzip reads what gzip wrote" cmp -s <(gunzip -c "$buf/plan.txt.gz") "$buf/original"
fi
# Nothing is replaced without --force.
fails 1 gzip "$buf/plan.txt"
has "$buf/plan.txt.gz  70022 -> " gzip --force "$buf/plan.txt"
rm "$buf/plan.txt"
has "$buf/plan.txt  " gunzip "$buf/plan.txt.gz"
buf_check "gunzip gives the bytes back" cmp -s "$buf/plan.txt" "$buf/original"
fails 1 gunzip "$buf/plan.txt.gz"
has "$buf/plan.txt  " gunzip --force "$buf/plan.txt.gz"
if command -v gzip >/dev/null; then
    { gzip -c "$buf/man"; gzip -9 -c "$buf/original"; } >"$buf/two.gz"
    has "$buf/two  " gunzip "$buf/two.gz"
    buf_check "both members of a system gzip file" cmp -s "$buf/two" <(cat "$buf/man" "$buf/original")
fi
# Data after the last member is left out, and said so on standard error.
{ cat "$buf/plan.txt.gz"; printf 'not gzip'; } >"$buf/tail.gz"
invoke gunzip "$buf/tail.gz"
if ((status == 0)) && [[ $(<"$scratch/err") == *"decompression OK, 8 bytes after the gzip data ignored" ]] &&
    cmp -s "$buf/tail" "$buf/original"; then pass; else fail "trailing data [$(<"$scratch/err")]" gunzip tail.gz; fi
# Damaged and foreign data leave no target behind.
head -c 30000 "$buf/plan.txt.gz" >"$buf/cut.gz"
fails 1 gunzip "$buf/cut.gz"
buf_check "no partial target" test ! -e "$buf/cut"
# --force with damaged data keeps the file it would have replaced, and leaves nothing beside it.
echo "kept" >"$buf/cut"
fails 1 gunzip --force "$buf/cut.gz"
buf_check "a failed --force keeps the old target" test "$(cat "$buf/cut")" = kept
buf_check "nothing left beside it" test -z "$(find "$buf" -name '*.tmp')"
rm -f "$buf/cut"
fails 1 gunzip "$buf/man.gz" # missing
cp "$buf/man" "$buf/plain.gz"
fails 1 gunzip "$buf/plain.gz"
buf_check "no target of foreign data" test ! -e "$buf/plain"
# The progress bar, asked for: one line on standard error that ends at 100%.
head -c 2100000 /dev/zero >"$buf/zeros"
invoke gzip --progress "$buf/zeros"
if ((status == 0)) && [[ $(<"$scratch/err") == *'] 100%' ]] && (($(wc -l <"$scratch/err") == 1)); then pass; else fail "progress bar [$(tail -c 60 "$scratch/err")]" gzip --progress zeros; fi
bad gzip
bad gzip a b
bad gzip --nope x
bad gunzip "$buf/plan.txt"
bad gunzip

# PE images: "MZ", the signature's offset 0x80 at 0x3C, "PE\0\0", the magic at 0x98.
mkpe() {
    { printf 'MZ'; head -c 58 /dev/zero; printf '\x80\0\0\0'; head -c 64 /dev/zero; printf 'PE\0\0'
      head -c 20 /dev/zero; printf "$2"; head -c 870 /dev/zero; } >"$1"
}
# poke FILE OFFSET BYTES: writes BYTES (printf text) at OFFSET.
poke() { printf "$3" | dd of="$1" bs=1 seek=$(($2)) conv=notrunc status=none; }
mkpe "$buf/x86.exe" '\x0b\x01'
mkpe "$buf/x64.exe" '\x0b\x02'
mkpe "$buf/any.exe" '\x0b\x01'
# One section (0x2000, raw at 0x200) holding the managed header at 0x2010, flags 1 at 0x220.
poke "$buf/any.exe" 0x86 '\x01'
poke "$buf/any.exe" 0x94 '\xf0'
poke "$buf/any.exe" 0x178 '\x10\x20\0\0\x48'
poke "$buf/any.exe" 0x190 '\0\x01\0\0\0\x20\0\0\0\x01\0\0\0\x02'
poke "$buf/any.exe" 0x220 '\x01'
t 0 pe "$buf/x86.exe" '=>' 32-bit
t 0 pe "$buf/x64.exe" '=>' 64-bit
t 0 pe "$buf/any.exe" '=>' 'any (managed, runs as 32 or 64 bits)'
poke "$buf/any.exe" 0x220 '\x03'
t 0 pe "$buf/any.exe" '=>' 32-bit
t 1 pe "$buf/man" '=>' unknown
t 1 pe "$buf/missing.exe" '=>' unknown
bad pe
bad pe a b

# --- date, time ----------------------------------------------------------------------------------
t 0 date info 2024-02-29 '=>' 2024/02/29 'weekday thursday' 'week 9' 'day of year 60' 'leap year yes'
t 0 date info 2021/01/01 '=>' 2021/01/01 'weekday friday' 'week 1' 'day of year 1' 'leap year no'
t 0 date info 2024-12-30 '=>' 2024/12/30 'weekday monday' 'week 1' 'day of year 365' 'leap year yes'
t 0 date add 2024-01-31 +1m '=>' 2024/02/29
t 0 date add 2024-02-29 +1y -10d '=>' 2025/02/18
t 0 date add 2024-01-05 +1wd '=>' 2024/01/08
t 0 date add 2024-01-08 -1wd +2w '=>' 2024/01/19
t 0 date diff 2024-01-01 2023-12-31 '=>' 1
t 0 date diff 2023-12-31 2024-01-01 '=>' -1
t 0 date diff 2028-03-01 2024-03-01 '=>' 1461
t 0 date easter 2024 '=>' 2024/03/31
t 0 date easter 2025 '=>' 2025/04/20
cal=$scratch/holidays.txt
printf '# office\nweekly saturday\nweekly sun\nholiday 2024-12-25\nyearly 12-26\nworkday 2024-12-28\n' >"$cal"
t 0 date add 2024-12-24 +1wd --holidays "$cal" '=>' 2024/12/27
t 0 date add 2024-12-24 +2wd --holidays "$cal" '=>' 2024/12/28
t 0 date add --holidays "$cal" 2024-12-24 +3wd '=>' 2024/12/30
printf 'weekly monday\nweekly tuesday\nweekly wednesday\nweekly thursday\nweekly friday\nweekly saturday\nweekly sunday\n' >"$scratch/never.txt"
bad date add 0003-01-01 -1wd --holidays "$scratch/never.txt"
printf 'monthly 5\n' >"$scratch/odd.txt"
bad date add 2024-01-01 +1wd --holidays "$scratch/odd.txt"
bad date add 2024-01-01 +1wd --holidays "$scratch/missing.txt"
bad date add 2024-01-01 +1wd --holidays
bad date info 2023-02-29
bad date info 2023-13-01
bad date info 2023/1
bad date info yesterday
bad date add 2024-01-01 3d
bad date add 2024-01-01 +3q
bad date add 2024-01-01
bad date easter 1500
bad date diff 2024-01-01
bad date
bad date when
t 0 time parse 12:00:00:999 '=>' 12:00:00:231 'second of day 43200'
t 0 time parse 24 '=>' 00:00:00:000 'second of day 0'
t 0 time add 23:59:59 +1s '=>' 00:00:00:000 'days +1'
t 0 time add 01:00 -2h '=>' 23:00:00:000 'days -1'
t 0 time add 12:00 +4294967295h '=>' 03:00:00:000 'days +178956971'
t 0 time diff 13:00 12:00 '=>' '+0d 01:00:00.000'
t 0 time diff 12:00 12:00 '=>' '-0d 00:00:00.000'
t 0 time stamp '2023-02-03 01:02:03:004' '=>' '2023/02/03 01:02:03:004'
t 0 time stamp 2023/02/03 '=>' '2023/02/03 24:00:00:000'
bad time parse 25:00
bad time parse 12:60
bad time add 12:00 +1d
bad time stamp '2023.02.03 01:02'
bad time
has 20 time now
# --- xml ----------------------------------------------------------------------------------------
xml="$scratch/xml"
mkdir -p "$xml"
printf '<?xml version="1.0"?>\n<!-- rows -->\n<db v="2">\n <row id="1" name="a &amp; b">  first  </row>\n <row id="2">second</row>\n <other><row id="3">deep</row></other>\n</db>\n' >"$xml/a.xml"
printf '<?xml version="1.0" encoding="ISO-8859-1"?><r a="caf\xe9"/>' >"$xml/latin1.xml"
printf '<a><b></a>' >"$xml/bad.xml"
: >"$xml/empty.xml"
t 0 xml check "$xml/a.xml" '=>' 'ok, 5 elements'
t 0 xml check "$xml/empty.xml" '=>' 'ok, 0 elements'
t 0 xml get "$xml/a.xml" db/row '=>' first second
t 0 xml get "$xml/a.xml" '/db/row[2]/@id' '=>' 2
t 0 xml get "$xml/a.xml" 'db/row/@name' '=>' 'a & b'
t 0 xml get "$xml/a.xml" db/other/row '=>' deep
t 0 xml get "$xml/a.xml" 'db[1]/@v' '=>' 2
t 0 xml get "$xml/latin1.xml" r/@a '=>' 'café'
t 1 xml get "$xml/a.xml" 'db/row[3]' '=>'
t 1 xml get "$xml/a.xml" DB/row '=>'
t 0 xml format "$xml/a.xml" '=>' $'\xEF\xBB\xBF<?xml version="1.0" encoding="UTF-8"?>' '<db v="2">' \
    '   <row id="1" name="a &amp; b">first</row>' '   <row id="2">second</row>' '   <other>' \
    '      <row id="3">deep</row>' '   </other>' '</db>'
"${vxutil[@]}" xml format "$xml/a.xml" >"$xml/again.xml"
t 0 xml get "$xml/again.xml" 'db/row[1]' '=>' first
"${vxutil[@]}" xml format --utf16 "$xml/latin1.xml" >"$xml/u16.bin"
printf '<\0?\0x\0m\0l\0 \0v\0e\0r\0s\0i\0o\0n\0=\0"\0001\0.\0000\0"\0 \0e\0n\0c\0o\0d\0i\0n\0g\0=\0"\0U\0T\0F\0-\0001\0006\0"\0?\0>\0\n\0<\0r\0 \0a\0=\0"\0c\0a\0f\0\xe9\0"\0/\0>\0\n\0\0\0' >"$xml/u16.expected"
same "$xml/u16.bin" "$xml/u16.expected"
fails 1 xml check "$xml/u16.bin"
fails 1 xml check "$xml/bad.xml"
fails 1 xml get "$xml/missing.xml" a
bad xml
bad xml nope "$xml/a.xml"
bad xml check
bad xml check --utf16 "$xml/a.xml"
bad xml get "$xml/a.xml"
bad xml get "$xml/a.xml" 'db/row[0]'
bad xml get "$xml/a.xml" 'db/row[1'
bad xml get "$xml/a.xml" 'db//row'
bad xml get "$xml/a.xml" 'db/@'

# --- db -------------------------------------------------------------------------------------------
db="$scratch/db"
mkdir -p "$db"
printf '<vxDatabase version="2" app="cli">\n<Style_table><Style id="11111111-1111-1111-1111-111111111111"><name>thin</name></Style></Style_table>\n<Shape_table><Shape id="22222222-2222-2222-2222-222222222222"><kind>wall</kind><pos>1,2</pos><style type="Style">11111111-1111-1111-1111-111111111111</style><Property name="a b">x</Property><extra type="Box"><w>3</w></extra></Shape><Shape id="33333333-3333-3333-3333-333333333333"><kind>door</kind><style type="Style">0</style></Shape></Shape_table>\n</vxDatabase>\n' >"$db/ok.xml"
printf '<vxDatabase version="2"><A_table><A id="11111111-1111-1111-1111-111111111111"><next type="A">22222222-2222-2222-2222-222222222222</next><list><ref type="B">33333333-3333-3333-3333-333333333333</ref></list></A><A id="11111111-1111-1111-1111-111111111111"/></A_table></vxDatabase>' >"$db/bad.xml"
printf '<vxDatabase version="1"><Node_table><Node1><next type="Node">2</next></Node1><Node2><next type="Node">1</next></Node2></Node_table></vxDatabase>' >"$db/old.xml"
printf '<other/>' >"$db/other.xml"
t 0 db tables "$db/ok.xml" '=>' 'Style 1' 'Shape 2'
t 0 db show "$db/ok.xml" shape 22222222-2222-2222-2222-222222222222 '=>' 'Shape 22222222-2222-2222-2222-222222222222' '  kind = wall' '  pos = 1,2' \
    '  style -> Style 11111111-1111-1111-1111-111111111111' '  [a b] = x' '  extra (Box):' '    w = 3'
t 0 db show "$db/ok.xml" Style '=>' 'Style 11111111-1111-1111-1111-111111111111' '  name = thin'
t 0 db check "$db/ok.xml" '=>' '3 objects, 1 reference, 0 faults'
t 1 db check "$db/bad.xml" '=>' 'id twice: A 11111111-1111-1111-1111-111111111111' 'dangling: A[11111111-1111-1111-1111-111111111111]/next -> A 22222222-2222-2222-2222-222222222222' \
    'dangling: A[11111111-1111-1111-1111-111111111111]/list/ref -> B 33333333-3333-3333-3333-333333333333' '2 objects, 2 references, 3 faults'
t 0 db check "$db/old.xml" '=>' '2 objects, 2 references, 0 faults'
t 0 db show "$db/old.xml" Node 2 '=>' 'Node2 2' '  next -> Node 1'
t 0 db stats "$db/ok.xml" '=>' 'format version: 2' "bytes: $(wc -c <"$db/ok.xml")" 'tables: 2' 'items: 3' \
    'values: 8' 'references: 1'
fails 1 db show "$db/ok.xml" Shape 44444444-4444-4444-4444-444444444444
fails 1 db show "$db/ok.xml" Missing
fails 1 db check "$db/other.xml"
fails 1 db tables "$db/missing.xml"
bad db
bad db nope "$db/ok.xml"
bad db tables
bad db show "$db/ok.xml"
bad db check "$db/ok.xml" more

# --- cond -----------------------------------------------------------------------------------------
t 0 cond parse '  AND ( any() , NOT(any()) ) trailing' '=>' 'and(any(), logicalNot("any()"))'
t 0 cond parse 'in<int>("2","1",)' '=>' 'in<int>("1", "2")'
t 0 cond parse 'equal<string>("a\"b")' '=>' 'equal<string>("a"b")'
t 0 cond parse 'isnotequal<ushort>("7")' '=>' 'notequal<unsigned short>("7")'
fails 1 cond parse 'and(any())'
fails 1 cond parse 'equal<Int>("5")'
fails 1 cond parse ''
invoke cond parse 'in<Int>("5")'
[[ $status == 1 && $(<"$scratch/err") == *"(condition::parse: invalid datatype Int)" ]] && pass ||
    fail "datatype error: $(cat "$scratch/err")" cond parse 'in<Int>("5")'
invoke cond parse 'not(equal<int>("x"))'
[[ $status == 1 && $(<"$scratch/err") == *"Out of memory"* ]] && pass ||
    fail "null child: $(cat "$scratch/err")" cond parse 'not(equal<int>("x"))'
t 0 cond sql "or(equal<string>(\"it's\"), equal<string>(\"\"))" c '=>' \
    "sql:   ((c = 'it's') OR (c = '' OR c IS NULL))" 'where: ((c = ?) OR (c = ? OR c IS NULL))' \
    "?1:    string it's" '?2:    string '
t 0 cond sql 'smallerorequal<double>("2,50")' x '=>' 'sql:   x <= 2.5' 'where: x <= ?' '?1:    double 2.5'
t 0 cond sql 'equal<uint>("4000000000")' x '=>' 'sql:   (x = -294967296)' 'where: (x = ?)' '?1:    int -294967296'
t 0 cond sql 'bigger<int>("1")' x '=>' 'sql:   (bigger<T>::toSqlString() not implemented)' \
    'where: none (Unexpected error occurred (toSqlWhere: bigger<T> has no SQL form))'
fails 1 cond sql 'equal<int>("x")' x
t 0 cond eval 'bigger<int>("5")' 7 '=>' true
t 1 cond eval 'bigger<int>("5")' '=>' false
t 1 cond eval 'notequal<int>("5")' abc '=>' false
t 0 cond eval 'or(equal<double>("1.5"), any())' '=>' true
t 0 cond eval 'equal<double>("1.5")' '1,5' '=>' true
t 1 cond eval 'bigger<int>("5")' count=7 '=>' false
t 0 cond eval --field 'bigger<int>("5")' count count=7 name=pump '=>' true
t 1 cond eval --field 'bigger<int>("5")' count count=3 '=>' false
t 0 cond eval --field 'bigger<int>("5")' count name=pump '=>' true
fails 1 cond eval 'and(any())' 1
bad cond
bad cond nope
bad cond parse
bad cond parse a b
bad cond sql 'any()'
bad cond eval
bad cond eval --field 'any()'
bad cond eval 'any()' a=1 b
bad cond eval 'any()' =1
bad cond parse --field 'any()'

# --- log ----------------------------------------------------------------------------------------
# The log folder lies below the home folder (on Windows the system's, so there it is not checked).
if ((!windows)); then
    logHome="$scratch/home"
    mkdir -p "$logHome"
    lg() { HOME="$logHome" t "$@"; }
    cfg=$(win "$logHome/Velmora/app/app.logcfg")
    lg 0 log config app '=>' "config: $cfg" 'no configuration: logging is off'
    [[ ! -e $logHome/Velmora ]] && pass || fail "config made a folder" log config app
    lg 0 log enable app App::IO debug '=>' "config: $cfg" 'app.io: enabled debug' 'logging is on'
    lg 0 log enable app gui ui '=>' "config: $cfg" 'gui: enabled ui' 'logging is on'
    lg 0 log config app '=>' "config: $cfg" 'root: enabled none' 'class app.io: enabled debug' 'class gui: enabled ui' \
        'files: 3 of at most 2000000 bytes' 'format: <%s> [PID %p] [TID %t] (%l) {%f, L %r, %c} - %m %o' 'logging is on'
    lg 0 log disable app APP.io '=>' "config: $cfg" 'app.io: disabled' 'logging is on'
    lg 0 log disable app gui '=>' "config: $cfg" 'gui: disabled' 'logging is off'
    lg 0 log enable app root TRACE '=>' "config: $cfg" 'root: enabled trace' 'logging is on'
    HOME="$logHome" fails 1 log disable app nothing
    grep -q '<app.io enabled="false" level="debug"/>' "$logHome/Velmora/app/app.logcfg" && pass ||
        fail "the configuration holds $(cat "$logHome/Velmora/app/app.logcfg")" log disable app APP.io
    # A ring of three files in the folder of process 4242, whose newest is number 2: the lines come
    # from 3, 1 and 2 in this order. An older process's folder is not shown.
    ring="$logHome/Velmora/app/4242"
    mkdir -p "$ring" "$logHome/Velmora/app/17"
    printf 'c1\nc2\n' >"$ring/app_3.log"; touch -d '2020-01-01 10:00' "$ring/app_3.log"
    printf 'a1\n' >"$ring/app_1.log"; touch -d '2020-01-01 11:00' "$ring/app_1.log"
    printf 'b1\nb2\n' >"$ring/app_2.log"; touch -d '2020-01-01 12:00' "$ring/app_2.log"
    printf 'other\n' >"$logHome/Velmora/app/17/app_1.log"; touch -d '2019-01-01' "$logHome/Velmora/app/17/app_1.log"
    printf 'x\n' >"$ring/other_1.log"
    lg 0 log show app '=>' c1 c2 a1 b1 b2
    lg 0 log show app --pid 17 '=>' other
    lg 0 log show --all app --pid 4242 '=>' c1 c2 a1 b1 b2
    for i in $(seq 1 150); do printf 'line %d\n' "$i"; done >"$ring/app_2.log"
    HOME="$logHome" invoke log show app
    [[ $(wc -l <"$scratch/out") == 100 && $(head -1 "$scratch/out") == 'line 51' ]] && pass ||
        fail "not the newest 100 lines: $(head -1 "$scratch/out")" log show app
    HOME="$logHome" invoke log show app --all
    [[ $(wc -l <"$scratch/out") == 153 ]] && pass || fail "not every line" log show app --all
    HOME="$logHome" fails 1 log show app --pid 99
    HOME="$logHome" fails 1 log show nobody
    bad log
    bad log what app
    bad log config
    bad log config a b
    bad log enable app x
    bad log enable app x loud
    bad log enable app '' info
    bad log disable app
    bad log show app --pid
    bad log show app --pid x
    bad log show app --tail
    bad log show
fi

# --- lock ---------------------------------------------------------------------------------------
printf 'doc' >"$scratch/doc.txt"
mkdir -p "$scratch/folder"
if ((windows)); then
    # Without a POSIX shell: the command's status is passed on, and the lock file goes.
    t 7 lock "$scratch/doc.txt" -- cmd /c "exit 7" '=>'
    [[ -e $scratch/doc.txt\$\$lock\$\$ ]] && fail "lock file left" lock || pass
else
    # The command runs while the lock file is there, its status is passed on, and the file goes.
    t 7 lock "$scratch/doc.txt" -- bash -c 'test -e "$1\$\$lock\$\$" && echo held; exit 7' x "$scratch/doc.txt" '=>' held
    [[ -e $scratch/doc.txt\$\$lock\$\$ ]] && fail "lock file left" lock || pass
    t 0 lock "$scratch/folder" -- bash -c 'ls -A "$1"' x "$scratch/folder" '=>' 'folder$$lock$$'
    # Another holder: the second lock waits, gives up, and leaves the holder's file.
    t 0 lock "$scratch/doc.txt" -- bash -c '"$@" >/dev/null 2>&1; echo $?; test -e "$0\$\$lock\$\$" && echo kept' \
        "$scratch/doc.txt" "${vxutil[@]}" lock --wait 200 "$scratch/doc.txt" -- echo never '=>' 1 kept
    # Arguments reach the command as they are.
    t 0 lock "$scratch/doc.txt" -- printf '[%s]\n' "it's" 'a "b"' '--x' '=>' "[it's]" '[a "b"]' '[--x]'
fi
fails 1 lock "$scratch/missing" -- true
bad lock "$scratch/doc.txt"
bad lock "$scratch/doc.txt" --
bad lock -- true
bad lock --wait x "$scratch/doc.txt" -- true

# --- reg ----------------------------------------------------------------------------------------
# A store of its own here; under Wine the prefix's registry, below a key of this run that goes
# at the end.
export VX_REGISTRY_DIR="$scratch/registry"
key="HKEY_CURRENT_USER\\Software\\vxUtilsCliTest$$"
t 0 reg set "$key\\App\\Title" 'a "b" \ c' '=>'
t 0 reg set --dword "$key\\App\\Count" 0x10 '=>'
t 0 reg set "$key\\App\\" 'the default' '=>'
t 0 reg set "$key\\App\\Empty" '' '=>'
t 0 reg get "$key\\app\\TITLE" '=>' 'a "b" \ c'
t 0 reg get "$key\\App\\Count" '=>' 16
t 0 reg get "$key\\App\\" '=>' 'the default'
t 0 reg get "$key\\App\\Empty" '=>' ''
t 0 reg list "$key" '=>' 'App\'
t 0 reg list "$key\\App" '=>' @ Count Empty Title
fails 1 reg get "$key\\App\\Missing"
fails 1 reg get "hkey_current_user\\Software\\vxUtilsCliTest$$\\App\\Title"
fails 1 reg set "HKCU\\Software\\x" y
fails 1 reg list "$key\\Missing"
# Export, then import into an empty key: the same values come back.
invoke reg export HKEY_CURRENT_USER "Software\\vxUtilsCliTest$$"
cp "$scratch/out" "$scratch/export.reg"
((status == 0)) && [[ $(head -c 2 "$scratch/export.reg" | od -An -tx1) == " ff fe" ]] \
    && pass || fail "export: status $status" reg export
t 0 reg remove "$key\\App\\Count" '=>'
t 0 reg list "$key\\App" '=>' @ Empty Title
fails 1 reg remove "$key"
t 0 reg remove "$key\\App\\Title" '=>'
t 0 reg remove "$key\\App\\" '=>'
t 0 reg remove "$key\\App\\Empty" '=>'
t 0 reg remove "$key\\App" '=>'
t 0 reg import "$scratch/export.reg" '=>'
t 0 reg get "$key\\App\\Count" '=>' 16
t 0 reg list "$key\\App" '=>' @ Count Empty Title
# A hand-written file in UTF-8: [-KEY] and "NAME"=- remove.
printf 'Windows Registry Editor Version 5.00\r\n\r\n; by hand\r\n[%s\\App]\r\n"Count"=-\r\n"New"=hex(2):41,00,\\\r\n  00,00\r\n[%s\\Old]\r\n[-%s\\Old]\r\n' \
    "$key" "$key" "$key" >"$scratch/hand.reg"
t 0 reg import "$scratch/hand.reg" '=>'
t 0 reg list "$key\\App" '=>' @ Empty New Title
t 0 reg get "$key\\App\\New" '=>' A
t 0 reg list "$key" '=>' 'App\'
printf 'not a registry file\n' >"$scratch/notreg.reg"
fails 1 reg import "$scratch/notreg.reg"
fails 1 reg import "$scratch/missing.reg"
fails 1 reg export HKEY_CURRENT_USER "Software\\vxUtilsCliTest$$\\Missing"
if ((!windows)); then
    [[ -f $scratch/registry/HKEY_CURRENT_USER.reg ]] && pass || fail "no hive file" reg
fi
printf 'REGEDIT4\n[-%s]\n' "$key" >"$scratch/clean.reg"
t 0 reg import "$scratch/clean.reg" '=>'
fails 1 reg list "$key"
bad reg
bad reg nope
bad reg get
bad reg set "$key\\x"
bad reg set --dword "$key\\x" -1
bad reg get --dword "$key\\x"
bad reg export
unset VX_REGISTRY_DIR
# --- pipe ---------------------------------------------------------------------------------------
# A server in the background takes three messages; a message goes once the server is there.
pipeName="vxCli$$"
"${vxutil[@]}" pipe serve --count 3 "$pipeName" </dev/null >"$scratch/served" 2>"$scratch/serveErr" &
server=$!
for ((i = 0; i < 600; ++i)); do
    "${vxutil[@]}" pipe send "$pipeName" first >/dev/null 2>&1 && break
    sleep 0.05
done
t 0 pipe send "$pipeName" 'a "b" ü' '=>'
t 0 pipe send "$pipeName" $'tab\there' '=>'
wait "$server"
serverStatus=$?
served=$(tr -d '\r' <"$scratch/served")
[[ $serverStatus == 0 && $served == $'first\na "b" ü\ntab\\x09here' && ! -s $scratch/serveErr ]] && pass ||
    fail "status $serverStatus, output [$served], errors [$(cat "$scratch/serveErr")]" pipe serve
fails 1 pipe send "$pipeName" late
# Without --count the server ends with its standard input.
t 0 pipe serve "$pipeName" </dev/null '=>'
bad pipe
bad pipe listen x
bad pipe send x
bad pipe send
bad pipe serve
bad pipe serve --count 0 x
bad pipe serve --count x x
# --- ps -----------------------------------------------------------------------------------------
if ((windows)); then
    # This vxutil is a process of its name (other tests may run more of them at the same time).
    has "" ps vxutil.exe
    has "" ps VXUTIL.EXE
    fails 1 ps --elsewhere noSuchProgram.exe
else
    # A program of a name of its own, running for the test.
    cp "$(command -v sleep)" "$scratch/vxPsProbe"
    "$scratch/vxPsProbe" 30 &
    probe=$!
    t 0 ps vxPsProbe '=>' "$probe"
    t 0 ps --elsewhere VXPSPROBE '=>' "$probe"
    kill "$probe"
    wait "$probe" 2>/dev/null
    fails 1 ps vxPsProbe
fi
fails 1 ps noSuchProgramAnywhere
fails 1 ps ''
bad ps
bad ps a b
bad ps --all a

# --- qr -----------------------------------------------------------------------------------------
if [[ " ${commands[*]} " == *" qr "* ]]; then
    t 0 qr HELLO --bmp "$scratch/q.bmp" --scale 3 '=>' '21 modules'
    (($(stat -c %s "$scratch/q.bmp") == 62 + 64 * 63)) && pass || fail "bitmap size" qr --bmp
    t 0 qr HELLO --ecc H --svg "$scratch/q.svg" '=>' '21 modules'
    grep -q 'viewBox="0 0 21 21"' "$scratch/q.svg" && pass || fail "svg" qr --svg
    # The terminal form: 21 modules and a quiet zone of 4 on each side, two rows a line.
    invoke qr HELLO --terminal
    ((status == 0 && $(wc -l <"$scratch/out") == 15)) && [[ $(head -n1 "$scratch/out") == "$(printf '█%.0s' {1..29})" ]] \
        && pass || fail "terminal: $(cat "$scratch/out")" qr --terminal
    fails 1 qr "$(printf 'x%.0s' {1..3000})" --ecc H --svg "$scratch/long.svg"
    fails 1 qr HELLO --svg "$scratch/none/q.svg"
    bad qr HELLO
    bad qr HELLO --svg a --terminal
    bad qr HELLO --ecc X --terminal
    bad qr HELLO --svg a --scale 2
    bad qr HELLO --bmp a --scale 0
    bad qr --terminal
fi

printf '%d passed, %d failed\n' "$passed" "$failed"
((failed == 0))
