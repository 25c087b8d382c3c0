# qz_compile_together(TARGET): where QZ_COMPILE_TOGETHER is on, the sources of each folder are compiled as one, which
# takes half of the time for all and longer for one. Names without linkage then have to differ within a folder.
option(QZ_COMPILE_TOGETHER "Compile the sources of a folder as one: for builds from nothing" OFF)

function(qz_compile_together target)
    if(NOT QZ_COMPILE_TOGETHER)
        return()
    endif()
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
    # What a class hides in its source is without linkage as before.
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
    get_target_property(sources ${target} SOURCES)
    foreach(source IN LISTS sources)
        get_source_file_property(group ${source} UNITY_GROUP)
        if(NOT group)
            get_filename_component(folder ${source} DIRECTORY)
            string(MAKE_C_IDENTIFIER "${folder}" folder)
            set_source_files_properties(${source} PROPERTIES UNITY_GROUP "${folder}")
        endif()
    endforeach()
endfunction()
