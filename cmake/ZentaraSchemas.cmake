# For the functions that run zentara-schemas when a target is built.

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
