#!/bin/sh
# floating_point_test.sh COMPILER ROOT: a build whose floating point could give other bits is refused, and one whose
# processor can fuse multiply and add does not, with no option said about it.
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
    x86_64*) target=-mfma fused='vfn\{0,1\}m\(add\|sub\)[0-9]' ;;
    aarch64*) target= fused='\bfn\{0,1\}m\(add\|sub\|la\|ls\)\b' ;;
    *) exit 77 ;;
esac
for source in "$root"/core/*/*.cpp "$root"/api/*.cpp; do
    if compile -O2 $target "$source" | grep -q "$fused"; then
        echo "$source: multiply and add are fused" >&2
        exit 1
    fi
done
