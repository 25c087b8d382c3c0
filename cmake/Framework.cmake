# Apple: qzStressTemplLib.framework, the whole library in one module: core, flat interfaces, C interface, Objective-C
# classes, and with the Xcode generator the Swift classes over them. Built on request (its target), where the
# Objective-C classes are built. scripts/xcframework joins the frameworks of all platforms.
if(NOT APPLE OR NOT TARGET qzStressTemplLib_objc)
    return()
endif()

# The headers lie side by side in the framework and include each other by its name.
set(qz_framework_headers)
foreach(header
        bindings/apple/qzStressTemplLib.h
        bindings/objc/include/OCqz.h
        bindings/objc/include/OCqzDefines.h
        bindings/objc/include/OCqzDfsLib.h
        bindings/objc/include/OCqzFilterBank.h
        bindings/objc/include/OCqzFiltersLib.h
        bindings/objc/include/OCqzMeanRRmsLib.h
        bindings/objc/include/OCqzSession.h
        bindings/objc/include/OCqzStressTemplLib.h
        api/qzDfs.h
        api/qzFilterBanksC.h
        api/qzFilters.h
        api/qzSessionC.h
        api/qzStressECGLib.h
        api/qzStressTemplLibC.h
        api/qzStressTemplLibVersion.h)
    file(READ ${header} text)
    string(REGEX REPLACE "(#import|#include) \"([^\"]*/)?([^\"/]+)\"" "\\1 <qzStressTemplLib/\\3>" text "${text}")
    get_filename_component(name ${header} NAME)
    file(CONFIGURE OUTPUT framework/${name} CONTENT "${text}" @ONLY)
    list(APPEND qz_framework_headers ${PROJECT_BINARY_DIR}/framework/${name})
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${header})
endforeach()
set(qz_framework_module_map bindings/apple/module.modulemap)

get_target_property(qz_core_sources qzStressTemplLib_objects SOURCES)
add_library(qzStressTemplLib_framework SHARED EXCLUDE_FROM_ALL
    ${qz_core_sources}
    ${qz_framework_headers}
    ${qz_framework_module_map}
    bindings/objc/OCqzDfsLib.mm
    bindings/objc/OCqzFilterBank.mm
    bindings/objc/OCqzFiltersLib.mm
    bindings/objc/OCqzMeanRRmsLib.mm
    bindings/objc/OCqzSession.mm
    bindings/objc/OCqzStressTemplLib.mm)
# The folder of the Objective-C headers is not searched: its module map would offer the Swift classes a module OCqz,
# which no user of the framework has.
target_include_directories(qzStressTemplLib_framework PRIVATE ${PROJECT_SOURCE_DIR})
target_compile_features(qzStressTemplLib_framework PRIVATE cxx_std_17)
target_compile_options(qzStressTemplLib_framework PRIVATE
    "$<$<COMPILE_LANGUAGE:CXX,OBJCXX>:-ffp-contract=off>")
target_link_libraries(qzStressTemplLib_framework PRIVATE objc_foundation qz_exports)
set_target_properties(qzStressTemplLib_framework PROPERTIES
    OUTPUT_NAME qzStressTemplLib
    FRAMEWORK ON
    FRAMEWORK_VERSION A
    MACOSX_FRAMEWORK_IDENTIFIER org.qzstresstempllib.qzStressTemplLib
    MACOSX_FRAMEWORK_BUNDLE_VERSION ${PROJECT_VERSION}
    MACOSX_FRAMEWORK_SHORT_VERSION_STRING ${PROJECT_VERSION}
    PUBLIC_HEADER "${qz_framework_headers}"
    XCODE_ATTRIBUTE_DEFINES_MODULE YES
    XCODE_ATTRIBUTE_MODULEMAP_FILE ${PROJECT_SOURCE_DIR}/${qz_framework_module_map})

if(CMAKE_GENERATOR STREQUAL "Xcode")
    enable_language(Swift)
    target_sources(qzStressTemplLib_framework PRIVATE
        bindings/swift/Conversions.swift
        bindings/swift/qzDfsLib.swift
        bindings/swift/qzFilterBank.swift
        bindings/swift/qzFiltersLib.swift
        bindings/swift/qzMeanRRmsLib.swift
        bindings/swift/qzSession.swift
        bindings/swift/qzStressTemplLib.swift)
    # Users build with other compilers than the framework. A class is named like the module, which a textual
    # interface otherwise cannot tell apart.
    set_target_properties(qzStressTemplLib_framework PROPERTIES
        XCODE_ATTRIBUTE_SWIFT_VERSION 5.0
        XCODE_ATTRIBUTE_BUILD_LIBRARY_FOR_DISTRIBUTION YES
        XCODE_ATTRIBUTE_OTHER_SWIFT_FLAGS "-Xfrontend -module-interface-preserve-types-as-written")
else()
    # Xcode places the module map by itself; compilers look for it beside the folder of versions that macOS has.
    set_source_files_properties(${qz_framework_module_map} PROPERTIES MACOSX_PACKAGE_LOCATION Modules)
    if(CMAKE_SYSTEM_NAME STREQUAL "Darwin")
        add_custom_command(TARGET qzStressTemplLib_framework POST_BUILD COMMAND ${CMAKE_COMMAND} -E create_symlink
            Versions/Current/Modules $<TARGET_BUNDLE_DIR:qzStressTemplLib_framework>/Modules)
    endif()
endif()
