# For the functions that run zentara-schemas when a target is built.

# Ends with a message unless `function` was called as it is to be, by what cmake_parse_arguments has
# set in the caller.
macro(zentara_check_schemas_arguments function)
    if(ARG_UNPARSED_ARGUMENTS OR ARG_KEYWORDS_MISSING_VALUES)
        message(FATAL_ERROR "${function}: not understood: "
            "${ARG_UNPARSED_ARGUMENTS} ${ARG_KEYWORDS_MISSING_VALUES}")
    elseif(NOT ARG_TARGET OR NOT ARG_SCHEMAS)
        message(FATAL_ERROR "${function}: TARGET and SCHEMAS are needed")
    elseif(NOT TARGET "${ARG_TARGET}")
        message(FATAL_ERROR "${function}: there is no target ${ARG_TARGET}")
    endif()
endmacro()

# The zentara-schemas to run: a target, or a path.
function(zentara_find_schemas_program result)
    if(ZENTARA_SCHEMAS_PROGRAM)
        set(program "${ZENTARA_SCHEMAS_PROGRAM}")
    elseif(TARGET ZentaraClient::zentara-schemas)
        set(program ZentaraClient::zentara-schemas)
    else()
        message(FATAL_ERROR "zentara-schemas is missing: ZentaraClient was built or installed without "
            "its applications (ZENTARA_BUILD_APPS). Set ZENTARA_SCHEMAS_PROGRAM to its path.")
    endif()
    if(TARGET "${program}" AND CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
        message(FATAL_ERROR "zentara-schemas does not run on this machine: set "
            "ZENTARA_SCHEMAS_PROGRAM to the path of one that does.")
    endif()
    set(${result} "${program}" PARENT_SCOPE)
endfunction()

# The arguments as absolute paths, and the schemas that they stand for.
function(zentara_list_schemas paths_result schemas_result)
    set(paths)
    set(schemas)
    foreach(path IN LISTS ARGN)
        cmake_path(ABSOLUTE_PATH path BASE_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}" NORMALIZE)
        if(IS_DIRECTORY "${path}")
            file(GLOB inside CONFIGURE_DEPENDS "${path}/*.json")
            list(APPEND schemas ${inside})
        elseif(EXISTS "${path}")
            list(APPEND schemas "${path}")
        else()
            message(FATAL_ERROR "no such schema: ${path}")
        endif()
        list(APPEND paths "${path}")
    endforeach()
    set(${paths_result} "${paths}" PARENT_SCOPE)
    set(${schemas_result} "${schemas}" PARENT_SCOPE)
endfunction()
