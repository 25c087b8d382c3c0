# Tests of what a user of the built library sees: the examples, its exported names, the installation. Sanitizers
# export names of their own, and programs that know nothing of them cannot load the library.
set(package ${CMAKE_CURRENT_SOURCE_DIR}/package)

foreach(door main session)
    add_test(NAME examples_agree_${door}
        COMMAND sh ${package}/examples_test.sh $<TARGET_FILE:qz_example_${door}_cpp> $<TARGET_FILE:qz_example_${door}_c>
            $<$<TARGET_EXISTS:qz_example_${door}_objc>:$<TARGET_FILE:qz_example_${door}_objc>>
        COMMAND_EXPAND_LISTS)
endforeach()
find_program(QZ_CLANG NAMES clang++-14 clang++ PATHS /usr/bin NO_DEFAULT_PATH)
if(QZ_CLANG AND NOT APPLE)
    add_test(NAME framework_layout
        COMMAND sh ${package}/framework_test.sh ${QZ_CLANG} ${CMAKE_COMMAND} ${PROJECT_SOURCE_DIR})
    set_tests_properties(framework_layout PROPERTIES SKIP_RETURN_CODE 77)
endif()
if(CMAKE_CXX_FLAGS MATCHES "-fsanitize")
    return()
endif()
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    add_test(NAME exported_names
        COMMAND sh ${package}/symbols_test.sh ${PROJECT_SOURCE_DIR} $<TARGET_FILE:qzStressTemplLib>
            $<TARGET_FILE:qzStressTemplLib_static>)
    add_test(NAME hardened
        COMMAND sh ${package}/hardening_test.sh $<TARGET_FILE:qzStressTemplLib>
            $<$<TARGET_EXISTS:qzstress>:$<TARGET_FILE:qzstress>>
        COMMAND_EXPAND_LISTS)
endif()
find_program(PYTHON3 python3)
if(PYTHON3)
    foreach(door main session)
        add_test(NAME example_python_agrees_${door}
            COMMAND sh ${package}/examples_test.sh $<TARGET_FILE:qz_example_${door}_cpp>
                "${PYTHON3} ${PROJECT_SOURCE_DIR}/examples/python/${door}.py $<TARGET_FILE:qzStressTemplLib>")
    endforeach()
endif()
if(QZ_INSTALL AND CMAKE_SYSTEM_NAME STREQUAL "Linux")
    add_test(NAME installed_library
        COMMAND sh ${package}/install_test.sh ${CMAKE_COMMAND} ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR}
            ${CMAKE_CXX_COMPILER})
    set_tests_properties(installed_library PROPERTIES COST 10)
endif()
