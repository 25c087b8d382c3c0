#!/bin/sh
# framework_test.sh CLANG CMAKE SOURCE_DIR: configures as for macOS and lets the build lay out the framework, without
# its binary. Checks by syntax that Objective-C and C++ can import it, as a module and by its headers, and that the
# Swift classes compile as a part of it, with the search paths of its target, and can be imported from the interface
# that they leave; and the same classes over the Objective-C module of the Swift package. Exits with 77 where there is
# no Swift. The script that builds the framework has to say in one line that it needs Xcode.
set -eu
clang=$1 cmake=$2
cd "$3"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
PATH=$PATH:/opt/swift/usr/bin

# darwin BUILD_DIR OPTION...: configured for macOS.
darwin() {
    "$cmake" -G Ninja -S . -B "$@" -DCMAKE_SYSTEM_NAME=Darwin -DCMAKE_CXX_COMPILER="$clang" \
        -DCMAKE_INSTALL_NAME_TOOL=/bin/true -DQZ_BUILD_TESTS=OFF -DQZ_BUILD_HOST=OFF >"$work/log" 2>&1 ||
        { cat "$work/log" >&2; exit 1; }
}
# The framework is built on request, and cannot be asked for without the Objective-C classes that it holds.
darwin "$work/plain" -DQZ_BUILD_OBJC=OFF
darwin "$work/build"
! ninja -C "$work/plain" -t targets all | grep -q '\.framework' || { echo "no classes, but a framework" >&2; exit 1; }
! ninja -C "$work/build" -n all | grep -q '\.framework' || { echo "the framework is built unasked" >&2; exit 1; }

inside=qzStressTemplLib.framework/Versions/A
files=$(ninja -C "$work/build" -t targets all | sed -nE "s,^($inside/(Headers|Modules)/[^:]*):.*,\1,p")
ninja -C "$work/build" $files >"$work/log"
framework=$work/qzStressTemplLib.framework
mv "$work/build/$inside" "$framework"
paths=$(ninja -C "$work/build" -t commands "$inside/qzStressTemplLib" | grep 'OCqzDfsLib\.mm' | grep -o -- ' -I[^ ]*')

cat >"$work/use" <<'USE'
short duke(void) { return [OCqzStressTemplLib getDuke:600 deepestSTwithmV:-0.1f anginaPectoris:1]; }
NSArray *filtered(OCqzFiltersLib *filters, NSArray *frame) { return [filters filters:frame]; }
NSArray *doubled(OCqzDfsLib *dfs, NSArray *frame) { return [dfs getData:frame]; }
short rate(OCqzMeanRRmsLib *rr, NSArray *frame) { return [rr meanHR:frame]; }
bool matched(const int16_t *frame) { return qzc_stress_match(frame, 12); }
double version(void) { return qzStressTemplLibVersionString[0] + qzStressTemplLibVersionNumber; }
USE
{ echo '@import qzStressTemplLib;'; cat "$work/use"; } >"$work/module.m"
{ echo '#import <qzStressTemplLib/qzStressTemplLib.h>'; cat "$work/use"; } >"$work/header.m"
cat - "$work/header.m" >"$work/flat.mm" <<'USE'
#include <qzStressTemplLib/qzDfs.h>
#include <qzStressTemplLib/qzFilters.h>
#include <qzStressTemplLib/qzStressECGLib.h>
bool flat(short *frame) {
    qzFilters_filters(frame);
    return qzStressECGLib_match(frame) && qzDfs_getData(frame).empty();
}
USE
objc() {
    "$clang" -fobjc-runtime=macosx-12 -Wall -Wextra -Wquoted-include-in-framework-header -Werror -fsyntax-only \
        -fno-blocks -I tests/apple-stub -F "$work" "$@"
}
objc "$work/header.m"
objc -std=c++17 "$work/flat.mm"
modules="-fmodules -fmodules-cache-path=$work/cache"
objc $modules "$work/module.m"
# What is not of the module is not there to be used: C++ is kept from Objective-C.
echo 'bool match(void) { return qzStressECGLib_match(0); }' | cat "$work/module.m" - >"$work/foreign.m"
! objc $modules "$work/foreign.m" 2>/dev/null || { echo "the check lets everything pass" >&2; exit 1; }

bash -n scripts/xcframework
if ! command -v xcodebuild >/dev/null; then
    if scripts/xcframework >"$work/out" 2>&1; then echo "no failure without Xcode" >&2; exit 1; fi
    [ "$(wc -l <"$work/out")" -eq 1 ] && grep -q Xcode "$work/out"
fi

command -v swiftc >/dev/null || { echo "Skipped: the Swift classes, there is no Swift"; exit 77; }
stubs=tests/apple-stub
swift() {
    swiftc -frontend "$@" -enable-objc-interop -module-cache-path "$work/swift-cache" -I "$work" \
        -disable-objc-attr-requires-foundation-module -I $stubs/ObjectiveC -I $stubs/Foundation -Xcc -I$stubs
}
# classes OPTION...: type-checks the Swift classes as Apple's platforms compile them.
classes() {
    swift -typecheck -module-name qzStressTemplLib -parse-as-library -warnings-as-errors "$@" bindings/swift/*.swift
}
swift -emit-module -module-name Foundation -import-underlying-module -enable-library-evolution \
    -o "$work/Foundation.swiftmodule" $stubs/Foundation/Bridges.swift
classes -import-underlying-module -enable-library-evolution -F "$work" $paths \
    -module-interface-preserve-types-as-written -language-mode 5 \
    -emit-module-interface-path "$work/qzStressTemplLib.swiftinterface"
swift -typecheck-module-from-interface -F "$work" -module-name qzStressTemplLib "$work/qzStressTemplLib.swiftinterface"
[ "$(grep -c 'open class' "$work/qzStressTemplLib.swiftinterface")" -ge 4 ]

# The Swift package has the Objective-C classes in a module of their own. The selectors that the Swift classes have:
# "- (BOOL)createWithChn:(int16_t)chn uVpb:(double)uVpb;" becomes "createWithChn:uVpb:".
classes -I bindings/objc/include -emit-objc-header-path "$work/header.h"
awk '/^@interface / { class = $2 }
    /^[-+] / && !/UNAVAILABLE/ {
        sub(/^[-+] \([^)]*\)/, ""); sub(/ (SWIFT|OBJC)_.*/, ""); sub(/;.*/, "")
        gsub(/\([^)]*\)[A-Za-z0-9_]*/, ""); gsub(/ /, "")
        print class, $0
    }' "$work/header.h" | LC_ALL=C sort | diff tests/swift/selectors.txt -
# The plain initialiser that is left out is the compiler's stub, which stops the process.
awk '/^@interface qzMeanRRmsLib /, /^@end/' "$work/header.h" | grep -q 'init SWIFT_UNAVAILABLE;'
