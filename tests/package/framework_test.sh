#!/bin/sh
# framework_test.sh CLANG SOURCE_DIR MODULE_MAP HEADER...: lays the framework out as Apple does, without its binary,
# and checks by syntax that Objective-C and Objective-C++ can import it, as a module and by its umbrella header,
# and, where there is Swift, that the Swift classes compile as a part of it and can be imported from the interface
# that they leave. The paths are relative to SOURCE_DIR. The script that builds it has to say in one line that it
# needs Xcode.
set -eu
clang=$1 module_map=$3
cd "$2"
shift 3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

framework=$work/qzStressTemplLib.framework
mkdir -p "$framework/Headers" "$framework/Modules"
cp "$@" "$framework/Headers"
cp "$module_map" "$framework/Modules/module.modulemap"

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
cp "$work/header.m" "$work/header.mm"
for source in module.m header.m header.mm; do
    [ $source = module.m ] && modules="-fmodules -fmodules-cache-path=$work/cache" || modules=
    "$clang" -fobjc-runtime=macosx-12 -Wall -Wextra -Werror -fsyntax-only -fno-blocks $modules \
        -I tests/apple-stub -F "$work" "$work/$source"
done
# What is not a header of the framework is not there to be used.
echo 'bool match(void) { return qzStressECGLib_match(0); }' | cat "$work/module.m" - >"$work/foreign.m"
if "$clang" -fobjc-runtime=macosx-12 -Werror -fsyntax-only -fno-blocks -fmodules \
    -fmodules-cache-path="$work/cache" -I tests/apple-stub -F "$work" "$work/foreign.m" 2>/dev/null; then
    echo "the check lets everything pass" >&2
    exit 1
fi

if command -v swiftc >/dev/null; then
    stubs=tests/apple-stub
    swift() {
        task=$1
        shift
        swiftc -frontend "$task" -enable-objc-interop -module-cache-path "$work/swift-cache" \
            -I $stubs/ObjectiveC -I $stubs/Foundation -Xcc -I$stubs -I "$work" -F "$work" "$@"
    }
    swift -emit-module -module-name Foundation -import-underlying-module -enable-library-evolution \
        -o "$work/Foundation.swiftmodule" $stubs/Foundation/Bridges.swift
    swift -typecheck -module-name qzStressTemplLib -import-underlying-module -enable-library-evolution \
        -module-interface-preserve-types-as-written -language-mode 5 -parse-as-library -warnings-as-errors \
        -disable-objc-attr-requires-foundation-module \
        -emit-module-interface-path "$work/qzStressTemplLib.swiftinterface" bindings/swift/*.swift
    swift -typecheck-module-from-interface -module-name qzStressTemplLib \
        -disable-objc-attr-requires-foundation-module "$work/qzStressTemplLib.swiftinterface"
    [ "$(grep -c 'open class' "$work/qzStressTemplLib.swiftinterface")" -eq 4 ]
fi

bash -n scripts/xcframework
if ! command -v xcodebuild >/dev/null; then
    if scripts/xcframework >"$work/out" 2>&1; then echo "no failure without Xcode" >&2; exit 1; fi
    [ "$(wc -l <"$work/out")" -eq 1 ] && grep -q Xcode "$work/out"
fi
