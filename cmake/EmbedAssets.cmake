# zentara_embed_assets(target HEADER collector/PageAssets.h NAMESPACE zentara::collector
#                      FILES page/index.html page/page.css ...)
#
# Puts the bytes of files into a target, which then defines `pageAssets` of the header. The source is
# made at build time, again whenever one of the files changes. The path of a file is its name, of
# index.html "/".

if(NOT CMAKE_SCRIPT_MODE_FILE)
    set(ZENTARA_EMBED_ASSETS_SCRIPT "${CMAKE_CURRENT_LIST_FILE}")

    function(zentara_embed_assets target)
        cmake_parse_arguments(ARG "" "HEADER;NAMESPACE" "FILES" ${ARGN})
        set(files)
        foreach(file IN LISTS ARG_FILES)
            list(APPEND files "${CMAKE_CURRENT_SOURCE_DIR}/${file}")
        endforeach()
        set(output "${CMAKE_CURRENT_BINARY_DIR}/${target}_PageAssets.cpp")
        # A list would be torn apart on its way through the command line.
        list(JOIN files "|" joined)
        add_custom_command(
            OUTPUT "${output}"
            COMMAND "${CMAKE_COMMAND}" "-DOUTPUT=${output}" "-DHEADER=${ARG_HEADER}"
                    "-DNAMESPACE=${ARG_NAMESPACE}" "-DFILES=${joined}" -P "${ZENTARA_EMBED_ASSETS_SCRIPT}"
            DEPENDS ${files} "${ZENTARA_EMBED_ASSETS_SCRIPT}"
            COMMENT "Embedding the page"
            VERBATIM)
        target_sources(${target} PRIVATE "${output}")
    endfunction()
    return()
endif()

set(type_of.html "text/html; charset=utf-8")
set(type_of.css "text/css; charset=utf-8")
set(type_of.js "text/javascript; charset=utf-8")
set(type_of.svg "image/svg+xml")

string(REPLACE "|" ";" FILES "${FILES}")
set(arrays)
set(entries)
set(index 0)
foreach(file IN LISTS FILES)
    cmake_path(GET file FILENAME name)
    cmake_path(GET file EXTENSION LAST_ONLY extension)
    set(type "${type_of${extension}}")
    if(type STREQUAL "")
        message(FATAL_ERROR "EmbedAssets: no content type is known for ${name}")
    endif()
    if(name STREQUAL "index.html")
        set(path "/")
    else()
        set(path "/${name}")
    endif()
    file(READ "${file}" bytes HEX)
    string(LENGTH "${bytes}" digits)
    math(EXPR size "${digits} / 2")
    string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
    # One byte more, as an array cannot be empty.
    string(APPEND arrays "constexpr unsigned char file${index}[] = {${bytes}0};\n")
    string(APPEND entries "    PageAsset{\"${path}\", \"${type}\", textOf(file${index}, ${size})},\n")
    math(EXPR index "${index} + 1")
endforeach()

file(WRITE "${OUTPUT}"
"// Made by EmbedAssets.cmake.
#include \"${HEADER}\"

#include <array>
#include <cstddef>

namespace ${NAMESPACE} {

namespace {

${arrays}
std::string_view textOf(const unsigned char* bytes, std::size_t size) {
    return {reinterpret_cast<const char*>(bytes), size};
}

}  // namespace

std::span<const PageAsset> pageAssets() {
    static const std::array assets{
${entries}    };
    return assets;
}

}  // namespace ${NAMESPACE}
")
