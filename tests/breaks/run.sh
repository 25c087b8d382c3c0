#!/usr/bin/env bash
# run.sh [NAME...]: applies each break of this folder (all of them, or those named without .patch) to a copy of
# the sources, one at a time, and runs the tests of what it breaks until one fails: the library's, for session/ and
# host/ those of the session and of the host's results, for host/record/ those of WFDB, for host/live/ its own, for the C functions of a session theirs. Every break must be caught: it ends with an error where
# one escapes, does not apply any more or does not compile. It works in build/breaks.
set -euo pipefail
cd "$(dirname "$0")/../.."
. scripts/packages
install_packages g++ cmake ninja-build libgtest-dev libgmock-dev patch "${host_packages[@]}"

breaks=$PWD/tests/breaks
tree=$PWD/build/breaks/tree
library_programs=(qz_digest filters_test detect_test stress_test api_filters_test api_stress_test api_c_test
    restart_test)
session_programs=(session_test stress_session_test host_results_test)
launcher=$(command -v ccache || true)

rm -rf "$tree"
mkdir -p "$tree"
git ls-files -z | xargs -0 sh -c 'for file; do [ ! -f "$file" ] || printf "%s\0" "$file"; done' - |
    tar --null -T - -cf - | tar -xf - -C "$tree"
# Programs do not depend on the shared library's contents, so that a break compiles one source as a rule.
cmake -S "$tree" -B "$tree/build" -G Ninja -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_FLAGS=-O1 \
    -DCMAKE_CXX_COMPILER=/usr/bin/g++ ${launcher:+-DCMAKE_CXX_COMPILER_LAUNCHER="$launcher"} \
    -DCMAKE_LINK_DEPENDS_NO_SHARED=ON -DQZ_BUILD_BENCH=OFF -DQZ_BUILD_OBJC=OFF -DQZ_INSTALL=OFF >"$tree/log"

# Sets `programs` to those that test what patch $1 breaks.
choose_programs() {
    programs=("${library_programs[@]}")
    if grep -qE '^--- a/(session|host)/' "$1"; then programs=("${session_programs[@]}"); fi
    if grep -q '^--- a/host/record/' "$1"; then programs=(host_wfdb_test); fi
    if grep -q '^--- a/host/live/' "$1"; then programs=(host_live_test); fi
    if grep -q '^--- a/api/qzSessionC' "$1"; then programs=(api_c_test); fi
}

build() {
    cmake --build "$tree/build" -j "$(nproc)" --target qzStressTemplLib "${programs[@]}" >"$tree/log" 2>&1
}

# Prints the first program that fails; nothing where all pass.
first_failure() {
    local program arguments
    for program in "${programs[@]}"; do
        arguments=(--gtest_fail_fast --gtest_brief=1)
        [ "$program" != qz_digest ] || arguments=("$tree/tests/digest/values.txt")
        if ! timeout 60 "$tree/build/tests/$program" "${arguments[@]}" >"$tree/log" 2>&1; then
            echo "$program"
            return
        fi
    done
}

[ $# -gt 0 ] || set -- "$breaks"/*.patch
declare -A needed
for name; do
    choose_programs "$breaks/$(basename "$name" .patch).patch"
    for program in "${programs[@]}"; do needed[$program]=1; done
done
programs=("${!needed[@]}")
build || { tail -20 "$tree/log" >&2; exit 1; }
failure=$(first_failure)
[ -z "$failure" ] || { echo "$failure fails without a break" >&2; exit 1; }

caught=0 faulty=()
for name; do
    name=$(basename "$name" .patch)
    choose_programs "$breaks/$name.patch"
    if ! patch -s -p1 --no-backup-if-mismatch -r - -d "$tree" <"$breaks/$name.patch" >"$tree/log" 2>&1; then
        echo "$name: does not apply" >&2
        faulty+=("$name")
        continue
    fi
    if ! build; then
        echo "$name: does not compile" >&2
        faulty+=("$name")
    else
        failure=$(first_failure)
        echo "$name: ${failure:-ESCAPED}"
        if [ -n "$failure" ]; then caught=$((caught + 1)); else faulty+=("$name"); fi
    fi
    patch -s -R -p1 --no-backup-if-mismatch -d "$tree" <"$breaks/$name.patch"
done
echo "$caught of $# breaks caught${faulty:+; not so: ${faulty[*]}}"
[ ${#faulty[@]} -eq 0 ]
