#!/bin/sh
# symbols_test.sh SOURCE_DIR SHARED_LIBRARY STATIC_LIBRARY: the shared library exports the functions and classes that
# the headers declare, and nothing else; the static one has them too.
set -eu
export LC_ALL=C
cd "$1"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# names OPTION... LIBRARY: functions, classes and the version symbols, without namespace, arguments and members.
names() {
    nm --defined-only -C "$@" 2>/dev/null | sed -nE 's/^[0-9a-f]+ [TWVR] //p' |
        sed -E 's/^(vtable|typeinfo|typeinfo name) for //; s/^qz:://; s/(::|\(|\[).*//' | sort -u
}
sed -nE 's/^(QZ_API )?extern .* (qz\w+)(\[\])?;$/\2/p' api/*.h >"$work/declared"
[ "$(wc -l <"$work/declared")" -eq 2 ]  # the version symbols
sed -nE '/^(inline|template|static|struct|enum|\/)/d
    s/^class (QZ_API )?(\w+).*\{.*/\2/p
    s/^[A-Za-z].*\b(\w+)\(.*/\1/p' api/*.h core/*/*.h session/*.h >>"$work/declared"
[ "$(wc -l <"$work/declared")" -ge 80 ] || { echo "the headers were not read" >&2; exit 1; }
sort -u -o "$work/declared" "$work/declared"
names -D "$2" | diff "$work/declared" -
names "$3" | comm -23 "$work/declared" - >"$work/missing"
[ ! -s "$work/missing" ] || { cat "$work/missing"; exit 1; }

# C linkage, the what-string, the name that programs load.
[ "$(nm -D --defined-only "$2" | grep -cE ' (T qzc_|R qzStressTemplLibVersion)')" -ge 30 ]
strings "$2" | grep -q '@(#)PROGRAM:qzStressTemplLib  PROJECT:qzStressTemplLib-1$'  # other text may lie before it
objdump -p "$2" | grep -q 'SONAME *libqzStressTemplLib.so.1$'
