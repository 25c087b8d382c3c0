# Objective-C++ with a Foundation: Apple's, or GNUstep on the runtime that comes with gcc. Sets HAVE_OBJC and, where
# that is ON, makes the target objc_foundation. A directory that all users of the language share includes this.
set(HAVE_OBJC OFF)
include(CheckLanguage)
if(NOT DEFINED ENV{OBJCXX})
    set(ENV{OBJCXX} "${CMAKE_CXX_COMPILER}")  # otherwise CMake prefers clang++ wherever there is one
endif()
set(CMAKE_OBJCXX_FLAGS "${CMAKE_CXX_FLAGS}" CACHE STRING "Flags of the Objective-C++ compiler")
check_language(OBJCXX)
find_path(GNUSTEP_INCLUDE_DIR Foundation/Foundation.h PATHS /usr/include/GNUstep NO_DEFAULT_PATH)
find_library(GNUSTEP_BASE_LIBRARY gnustep-base)
mark_as_advanced(GNUSTEP_INCLUDE_DIR GNUSTEP_BASE_LIBRARY)
if(NOT CMAKE_OBJCXX_COMPILER OR NOT (APPLE OR (GNUSTEP_INCLUDE_DIR AND GNUSTEP_BASE_LIBRARY)))
    return()
endif()

enable_language(OBJCXX)
set(HAVE_OBJC ON)
add_library(objc_foundation INTERFACE)
if(APPLE)
    target_link_libraries(objc_foundation INTERFACE "-framework Foundation")
    return()
endif()
set(qz_objc_flags -DGNUSTEP -DGNUSTEP_BASE_LIBRARY=1 -DGNU_RUNTIME=1 -D_NATIVE_OBJC_EXCEPTIONS
    -fexceptions -fobjc-exceptions -fno-strict-aliasing -fconstant-string-class=NSConstantString)
if(NOT CMAKE_OBJCXX_COMPILER_ID STREQUAL "GNU")
    # clang speaks gcc's runtime, with gcc's headers of it.
    execute_process(COMMAND gcc -print-file-name=include
        OUTPUT_VARIABLE gcc_include OUTPUT_STRIP_TRAILING_WHITESPACE)
    list(APPEND qz_objc_flags -fobjc-runtime=gcc -fno-blocks -idirafter${gcc_include})
endif()
set(objc "$<COMPILE_LANGUAGE:OBJC,OBJCXX>")
# SYSTEM: its headers are not free of warnings.
target_include_directories(objc_foundation SYSTEM INTERFACE "$<${objc}:${GNUSTEP_INCLUDE_DIR}>")
target_compile_options(objc_foundation INTERFACE "$<${objc}:${qz_objc_flags}>")
target_link_libraries(objc_foundation INTERFACE ${GNUSTEP_BASE_LIBRARY} objc)
