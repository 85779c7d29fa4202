#!/usr/bin/env bash
# A short tour of what vxUtils does, through the vxutil tool.
#
# usage: tour.sh COMMAND...
#   COMMAND... runs vxutil: its path, or a runner and its arguments followed by the path.
#
# Each step prints a heading and runs a few commands, showing each command and its output. The
# tour exits with 1 if any command ends with another status than the one it should.
set -u
(($# > 0)) || { echo "usage: tour.sh COMMAND..." >&2; exit 2; }
vxutil=("$@")
failures=0
# A Windows build runs under Wine: there the system maps its drives, and PATH lists use ';'.
windows=0
[[ ${vxutil[${#vxutil[@]}-1]} == *.exe ]] && windows=1
sep=:
((windows)) && sep=';'

step() {
    printf '\n== %s\n' "$1"
}

# The command line as one would type it.
show() {
    local line='$ vxutil' arg
    for arg in "$@"; do
        if [[ $arg =~ ^[A-Za-z0-9_./:=,+-]+$ ]]; then
            line+=" $arg"
        else
            line+=" '${arg//\'/\'\\\'\'}'"
        fi
    done
    printf '%s\n' "$line"
}

# Checks the status of the last command against the expected one.
expect() {
    if (($1 != $2)); then
        printf '!! exit status %d, expected %d\n' "$1" "$2"
        failures=$((failures + 1))
    fi
}

# run [--status N] ARG...: runs vxutil with the arguments; it should exit with N (default 0).
run() {
    local expected=0
    if [[ $1 == --status ]]; then
        expected=$2
        shift 2
    fi
    show "$@"
    "${vxutil[@]}" "$@" 2>&1
    expect $? "$expected"
}

# run_counting ARG...: like run, but shows only the length and the end of the output.
run_counting() {
    show "$@"
    local out status
    out=$("${vxutil[@]}" "$@")
    status=$?
    printf '%d characters, ending in [%s]\n' "${#out}" "${out: -10}"
    expect "$status" 0
}

step "Version"
run --version

step "Wildcards: * is any run of characters, ? one character, case counts"
run match 'a*c' abc ac aXYZc
run --status 1 match 'a?c' abc ac ABC
step "Wildcards: where the rest does not fit, * takes one more character and tries again"
run match '*ab' aab xabab
run match 'a*b*c' abXbXc aXcbc
run --status 1 match '*x?' abxc abcx

step "Split: empty parts stay, shown in brackets"
run split X aXbXXc
run split , ',a,,'
step "Split: only at the first separator"
run split --first X aXbXXc
step "Split: an empty text has no parts"
run --status 1 split X ''

step "Field by index, from 0; a field beyond the last is empty"
run field ';' 1 'a;b;c'
run field ';' 3 'a;b;c'

step "Trim one character: a text made only of it stays as it is"
run trim - --a--
run trim --leading - --a--
run trim - ---
step "Trim a set of characters: a text made only of them becomes empty"
run trim --set ' -' ' - a - '
run trim --set - ---

step "Replace: inserted text is not scanned again"
run replace a aa aba
run replace '{name}' world 'hello, {name}!'

step "Case"
run lower 'ÄÖÜ STRASSE'
run upper 'grüße'

step "Format: each argument converted to the type its conversion reads"
run format '%-6s|%6.2f|%04d|%#x|%c' name 3.14159 42 255 xyz
run --status 2 format '%d %d' 1
step "Format: the text is cut at 1023 characters (here before the final |)"
run_counting format '%-2000s|' x

step "Bytes: the multi-byte form of text is UTF-8"
run bytes 'A é € 😀'

step "Guids: time-based, so those made one after the other share most of their digits"
run guid new 3
step "Guids: read in either case, written in lower case; initialized means the first three fields are non-zero"
run guid parse 6BA7B810-9DAD-11D1-80B4-00C04FD430C8
run guid parse 0
run guid compare 00000002-0000-0000-0000-000000000000 00000001-ffff-ffff-ffff-ffffffffffff

step "Messages: a severity prefix, named placeholders with their own formats, numbered ones"
run msg --severity 'E: File [File] not found!' 'File=C:\data\plan.dxf'
run msg 'Length [Len%8.3f] m, [Count%03d] parts' Len=2.5 Count=7
run msg '$2 comes before $1 here' first second
step "Messages: without a placeholder the first plain printf format takes the value"
run msg 'Copied %d files' 12

step "Paths: normalised as text, in the Windows manner, on every system"
run path normalize 'C:/data//plans/../docs/./readme.txt' '"C:\My Files\a.txt" ignored'
run path normalize --directory 'C:\data\plans'
step "Paths: taken apart at the last dot, or at the first"
run path parts 'C:\dir.ext\archive.tar.gz'
run path parts --first-dot 'C:\dir.ext\archive.tar.gz'
step "Paths: relative names are in lower case, seen from a directory"
run path relative 'C:\Data\Plans\Site.DXF' 'c:\data'
run path relative 'C:\Data\Plans\Site.DXF' 'c:\data\docs'
if ((windows)); then
    step "Paths: on Windows the system's own path is the text itself"
    run path native 'C:\windows\..\TMP\'
else
    step "Paths: the drive C: is the root /, case is matched; here VX_DRIVES=T=/tmp adds the drive T:"
    run path native 'C:\TMP\'
    VX_DRIVES="T=/tmp" run path native 'T:\reports\2024.txt'
fi

step "CRC-32 of files, as zlib and gzip compute it"
tourFile=$(mktemp)
trap 'rm -f "$tourFile"' EXIT
printf 123456789 >"$tourFile"
run crc32 "$tourFile"
run --status 1 crc32 "$tourFile.missing"

step "Directories: sub-directories first, then files, in name order with case ignored; d directory, l link, r read-only, h hidden"
tourDir=$(mktemp -d)
trap 'rm -f "${tourFile-}"; rm -rf "$tourDir"' EXIT
mkdir -p "$tourDir/plans/2024" "$tourDir/.cache"
for f in Readme.txt notes plans/site.DXF plans/2024/a.dxf .cache/x; do printf x >"$tourDir/$f"; done
chmod 444 "$tourDir/Readme.txt"
ln -s plans "$tourDir/current"
run ls "$tourDir"
step "Directories: filters as on Windows: case is ignored, and *. chooses the names without a dot"
run ls "$tourDir" '*.TXT'
run ls "$tourDir" '*.'
step "Directories: --mask 2 leaves hidden entries out; the walk gives a directory's files after all below it, and no link is entered"
run ls --recursive --mask 2 "$tourDir"
run --status 1 ls "$tourDir/missing"

step "Search paths: the first directory that holds the file wins; --recursive searches below each directory first"
mkdir -p "$tourDir/bin/extra" "$tourDir/tools"
printf x >"$tourDir/bin/extra/make"
printf x >"$tourDir/tools/make"
run which make "$tourDir/bin$sep$tourDir/tools"
run which --recursive make "$tourDir/bin$sep$tourDir/tools"
run --status 1 which cmake "$tourDir/bin$sep$tourDir/tools"

step "Compound documents: named blocks in one file, the dictionary sorted by name at its end"
cdocDir="$tourDir/cdoc"
mkdir -p "$cdocDir"
printf 'Site plan, revision 3\n' >"$cdocDir/notes.txt"
printf 'PNG bytes' >"$cdocDir/Preview.PNG"
run cdoc add "$cdocDir/plan.vxc" notes "$cdocDir/notes.txt"
run cdoc add "$cdocDir/plan.vxc" info "$cdocDir/notes.txt"
run cdoc thumbnail "$cdocDir/plan.vxc" "$cdocDir/Preview.PNG"
run cdoc list "$cdocDir/plan.vxc"
run cdoc cat "$cdocDir/plan.vxc" notes
step "Compound documents: the thumbnail format is the extension in lower case; a name is refused twice"
run cdoc thumbnail "$cdocDir/plan.vxc"
run --status 1 cdoc add "$cdocDir/plan.vxc" notes "$cdocDir/notes.txt"
run --status 1 cdoc list "$cdocDir/notes.txt"

step "Messages from language files: one folder per language, the text chosen when it is shown"
langDir="$tourDir/Language"
mkdir -p "$langDir/de" "$langDir/fr"
printf '%s\n' '; messages of the library, in German' \
    'Msg_EWriteFile  E: Fehler beim Schreiben der Datei [File] ; [File] is filled in' \
    'Msg_Greeting    "Guten Tag, [Name]; willkommen!"' 'Msg_Welcome     $$Msg_Greeting' \
    '#include product.loc' ';;cmd(replace:::Tag:::Morgen)' >"$langDir/de/vxUtils.loc"
printf '%s\n' 'Msg_Product Velmora Draw' >"$langDir/de/product.loc"
printf '%s\n' 'Msg_EWriteFile  Erreur lors de l’écriture du fichier [File]' >"$langDir/fr/vxUtils.loc"
run loc get --path "$langDir" --lang de Msg_Greeting Name=Ada
run --status 1 loc get --path "$langDir" --lang en --text 'Good day, [Name]!' Msg_Greeting Name=Ada
step "Messages from language files: a write that fails raises writeFileException, shown in the language asked for"
run --status 1 loc write --path "$langDir" --lang de "$tourDir/no such folder/plan.dxf"
run --status 1 loc write --path "$langDir" --lang fr "$tourDir/no such folder/plan.dxf"
run --status 1 loc write --path "$langDir" --lang en "$tourDir/no such folder/plan.dxf"
step "Messages from language files: what a file holds, after aliases, includes and commands (an #include line is an entry too)"
run loc dump "$langDir/de/vxUtils.loc"

step "XML: a forgiving parser; the text in front of the first child stays, later text and comments go"
xmlDir="$tourDir/xml"
mkdir -p "$xmlDir"
printf '%s\n' '<?xml version="1.0" encoding="UTF-8"?>' '<!-- a small database -->' '<vxDatabase version="3">' '  kept text' \
    '  <layer_table>' '    <layer guid="{7}" name="Walls &amp; doors">visible<!-- note --></layer>' \
    '    <layer guid="{8}" name="Trees">hidden</layer>' '  </layer_table>' \
    '  lost text<extra/>' '</vxDatabase>' >"$xmlDir/plan.xml"
run xml check "$xmlDir/plan.xml"
run xml format "$xmlDir/plan.xml"
step "XML: reading by path; [n] counts from 1, @name reads an attribute"
run xml get "$xmlDir/plan.xml" vxDatabase/layer_table/layer
run xml get "$xmlDir/plan.xml" 'vxDatabase/layer_table/layer[2]/@name'
run xml get "$xmlDir/plan.xml" 'vxDatabase/layer_table/layer/@guid'
step "XML: entities are resolved again and again, so &amp;lt; reads as <; a malformed file is reported"
printf '<r>&amp;lt;tag&amp;gt; &#x41;&#x3b1;</r>' >"$xmlDir/entities.xml"
run xml get "$xmlDir/entities.xml" r
printf '<r><a></r>' >"$xmlDir/broken.xml"
run --status 1 xml check "$xmlDir/broken.xml"

step "Base64: three bytes give four characters; decoding stops at the first character outside the alphabet"
printf Man >"$tourDir/man.txt"
run base64 encode "$tourDir/man.txt"
printf 'TWFu\nTWFu' >"$tourDir/man.b64"
run base64 decode "$tourDir/man.b64"
printf '\n'
step "gzip files: written and read through zlib; nothing is replaced without --force"
bufDir="$tourDir/gzip"
mkdir -p "$bufDir"
for i in $(seq 1 2000); do printf 'line %d of the site report\n' "$i"; done >"$bufDir/report.txt"
run gzip "$bufDir/report.txt"
run --status 1 gzip "$bufDir/report.txt"
rm "$bufDir/report.txt"
run gunzip "$bufDir/report.txt.gz"
step "Windows executables: the architecture from the PE header, on any system"
{ printf 'MZ'; head -c 58 /dev/zero; printf '\x80\0\0\0'; head -c 64 /dev/zero; printf 'PE\0\0'
  head -c 20 /dev/zero; printf '\x0b\x02'; head -c 870 /dev/zero; } >"$bufDir/tool.exe"
run pe "$bufDir/tool.exe"
run --status 1 pe "$bufDir/report.txt"

step "Dates: facts, arithmetic (months keep to the month's length), workdays with a holiday file, Easter"
run date info 2024-02-29
run date add 2024-01-31 +1m
run date diff 2024-03-01 2023-03-01
mkdir -p "$tourDir/dates"
printf 'weekly saturday\nweekly sunday\nholiday 2024-12-25\nyearly 12-26\n' >"$tourDir/dates/holidays.txt"
run date add 2024-12-23 +3wd --holidays "$tourDir/dates/holidays.txt"
run date easter 2025
step "Times of day: 24:00:00 is a time of its own; milliseconds keep their low eight bits"
run time parse 12:00:00:999
run time add 23:59:59 +1s +90min
run time stamp '2023-02-03 01:02:03:004'

step "Conditions: a predicate language read from text, evaluated on values, written as SQL"
run cond parse '  AND ( bigger<int>("1") , NOT(equal<string>("x")) ) trailing words are ignored'
run cond eval 'and(bigger<int>("5"), smaller<double>("10"))' 7
run --status 1 cond eval 'in<string>("red","green")' blue
run cond eval --field 'biggerorequal<int>("3")' count count=4 name=pump
run cond sql "or(equal<string>(\"O'Brien\"), smallerorequal<double>(\"2.50\"))" name
run --status 1 cond parse 'in<Int>("5")'

step "The file-system mutex: a command runs while the lock file stands beside the file; a second one waits, gives up, and leaves it"
printf 'plan' >"$tourDir/plan.txt"
if ((windows)); then
    run lock "$tourDir/plan.txt" -- cmd /c dir /b
else
    run lock "$tourDir/plan.txt" -- "${vxutil[@]}" ls "$tourDir"
    run --status 1 lock "$tourDir/plan.txt" -- "${vxutil[@]}" lock --wait 300 "$tourDir/plan.txt" -- "${vxutil[@]}" lower never
fi

step "The registry: values by one path, a file per hive here (on Windows the system's registry), exported as the registry editor does"
# A store of the tour's own; under Wine a key of the prefix's registry, removed again.
export VX_REGISTRY_DIR="$tourDir/registry"
tourKey='HKEY_CURRENT_USER\Software\Velmora\Tour'
run reg set "$tourKey\\Plan" 'site.dxf'
run reg set --dword "$tourKey\\Windows\\Count" 5
run reg get "$tourKey\\windows\\COUNT"
run reg list "$tourKey"
run --status 1 reg get "hkey_current_user\\Software\\Velmora\\Tour\\Plan"
printf '$ vxutil reg export HKEY_CURRENT_USER Software\\Velmora > velmora.reg\n'
"${vxutil[@]}" reg export HKEY_CURRENT_USER 'Software\Velmora' >"$tourDir/velmora.reg"
expect $? 0
printf '(%d bytes of UTF-16LE)\n' "$(wc -c <"$tourDir/velmora.reg")"
run reg remove "$tourKey\\Windows\\Count"
run reg remove "$tourKey\\Windows"
run reg import "$tourDir/velmora.reg"
run reg get "$tourKey\\Windows\\Count"
printf 'REGEDIT4\r\n[-HKEY_CURRENT_USER\\Software\\Velmora]\r\n' >"$tourDir/clean.reg"
run reg import "$tourDir/clean.reg"
step "Named pipes: a server prints each message a client sends, and a client finds no server once it has gone"
tourPipe="vxTour$$"
printf '$ vxutil pipe serve --count 2 %s &\n' "$tourPipe"
"${vxutil[@]}" pipe serve --count 2 "$tourPipe" </dev/null 2>&1 &
tourServer=$!
# The first message goes once the server has made its pipe.
for ((i = 0; i < 600; ++i)); do
    "${vxutil[@]}" pipe send "$tourPipe" 'status?' 2>/dev/null && break
    sleep 0.05
done
show pipe send "$tourPipe" 'status?'
run pipe send "$tourPipe" 'Grüße: line one'$'\n''line two'
wait "$tourServer"
expect $? 0
run --status 1 pipe send "$tourPipe" 'anyone?'
step "Processes: is a program of that name running, and under which id"
if ((windows)); then
    run ps vxutil.exe
    run --status 1 ps noSuchProgram.exe
else
    run ps --elsewhere bash
    run --status 1 ps noSuchProgram
fi

if "${vxutil[@]}" help qr >/dev/null 2>&1; then
    step "QR symbols: on the terminal for a phone to read, and as an 8-bit Windows bitmap"
    run qr 'https://example.org/velmora' --ecc M --terminal
    run qr 'Grüße aus Velmora' --bmp "$tourDir/hello.bmp" --scale 4
fi

step "Bad usage: one line on standard error and exit status 2"
run --status 2 split '' abc

step "The road of one request, steps 1 to 4: an application saves its document graph, reads it back, and a person looks into the file"
# The example program of the documents stands beside the tool in the build; without it (a build
# without examples) the tour writes a small database of its own.
example="${vxutil[${#vxutil[@]}-1]%/tools/vxutil/*}/examples/documents/documents"
((windows)) && example+=.exe
[[ $example == /* ]] || example="$PWD/$example" # it runs in the tour's folder
dbFile="$tourDir/drawing.xml"
if [[ -x $example ]]; then
    printf '$ documents drawing.xml\n'
    (cd "$tourDir" && "${vxutil[@]:0:${#vxutil[@]}-1}" "$example" drawing.xml) 2>&1
    expect $? 0
else
    printf '<vxDatabase version="2"><Style_table><Style id="6ba7b810-9dad-11d1-80b4-00c04fd430c8"><name>thin</name></Style></Style_table><Shape_table><Shape id="6ba7b811-9dad-11d1-80b4-00c04fd430c8"><kind>wall</kind><style type="Style">6ba7b810-9dad-11d1-80b4-00c04fd430c8</style></Shape></Shape_table></vxDatabase>' >"$dbFile"
fi
run db tables "$dbFile"
run db show "$dbFile" style
run db check "$dbFile"

step "The road of one request: a write fails, its message comes from a language file, and the failure lands in the rolling log"
# The log folder lies below the home folder: the tour keeps to a home of its own.
export HOME="$tourDir/home"
mkdir -p "$HOME"
run log config vxutil
run log enable vxutil vxutil.loc info
run --status 1 loc write --path "$langDir" --lang de "$tourDir/no such folder/plan.dxf"
run log show vxutil

step "Threads: the pool, the asynchronous job queue with priorities, a timer on a thread that pumps its messages"
# Not a vxutil command: the example program examples/threads, built beside the tool.
threadsExample="$(dirname "${vxutil[${#vxutil[@]}-1]}")/../../examples/threads/threads"
((windows)) && threadsExample+=.exe
if [[ -x $threadsExample ]]; then
    printf '$ examples/threads/threads\n'
    "${vxutil[@]:0:${#vxutil[@]}-1}" "$threadsExample" 2>&1
    expect $? 0
else
    printf '(the example programs were not built: configure with -DVX_BUILD_EXAMPLES=ON)\n'
fi

printf '\n'
if ((failures > 0)); then
    printf 'tour: %d command(s) ended with an unexpected status\n' "$failures"
    exit 1
fi
printf 'tour: every command ended as it should\n'
