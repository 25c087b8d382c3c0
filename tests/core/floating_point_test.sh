#!/bin/sh
# floating_point_test.sh COMPILER ROOT: a build whose floating point could give other bits is refused, or is the same
# build; and where the processor can fuse multiply and add, it does not, with no option said about it.
set -eu
compiler=$1
root=$2
compile() { "$compiler" -std=c++17 -I "$root" -S -o - "$@"; }

plain=$(compile -O2 "$root/core/filters/CLowpassFilter2.cpp")
for option in -ffast-math -Ofast -ffinite-math-only -funsafe-math-optimizations -fsingle-precision-constant; do
    if other=$(compile -O2 $option "$root/core/filters/CLowpassFilter2.cpp" 2>/dev/null) && [ "$other" != "$plain" ]; then
        echo "other code with $option" >&2
        exit 1
    fi
done
case $("$compiler" -dumpmachine) in
    x86_64*) compile -O2 -mfma "$root/core/filters/CLowpassFilter2.cpp" ;;
    *) echo "$plain" ;;
esac | grep 'v\{0,1\}fn\{0,1\}m\(add\|sub\|la\|ls\)' && exit 1
exit 0
