# Every target of the project links qz_warnings privately: nothing leaks to consumers.
add_library(qz_warnings INTERFACE)
target_compile_options(qz_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion)
