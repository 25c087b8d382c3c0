# The shared and the static library, both of the same objects. What users link is qzStressTemplLib::qzStressTemplLib,
# here as after the installation: the shared library, or with BUILD_SHARED_LIBS=OFF, and where there are no shared
# libraries, the static one. qzStressTemplLib::shared and qzStressTemplLib::static name one of the two.

# Exported is what the headers mark with QZ_API. Objective-C classes have no such mark and stay visible.
add_library(qz_exports INTERFACE)
if(WIN32)
    target_compile_definitions(qz_exports INTERFACE "QZ_API=__declspec(dllexport)")
else()
    target_compile_definitions(qz_exports INTERFACE "QZ_API=__attribute__((visibility(\"default\")))")
    target_compile_options(qz_exports INTERFACE
        "$<$<COMPILE_LANGUAGE:CXX>:-fvisibility=hidden;-fvisibility-inlines-hidden>")
endif()
target_link_libraries(qzStressTemplLib_objects PRIVATE qz_exports)

add_library(qzStressTemplLib_static STATIC $<TARGET_OBJECTS:qzStressTemplLib_objects>)
add_library(qzStressTemplLib::static ALIAS qzStressTemplLib_static)
set_target_properties(qzStressTemplLib_static PROPERTIES OUTPUT_NAME qzStressTemplLib EXPORT_NAME static)
# A program of C or Objective-C is linked without the C++ library that the objects need.
set(qz_cxx_runtime stdc++ m)
if("c++" IN_LIST CMAKE_CXX_IMPLICIT_LINK_LIBRARIES)
    set(qz_cxx_runtime c++ m)
endif()
target_link_libraries(qzStressTemplLib_static INTERFACE "$<$<NOT:$<LINK_LANGUAGE:CXX>>:${qz_cxx_runtime}>")
set(qz_libraries qzStressTemplLib_static)
set(qz_kind static)

get_property(qz_has_shared GLOBAL PROPERTY TARGET_SUPPORTS_SHARED_LIBS)
if(qz_has_shared)
    add_library(qzStressTemplLib SHARED $<TARGET_OBJECTS:qzStressTemplLib_objects>)
    add_library(qzStressTemplLib::shared ALIAS qzStressTemplLib)
    set_target_properties(qzStressTemplLib PROPERTIES
        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} EXPORT_NAME shared)
    target_link_libraries(qzStressTemplLib PRIVATE $<BUILD_INTERFACE:qz_hardening>)
    list(APPEND qz_libraries qzStressTemplLib)
    if(WIN32)
        target_compile_definitions(qzStressTemplLib INTERFACE "QZ_API=__declspec(dllimport)")
    elseif(CMAKE_EXECUTABLE_FORMAT STREQUAL "ELF")
        target_link_options(qzStressTemplLib PRIVATE
            "LINKER:--version-script=${PROJECT_SOURCE_DIR}/cmake/exports.map")
        set_target_properties(qzStressTemplLib PROPERTIES LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/exports.map)
    endif()
    if(BUILD_SHARED_LIBS OR NOT DEFINED BUILD_SHARED_LIBS)
        set(qz_kind shared)
    endif()
else()
    add_library(qzStressTemplLib ALIAS qzStressTemplLib_static)
endif()
get_target_property(qz_default qzStressTemplLib::${qz_kind} ALIASED_TARGET)
add_library(qzStressTemplLib::qzStressTemplLib ALIAS ${qz_default})

foreach(target IN LISTS qz_libraries ITEMS qzStressTemplLib_objects)
    target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
    target_compile_features(${target} PUBLIC cxx_std_17)
endforeach()
