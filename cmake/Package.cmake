# `cpack -G DEB` makes Debian packages: as Debian lays libraries out libqzstresstempllib1 with the shared library
# and libqzstresstempllib-dev with everything to build against it, and qzstress with the program. Configure with
# -DCMAKE_INSTALL_PREFIX=/usr (the preset deb does): the library directory of a Debian system, which carries the
# architecture's name, is chosen with that prefix. The Objective-C classes are not packaged.
if(NOT PROJECT_IS_TOP_LEVEL OR NOT CMAKE_SYSTEM_NAME STREQUAL "Linux")
    return()
endif()
set(QZ_MAINTAINER "qzStressTemplLib maintainers <maintainers@qzstresstempllib.invalid>" CACHE STRING
    "Maintainer that the Debian packages name: whoever gives them away enters a contact here")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_PACKAGE_CONTACT "${QZ_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_COMPONENTS_ALL runtime dev)
if(TARGET qzstress)
    list(APPEND CPACK_COMPONENTS_ALL program)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libqzstresstempllib${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
# CPack adds scripts that run ldconfig by themselves; with the trigger it also runs where they are not run.
file(WRITE ${PROJECT_BINARY_DIR}/debian/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/debian/triggers)
# The names that the library exports, for the dependencies of programs.
find_program(QZ_DPKG_GENSYMBOLS dpkg-gensymbols)
if(QZ_DPKG_GENSYMBOLS)
    add_custom_command(TARGET qzStressTemplLib POST_BUILD COMMAND ${QZ_DPKG_GENSYMBOLS} -q
        -p${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} -v${PROJECT_VERSION} -e$<TARGET_FILE:qzStressTemplLib>
        -O${PROJECT_BINARY_DIR}/debian/symbols)
    list(APPEND CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/debian/symbols)
endif()
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "analysis of exercise electrocardiograms, shared library
Filters, heart rate, averaged beats by template matching and ST measurement
for multi-lead electrocardiograms, frame by frame.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libqzstresstempllib-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
    "${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_COMPONENT_DEV_DESCRIPTION "analysis of exercise electrocardiograms, development files
Headers, static library, CMake package and pkg-config file of
${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME}.")

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME qzstress)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SHLIBDEPS ON)
# The library is found where it is built, and told by its package. Reports are set in DejaVu Sans.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS "${CPACK_DEBIAN_DEV_PACKAGE_DEPENDS}, fonts-dejavu-core")
set(CPACK_COMPONENT_PROGRAM_DESCRIPTION "analysis of recorded exercise electrocardiograms
Takes a recording (WFDB, EDF, BDF, CSV) to heart rate, ST level and slope of
every lead, averaged beats, indices and a report in PDF, HTML or PNG.
Not a medical device.")

# Whose the packages are and what changed in them. No other installation holds these files.
configure_file(packaging/debian/copyright debian/copyright @ONLY)
configure_file(packaging/debian/changelog debian/changelog.Debian @ONLY)
execute_process(COMMAND gzip -9nf ${PROJECT_BINARY_DIR}/debian/changelog.Debian)
foreach(component RUNTIME DEV PROGRAM)
    string(TOLOWER ${component} name)
    install(FILES ${PROJECT_BINARY_DIR}/debian/copyright ${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz
        DESTINATION share/doc/${CPACK_DEBIAN_${component}_PACKAGE_NAME} COMPONENT ${name} EXCLUDE_FROM_ALL)
endforeach()
include(CPack)
