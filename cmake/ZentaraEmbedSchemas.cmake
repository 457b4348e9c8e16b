# zentara_embed_schemas(TARGET app SCHEMAS fileOrFolder... [NAMESPACE shop])
#
# Compiles a table of the schemas into a C++ target, so that the library is ready at its first start
# without a network. Made when the target is built, and again when a schema is changed, added or
# removed. The namespace is by default named after the target:
#
#     zentara_embed_schemas(TARGET app SCHEMAS schemas NAMESPACE shop)
#     # main.cpp: #include "app_schemas.h"
#     #           zentara::ZentaraClient::setBundledSchemas(shop::schemas);
#
# ZENTARA_SCHEMAS_PROGRAM is the zentara-schemas to run; it must be set when cross compiling, to one
# that runs on this machine.
include("${CMAKE_CURRENT_LIST_DIR}/ZentaraSchemas.cmake")

function(zentara_embed_schemas)
    cmake_parse_arguments(PARSE_ARGV 0 ARG "" "TARGET;NAMESPACE" "SCHEMAS")
    zentara_check_schemas_arguments(zentara_embed_schemas)
    if(NOT ARG_NAMESPACE)
        string(MAKE_C_IDENTIFIER "${ARG_TARGET}" ARG_NAMESPACE)
    endif()
    set(folder "${CMAKE_CURRENT_BINARY_DIR}/${ARG_TARGET}_bundled_schemas")
    file(MAKE_DIRECTORY "${folder}")

    zentara_find_schemas_program(program)
    zentara_list_schemas(sources schemas ${ARG_SCHEMAS})
    # Changes when a schema is added or removed, which a time of a file may not tell.
    set(list "${folder}/schemas.txt")
    file(CONFIGURE OUTPUT "${list}" CONTENT "${schemas}\n${ARG_NAMESPACE}\n" @ONLY)
    set(header "${folder}/${ARG_TARGET}_schemas.h")
    add_custom_command(
        OUTPUT "${header}"
        COMMAND "${program}" bundle ${sources} --as header --scope "${ARG_NAMESPACE}"
            --output "${header}"
        DEPENDS ${schemas} "${list}" "${program}"
        COMMENT "Bundling the schemas of ${ARG_TARGET}"
        VERBATIM)
    target_sources(${ARG_TARGET} PRIVATE "${header}")
    target_include_directories(${ARG_TARGET} PRIVATE "${folder}")
endfunction()
