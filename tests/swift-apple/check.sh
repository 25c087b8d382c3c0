#!/bin/sh
# Type-checks the Swift classes as Apple's platforms compile them: with the Objective-C attributes and over the
# real class headers, against stand-ins for Apple's two modules. Compares the Objective-C interface that the
# compiler writes with the list of selectors. Nothing is run. Exits with 77 where there is no Swift.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
root=$(dirname "$(dirname "$here")")
PATH=$PATH:/opt/swift/usr/bin
command -v swiftc >/dev/null || exit 77
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

stub=$root/tests/apple-stub
set -- -enable-objc-interop -module-cache-path "$out/cache" -I "$stub/ObjectiveC" -I "$stub/Foundation" \
    -Xcc "-I$stub"
swiftc -frontend -emit-module "$@" -module-name Foundation -import-underlying-module \
    -o "$out/Foundation.swiftmodule" "$stub/Foundation/Bridges.swift"
swiftc -frontend -typecheck "$@" -disable-objc-attr-requires-foundation-module -parse-as-library \
    -warnings-as-errors -module-name qzStressTemplLib -I "$out" -I "$root/bindings/objc/include" \
    -emit-objc-header-path "$out/header.h" "$root"/bindings/swift/*.swift

# "- (BOOL)createWithChn:(int16_t)chn uVpb:(double)uVpb;" becomes "createWithChn:uVpb:".
awk '/^@interface / { class = $2 }
    /^[-+] / && !/UNAVAILABLE/ {
        sub(/^[-+] \([^)]*\)/, ""); sub(/ (SWIFT|OBJC)_.*/, ""); sub(/;.*/, "")
        gsub(/\([^)]*\)[A-Za-z0-9_]*/, ""); gsub(/ /, "")
        print class, $0
    }' "$out/header.h" | LC_ALL=C sort >"$out/selectors"
diff "$here/../swift/selectors.txt" "$out/selectors"

# The plain initialiser that is left out is the compiler's stub, which stops the process.
awk '/^@interface qzMeanRRmsLib /, /^@end/' "$out/header.h" | grep -q 'init SWIFT_UNAVAILABLE;'
echo "$(wc -l <"$out/selectors") selectors"
