#!/usr/bin/env bash
# Command-line tests of vxutil: output, exit status and usage errors of every command.
#
# usage: cli_test.sh PATH-TO-VXUTIL VERSION
set -u
vxutil=${1:?usage: cli_test.sh PATH-TO-VXUTIL VERSION}
version=${2:?usage: cli_test.sh PATH-TO-VXUTIL VERSION}
commands=(bytes crc32 field format guid lower ls match msg path replace split trim upper which)
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

# --- path -----------------------------------------------------------------------------------------
t 0 path normalize 'C:/a//b/../c/./' '=>' 'C:\a\c'
t 0 path normalize --directory 'C:/a//b/../c/./' '=>' 'C:\a\c\'
t 0 path normalize 'C:\..\x' 'C:\a\.\..\b' '\\\\server\x' 'C:x' '=>' 'C:\x' 'C:\a\b' '\\server\x' 'C:x'
t 0 path normalize '"C:\a b\c" -x' '=>' 'C:\a b\c'
t 0 path normalize '' '=>' ''
VX_TEST_ROOT='C:\root' t 0 path normalize '%VX_TEST_ROOT%\a\%VX_TEST_ROOT%' 'C:\a\%VX_UNSET_NAME%\..\x' \
    '=>' 'C:\root\a\C:\root' 'C:\a\x'
winScratch="C:${scratch//\//\\}"
cd "$scratch" || exit 1
t 0 path normalize x '\y' '=>' "$winScratch\\x" 'C:\y'
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
VX_DRIVES="Q=$scratch" t 0 path native 'q:\data\SUB\new.txt' '=>' "$scratch/Data/Sub/new.txt"
VX_DRIVES="Q=$scratch" t 0 path native 'Q:\' '=>' "$scratch"
VX_DRIVES= t 1 path native 'Q:\x' '=>'
VX_UNC_ROOT= t 1 path native '\\srv\share\x' '=>'
VX_UNC_ROOT="$scratch" t 0 path native '\\srv\share\x' '=>' "$scratch/srv/share/x"
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
t 0 ls "C:${tree//\//\\}\\sub" '=>' '-----  z.txt'
t 0 ls "$tree/sub" 'nothing*' '=>'
# The files of a sub-directory, and of all below it, come before the directory's own; links are
# not entered.
t 0 ls --recursive "$tree" '=>' '.hid\q.txt' 'Sub\deep\y.txt' 'Sub\x.txt' 'sub\z.txt' '.h' 'a.txt' 'B.TXT' 'noext'
t 0 ls "$tree" '*.txt' --recursive --mask 3 '=>' 'Sub\deep\y.txt' 'Sub\x.txt' 'sub\z.txt' 'a.txt'
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
win() { local p=${1//\//\\}; printf 'C:%s' "$p"; }
paths="$scratch/paths"
mkdir -p "$paths/one" "$paths/two/deep/er"
: >"$paths/two/tool"
: >"$paths/one/.hidden"
: >"$paths/two/deep/er/tool"
: >"$paths/one/other"
t 0 which tool "$paths/one:$paths/two" '=>' "$(win "$paths/two/tool")"
# A deep hit in an earlier directory beats a direct hit in a later one.
t 0 which --recursive tool "$paths/two/deep:$paths/two" '=>' "$(win "$paths/two/deep/er/tool")"
t 0 which 'er\tool' "$paths/two/deep" '=>' "$(win "$paths/two/deep/er/tool")"
t 1 which tool "$paths/one" '=>'
t 1 which tool "$paths/missing" '=>'
# Missing directories and repeated ones (case ignored) are dropped; the first spelling stays.
t 0 which --all x "$paths/ONE:$paths/missing:$paths/one:$paths/two" '=>' "$(win "$paths/ONE")\\" "$(win "$paths/two")\\"
t 0 which --semicolons tool "$(win "$paths/one");$(win "$paths/two")" '=>' "$(win "$paths/two/tool")"
bad which
bad which tool
bad which --frob tool "$paths"

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
