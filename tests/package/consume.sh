# Sourced: builds tests/consumer both ways against an installed library and runs what comes out.
#   consume SOURCE_DIR WORK_DIR CXX_COMPILER LIBRARY [PREFIX]
# LIBRARY is the file that the shared programs have to load. Without PREFIX the system's own directories are
# searched.
consume() {
    for by in cmake pkg-config; do
        build=$2/consumer-$by
        [ $by = pkg-config ] && option=ON || option=OFF
        PKG_CONFIG_PATH=${5:+$(dirname "$4")/pkgconfig} cmake -S "$1/tests/consumer" -B "$build" \
            ${5:+-DCMAKE_PREFIX_PATH="$5"} -DCMAKE_CXX_COMPILER="$3" -DCMAKE_BUILD_TYPE=Release \
            -DQZ_BY_PKG_CONFIG=$option >"$build.log" 2>&1 &&
            cmake --build "$build" >>"$build.log" 2>&1 || { cat "$build.log" >&2; return 1; }
        programs="cpp_shared cpp_static c_shared c_static"
        [ ! -e "$build/objc_shared" ] || programs="$programs objc_shared"
        for program in $programs; do
            "$build/$program" >"$build.out" && grep -qx works "$build.out" ||
                { echo "$by, $program: does not work" >&2; return 1; }
            loads=$(ldd "$build/$program" 2>/dev/null | sed -n 's/.*libqzStressTemplLib\.so.*=> \([^ ]*\).*/\1/p')
            case $program in
            *_shared) [ "$(readlink -f "$loads")" = "$(readlink -f "$4")" ] ;;
            *_static) [ -z "$loads" ] ;;
            esac || { echo "$by, $program: loads '$loads'" >&2; return 1; }
        done
        echo "found by $by: $programs work"
    done
}
