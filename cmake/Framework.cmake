# Apple: qzStressTemplLib.framework, the whole library in one module: core, C interface, Objective-C classes, and
# with the Xcode generator the Swift classes over them. scripts/xcframework joins the frameworks of all platforms.
set(qz_framework_headers
    bindings/apple/qzStressTemplLib.h
    bindings/objc/include/OCqz.h
    bindings/objc/include/OCqzDefines.h
    bindings/objc/include/OCqzDfsLib.h
    bindings/objc/include/OCqzFiltersLib.h
    bindings/objc/include/OCqzMeanRRmsLib.h
    bindings/objc/include/OCqzStressTemplLib.h
    api/qzStressTemplLibC.h)
set(qz_framework_module_map bindings/apple/module.modulemap)
if(NOT APPLE)
    return()
endif()

get_target_property(qz_core_sources qzStressTemplLib_objects SOURCES)
add_library(qzStressTemplLib_framework SHARED
    ${qz_core_sources}
    ${qz_framework_headers}
    ${qz_framework_module_map}
    bindings/objc/OCqzDfsLib.mm
    bindings/objc/OCqzFiltersLib.mm
    bindings/objc/OCqzMeanRRmsLib.mm
    bindings/objc/OCqzStressTemplLib.mm)
target_include_directories(qzStressTemplLib_framework PRIVATE ${PROJECT_SOURCE_DIR} bindings/objc/include)
target_compile_features(qzStressTemplLib_framework PRIVATE cxx_std_17)
target_link_libraries(qzStressTemplLib_framework PRIVATE objc_foundation)
set_target_properties(qzStressTemplLib_framework PROPERTIES
    OUTPUT_NAME qzStressTemplLib
    FRAMEWORK ON
    FRAMEWORK_VERSION A
    MACOSX_FRAMEWORK_IDENTIFIER org.qzstresstempllib.qzStressTemplLib
    MACOSX_FRAMEWORK_BUNDLE_VERSION ${PROJECT_VERSION}
    MACOSX_FRAMEWORK_SHORT_VERSION_STRING ${PROJECT_VERSION}
    PUBLIC_HEADER "${qz_framework_headers}"
    XCODE_ATTRIBUTE_DEFINES_MODULE YES
    XCODE_ATTRIBUTE_MODULEMAP_FILE ${PROJECT_SOURCE_DIR}/${qz_framework_module_map}
    XCODE_ATTRIBUTE_CLANG_WARN_QUOTED_INCLUDE_IN_FRAMEWORK_HEADER NO)

if(CMAKE_GENERATOR STREQUAL "Xcode")
    enable_language(Swift)
    target_sources(qzStressTemplLib_framework PRIVATE
        bindings/swift/Conversions.swift
        bindings/swift/qzDfsLib.swift
        bindings/swift/qzFiltersLib.swift
        bindings/swift/qzMeanRRmsLib.swift
        bindings/swift/qzStressTemplLib.swift)
    # Users build with other compilers than the framework. A class is named like the module, which a textual
    # interface otherwise cannot tell apart.
    set_target_properties(qzStressTemplLib_framework PROPERTIES
        XCODE_ATTRIBUTE_SWIFT_VERSION 5.0
        XCODE_ATTRIBUTE_BUILD_LIBRARY_FOR_DISTRIBUTION YES
        XCODE_ATTRIBUTE_OTHER_SWIFT_FLAGS "-Xfrontend -module-interface-preserve-types-as-written")
else()
    # Xcode places the module map by itself.
    set_source_files_properties(${qz_framework_module_map} PROPERTIES MACOSX_PACKAGE_LOCATION Modules)
endif()
