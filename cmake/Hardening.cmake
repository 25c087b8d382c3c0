# What the distributions harden programs with, for the library and the host program: checks of the stack and of the
# buffers of libc's functions, and for the program an address that changes. The results are not touched. Sanitizers
# check the same and more, and are disturbed by it.
add_library(qz_hardening INTERFACE)
if(NOT CMAKE_SYSTEM_NAME STREQUAL "Linux" OR CMAKE_CXX_FLAGS MATCHES "-fsanitize")
    return()
endif()
include(CheckPIESupported)
check_pie_supported()
target_compile_options(qz_hardening INTERFACE -fstack-protector-strong -Wformat -Werror=format-security
    "$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")  # needs optimisation
target_link_options(qz_hardening INTERFACE LINKER:-z,relro LINKER:-z,now)
