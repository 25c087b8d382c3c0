# Every target of the project links qz_warnings privately: nothing leaks to consumers.
add_library(qz_warnings INTERFACE)
target_compile_options(qz_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion)
# g++ 12 takes string literals added to strings for overlapping copies.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(qz_warnings INTERFACE -Wno-restrict)
endif()
