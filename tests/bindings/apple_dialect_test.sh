#!/bin/sh
# apple_dialect_test.sh CLANG ROOT: the Objective-C classes as Apple's compiler sees them, syntax only: the
# sources with reference counting by the compiler and by hand, every public header by itself and as plain
# Objective-C, the umbrella header through the module map.
set -eu
clang=$1
root=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

check() {
    "$clang" -fobjc-runtime=macosx-12 -Wall -Wextra -Wpedantic -Wshadow -Werror -fsyntax-only -fno-blocks \
        -I "$root/tests/apple-stub" "$@"
}

for source in "$root"/bindings/objc/*.mm; do
    for arc in -fobjc-arc -fno-objc-arc; do
        check -std=c++17 $arc -I "$root" "$source"
    done
done

for header in "$root"/bindings/objc/include/*.h; do
    printf '#import "%s"\n' "$header" >"$work/header.m"
    check -x objective-c "$work/header.m"
done

printf '@import OCqz;\nshort rate(OCqzMeanRRmsLib *rr, NSArray *frame) { return [rr meanHR:frame]; }\n' >"$work/module.m"
check -x objective-c -fmodules -fmodules-cache-path="$work/cache" -I "$root/bindings/objc/include" "$work/module.m"
