# zentara_embed_schemas(target SCHEMAS fileOrFolder... [NAMESPACE shop])
#
# Compiles a table of the schemas into a C++ target, so that the library is ready at its first start
# without a network. Made when the target is built, and again when a schema is changed, added or
# removed. The namespace is by default named after the target:
#
#     zentara_embed_schemas(app SCHEMAS schemas NAMESPACE shop)
#     # main.cpp: #include "app_schemas.h"
#     #           zentara::ZentaraClient::setBundledSchemas(shop::schemas);
#
# ZENTARA_SCHEMAS_PROGRAM is the zentara-schemas to run; it must be set when cross compiling, to one
# that runs on this machine.
include("${CMAKE_CURRENT_LIST_DIR}/ZentaraSchemas.cmake")

function(zentara_embed_schemas target)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "" "NAMESPACE" "SCHEMAS")
    if(NOT TARGET ${target})
        message(FATAL_ERROR "zentara_embed_schemas: there is no target ${target}")
    elseif(ARG_UNPARSED_ARGUMENTS OR ARG_KEYWORDS_MISSING_VALUES)
        message(FATAL_ERROR "zentara_embed_schemas(${target}): not understood: "
            "${ARG_UNPARSED_ARGUMENTS} ${ARG_KEYWORDS_MISSING_VALUES}")
    elseif(NOT ARG_SCHEMAS)
        message(FATAL_ERROR "zentara_embed_schemas(${target}): SCHEMAS is missing")
    endif()
    if(NOT ARG_NAMESPACE)
        string(MAKE_C_IDENTIFIER "${target}" ARG_NAMESPACE)
    endif()
    set(folder "${CMAKE_CURRENT_BINARY_DIR}/${target}_bundled_schemas")
    file(MAKE_DIRECTORY "${folder}")

    zentara_find_schemas_program(program)
    zentara_list_schemas(sources schemas ${ARG_SCHEMAS})
    # Changes when a schema is added or removed, which a time of a file may not tell.
    set(list "${folder}/schemas.txt")
    file(CONFIGURE OUTPUT "${list}" CONTENT "${schemas}\n${ARG_NAMESPACE}\n" @ONLY)
    set(header "${folder}/${target}_schemas.h")
    add_custom_command(
        OUTPUT "${header}"
        COMMAND "${program}" bundle ${sources} --as header --scope "${ARG_NAMESPACE}"
            --output "${header}"
        DEPENDS ${schemas} "${list}" "${program}"
        COMMENT "Bundling the schemas of ${target}"
        VERBATIM)
    target_sources(${target} PRIVATE "${header}")
    target_include_directories(${target} PRIVATE "${folder}")
endfunction()
