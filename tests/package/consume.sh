# Sourced: builds tests/consumer both ways against an installed library and runs what comes out.
#   consume SOURCE_DIR WORK_DIR CXX_COMPILER LIBRARY [PREFIX]
# in C and C++, by CMake and by pkg-config, or in the ways that the variable `ways` names.
# LIBRARY is the file that the shared programs have to load. Without PREFIX the system's own directories are
# searched.
consume() {
    for run in ${ways:-C-cmake C-pkg-config CXX-cmake CXX-pkg-config}; do
        build=$2/consumer-$run
        case $run in *cmake) option=OFF ;; *) option=ON ;; esac
        PKG_CONFIG_PATH=${5:+$(dirname "$4")/pkgconfig} cmake -S "$1/tests/consumer" -B "$build" \
            ${5:+-DCMAKE_PREFIX_PATH="$5"} -DCMAKE_CXX_COMPILER="$3" -DCMAKE_C_COMPILER="$(c_of "$3")" \
            -DCMAKE_BUILD_TYPE=Release -DQZ_LANGUAGE="${run%%-*}" -DQZ_BY_PKG_CONFIG=$option >"$build.log" 2>&1 &&
            cmake --build "$build" >>"$build.log" 2>&1 || { cat "$build.log" >&2; return 1; }
        for program in "$build"/*_shared "$build"/*_static; do
            "$program" >"$build.out" && grep -qx works "$build.out" || { echo "$program: does not work" >&2; return 1; }
            loads=$(ldd "$program" 2>/dev/null | sed -n 's/.*libqzStressTemplLib\.so.*=> \([^ ]*\).*/\1/p')
            case $program in
            *_shared) [ "$(readlink -f "$loads")" = "$(readlink -f "$4")" ] ;;
            *_static) [ -z "$loads" ] ;;
            esac || { echo "$program: loads '$loads'" >&2; return 1; }
            echo "$run: $(basename "$program") works"
        done
    done
}
# The C compiler beside a C++ compiler.
c_of() { echo "$1" | sed 's/clang++/clang/; s/g++/gcc/'; }
