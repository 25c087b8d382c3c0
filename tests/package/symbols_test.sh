#!/bin/sh
# symbols_test.sh SOURCE_DIR SHARED_LIBRARY STATIC_LIBRARY: every public function and class is exported under
# its name, and so are the version symbols. The names are those that the headers declare.
set -eu
cd "$1"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

nm -D --defined-only "$2" | awk '{ print $2, $3 }' >"$work/plain"
nm -D --defined-only -C "$2" | cut -d' ' -f3- >"$work/demangled"
nm --defined-only -C "$3" 2>/dev/null | cut -d' ' -f3- >"$work/static"
failed=0
# need NAME PATTERN FILE
need() {
    grep -q "$2" "$3" || { echo "not exported: $1" >&2; failed=1; }
}

code() { sed 's://.*::' "$@"; }
flat=$(code api/qzStressECGLib.h api/qzFilters.h api/qzDfs.h | grep -o '\<qz[A-Za-z]*_*[A-Za-z]*(' | tr -d '(')
for name in $flat; do
    need "$name" "^$name(" "$work/demangled"
    need "$name (static)" "^$name(" "$work/static"
done
door=$(sed 's:/\*.*::; s:^ \*.*::' api/qzStressTemplLibC.h | grep -o '\<qzc_[a-z0-9_]*(' | tr -d '(')
for name in $door; do need "$name" "^T $name\$" "$work/plain"; done
classes=$(code core/stress/*.h core/detect/*.h core/filters/*.h | sed -n 's/^class \([A-Za-z0-9]*\).*{.*/\1/p')
for name in $classes; do need "$name" "^$name::" "$work/demangled"; done
for name in DukeScore DukeScoreChecked FindPwc HeartRateOfThreeLeads HeartRateOfManyLeads qzFiltersDestroy \
    qzDfsDestroy; do
    need "$name" "^$name(" "$work/demangled"
done
for name in qzStressTemplLibVersionNumber qzStressTemplLibVersionString; do
    need "$name" "^R $name\$" "$work/plain"
done
strings "$2" | grep -qxF '@(#)PROGRAM:qzStressTemplLib  PROJECT:qzStressTemplLib-1' ||
    { echo "no what-string" >&2; failed=1; }
objdump -p "$2" | grep -q 'SONAME *libqzStressTemplLib.so.1$' || { echo "soname" >&2; failed=1; }

# The three lists have not come out empty.
[ "$(echo "$flat" | wc -l)" -ge 25 ] && [ "$(echo "$door" | wc -l)" -ge 25 ] &&
    [ "$(echo "$classes" | wc -l)" -ge 20 ] || { echo "the headers were not read" >&2; failed=1; }
exit $failed
