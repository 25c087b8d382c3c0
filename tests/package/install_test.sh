#!/bin/sh
# install_test.sh CMAKE BUILD_DIR SOURCE_DIR CXX_COMPILER: installs into a directory, moves it, and builds programs
# against it from there.
set -eu
cmake=$1 build=$2 source=$3 compiler=$4
. "$source/tests/package/consume.sh"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

DESTDIR= "$cmake" --install "$build" --prefix "$work/installed" >"$work/log"
mv "$work/installed" "$work/moved"
prefix=$work/moved
if grep -rlIE "$build|$source|$work/installed" "$prefix"; then
    echo "the files above name the build, the source or the prefix" >&2
    exit 1
fi

# Every header of the library is there, they need nothing that is not, and no other file lies among them.
headers=$prefix/include/qzStressTemplLib
(cd "$source" && find api core session -name internal -prune -o -name '*.h' -print | sort) >"$work/expected"
(cd "$headers" && find api core session -type f | sort) | diff "$work/expected" -
sed 's/.*/#include "&"/' "$work/expected" >"$work/all.cpp"
"$compiler" -std=c++17 -Wall -Wextra -Werror -fsyntax-only -I "$headers" "$work/all.cpp"

library=$(find "$prefix" -name libqzStressTemplLib.so)
[ "$(readlink "$library")" = libqzStressTemplLib.so.1 ]
consume "$source" "$work" "$compiler" "$library" "$prefix"

# As a part of somebody's project: one name, for the library that is wanted or the one that there can be.
mkdir "$work/parent"
cat >"$work/parent/CMakeLists.txt" <<'PARENT'
cmake_minimum_required(VERSION 3.25)
project(parent LANGUAGES CXX)
add_subdirectory(${LIBRARY} library)
get_target_property(kind qzStressTemplLib::qzStressTemplLib TYPE)
message(STATUS "links ${kind}")
PARENT
kind() {
    "$cmake" -S "$work/parent" -B "$work/parent/$2" -DCMAKE_CXX_COMPILER="$compiler" -DLIBRARY="$source" \
        -DQZ_INSTALL=ON "-D$2" | grep -q "links $1_LIBRARY" || { echo "$2: not $1" >&2; exit 1; }
}
kind SHARED BUILD_SHARED_LIBS=ON
kind STATIC BUILD_SHARED_LIBS=OFF
kind STATIC CMAKE_SYSTEM_NAME=Generic
