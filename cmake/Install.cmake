# What `cmake --install` puts where, for users with CMake and with pkg-config. Nothing installed names the prefix:
# the tree may be moved.
#
#   <prefix>/include/qzStressTemplLib/{api,core,session}   headers, included as in the source tree: "api/qzFilters.h"
#   <prefix>/include/qzStressTemplLib/objc         headers of the Objective-C classes, where they were built
#   <prefix>/lib                                   shared and static library
#   <prefix>/lib/cmake/qzStressTemplLib            find_package(qzStressTemplLib 1.0)
#   <prefix>/lib/pkgconfig                         qzStressTemplLib.pc, qzStressTemplLib_objc.pc
#
#   <prefix>/bin/qzstress, with its manual page and completion, where it was built
#
# Components: runtime, dev, program, and objc for the Objective-C classes, which alone need an Objective-C runtime.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(qz_include_dir ${CMAKE_INSTALL_INCLUDEDIR}/qzStressTemplLib)
set(qz_config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/qzStressTemplLib)
set(qz_pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# qz_install_library TARGET EXPORT COMPONENT_OF_THE_LIBRARY COMPONENT_OF_ITS_LINK_NAME
function(qz_install_library target export runtime dev)
    install(TARGETS ${target} EXPORT ${export}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${runtime}  # the DLL on Windows
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${runtime} NAMELINK_COMPONENT ${dev}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${dev}
        INCLUDES DESTINATION ${qz_include_dir})
endfunction()

foreach(target IN LISTS qz_libraries)
    qz_install_library(${target} qzStressTemplLibTargets runtime dev)
endforeach()
install(EXPORT qzStressTemplLibTargets NAMESPACE qzStressTemplLib:: DESTINATION ${qz_config_dir} COMPONENT dev)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/api ${PROJECT_SOURCE_DIR}/core ${PROJECT_SOURCE_DIR}/session
    DESTINATION ${qz_include_dir}
    COMPONENT dev FILES_MATCHING PATTERN "*.h" PATTERN "internal" EXCLUDE)

if(TARGET qzStressTemplLib_objc)
    get_target_property(qz_objc_include_dir qzStressTemplLib_objc INTERFACE_INCLUDE_DIRECTORIES)
    set_target_properties(qzStressTemplLib_objc PROPERTIES
        EXPORT_NAME objc INSTALL_RPATH $ORIGIN INTERFACE_INCLUDE_DIRECTORIES
        "$<BUILD_INTERFACE:${qz_objc_include_dir}>;$<INSTALL_INTERFACE:${qz_include_dir}/objc>")
    qz_install_library(qzStressTemplLib_objc qzStressTemplLibObjcTargets objc objc)
    install(TARGETS objc_foundation EXPORT qzStressTemplLibObjcTargets)
    install(EXPORT qzStressTemplLibObjcTargets NAMESPACE qzStressTemplLib:: DESTINATION ${qz_config_dir}
        COMPONENT objc)
    install(DIRECTORY ${qz_objc_include_dir}/ DESTINATION ${qz_include_dir}/objc COMPONENT objc
        FILES_MATCHING PATTERN "*.h" PATTERN "module.modulemap")
endif()

configure_package_config_file(cmake/qzStressTemplLibConfig.cmake.in ${PROJECT_BINARY_DIR}/qzStressTemplLibConfig.cmake
    INSTALL_DESTINATION ${qz_config_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qzStressTemplLibConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qzStressTemplLibConfig.cmake
    ${PROJECT_BINARY_DIR}/qzStressTemplLibConfigVersion.cmake DESTINATION ${qz_config_dir} COMPONENT dev)

file(RELATIVE_PATH qz_prefix_from_pc "/${qz_pkgconfig_dir}" "/")
string(REGEX REPLACE "/$" "" qz_prefix_from_pc "${qz_prefix_from_pc}")
list(TRANSFORM qz_cxx_runtime PREPEND -l OUTPUT_VARIABLE qz_static_libs)
list(JOIN qz_static_libs " " qz_static_libs)
configure_file(cmake/qzStressTemplLib.pc.in ${PROJECT_BINARY_DIR}/qzStressTemplLib.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qzStressTemplLib.pc DESTINATION ${qz_pkgconfig_dir} COMPONENT dev)
if(TARGET qzStressTemplLib_objc)
    set(qz_objc_cflags "")
    set(qz_objc_libs "-framework Foundation")
    if(NOT APPLE)
        list(JOIN qz_objc_flags " " qz_objc_cflags)
        string(APPEND qz_objc_cflags " -isystem ${GNUSTEP_INCLUDE_DIR}")
        set(qz_objc_libs "-lgnustep-base -lobjc")
    endif()
    configure_file(cmake/qzStressTemplLib_objc.pc.in ${PROJECT_BINARY_DIR}/qzStressTemplLib_objc.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/qzStressTemplLib_objc.pc DESTINATION ${qz_pkgconfig_dir} COMPONENT objc)
endif()
