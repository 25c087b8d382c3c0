#!/bin/sh
# debian_test.sh SOURCE_DIR RUNTIME.deb DEV.deb PROGRAM.deb: checks what the packages say of themselves, installs them, builds
# programs against them, removes them, and sees that nothing stays behind. Needs root, and a system without them.
set -eu
source=$1 runtime=$2 dev=$3 program=$4
. "$source/tests/package/consume.sh"
if [ "$(id -u)" -ne 0 ]; then
    echo "Skipped: installing packages needs root."
    exit 0
fi
names="libqzstresstempllib1 libqzstresstempllib-dev qzstress"
# A package of these names that was there before is somebody's: it is neither replaced nor removed.
if dpkg-query -W $names 2>/dev/null | grep -q .; then
    echo "Skipped: $names: already installed."
    exit 0
fi
work=$(mktemp -d)
trap 'dpkg --purge $names >/dev/null 2>&1 || true; rm -rf "$work"' EXIT
fail() { echo "$*" >&2; exit 1; }

# field PACKAGE FIELD PATTERN: the whole field matches.
field() {
    dpkg-deb -f "$1" "$2" | grep -qxE "$3" || fail "$1: $2: $(dpkg-deb -f "$1" "$2")"
}
architecture=$(dpkg --print-architecture)
for package in "$runtime" "$dev" "$program"; do
    field "$package" Architecture "$architecture"
    field "$package" Maintainer '.+ <.+@.+>'
done
field "$runtime" Package libqzstresstempllib1
field "$runtime" Section libs
field "$runtime" Depends '.*libc6 \(>= .*libstdc\+\+6 \(>= .*'
field "$dev" Package libqzstresstempllib-dev
field "$dev" Section libdevel
field "$dev" Depends "libqzstresstempllib1 \(= $(dpkg-deb -f "$runtime" Version)\)"
field "$program" Package qzstress
field "$program" Section science
field "$program" Depends "(.*, )?libqzstresstempllib1 \(= $(dpkg-deb -f "$runtime" Version)\)(, .*)?"
field "$program" Depends '.*fonts-dejavu-core.*libcairo2 .*libedf.*libflac.*'
dpkg-deb --ctrl-tarfile "$runtime" | tar -xO ./triggers | grep -qx 'activate-noawait ldconfig'
dpkg-deb --ctrl-tarfile "$runtime" | tar -xO ./shlibs | grep -qx 'libqzStressTemplLib 1 libqzstresstempllib1 (>= 1.0-1)'
dpkg-deb --ctrl-tarfile "$runtime" | tar -xO ./symbols | grep -qx ' qzc_stress_match@Base 1.0'
lintian --allow-root --fail-on error "$runtime" "$dev" "$program"

libraries=/usr/lib/$(gcc -print-multiarch)
if dpkg --install "$dev" >"$work/log" 2>&1; then fail "the development package installs without the library"; fi
dpkg --purge libqzstresstempllib-dev >>"$work/log" 2>&1
dpkg --install "$runtime" "$dev" "$program" >>"$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }
ldconfig -p | grep -q 'libqzStressTemplLib.so.1 ' || fail "the loader does not know the library"
dpkg --verify $names
sh "$source/tests/package/hardening_test.sh" "$libraries/libqzStressTemplLib.so"
dpkg -L $names | sort -u >"$work/files"
qzstress analyze --quiet --report "$work/report.html" || fail "the program does not run"
grep -q '<svg' "$work/report.html" || fail "the program draws no report"
[ -e /usr/share/man/man1/qzstress.1.gz ] || fail "no manual page"
# An installation at another place is used in every way: here it is the system's directories that are new.
ways='C-pkg-config CXX-cmake' consume "$source" "$work" g++ "$libraries/libqzStressTemplLib.so"

dpkg --purge $names >>"$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }
! dpkg-query -W $names 2>/dev/null | grep . || fail "still installed"
# Directories of the system stay, of course.
grep -i qzstress "$work/files" | while read -r path; do
    [ ! -e "$path" ] && [ ! -L "$path" ] || fail "left behind: $path"
done
! ldconfig -p | grep libqzStressTemplLib || fail "the loader still knows the library"
echo "installed and removed: $names"
