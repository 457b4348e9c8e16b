# What makes compiling cheaper: ccache where it is installed, and headers that are compiled once.

# ccache must be told that a compiled header may be trusted. What one clone has compiled serves
# another.
find_program(ZENTARA_CCACHE ccache)
mark_as_advanced(ZENTARA_CCACHE)
if(PROJECT_IS_TOP_LEVEL AND ZENTARA_CCACHE)
    foreach(language IN ITEMS CXX OBJC)
        set(CMAKE_${language}_COMPILER_LAUNCHER "${CMAKE_COMMAND}" -E env
            CCACHE_SLOPPINESS=pch_defines,time_macros CCACHE_NOHASHDIR=1
            "CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}" "${ZENTARA_CCACHE}")
    endforeach()
endif()

# CMake keeps these two for all languages together, and clang for Objective-C has set them to its own.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    set(CMAKE_PCH_EXTENSION .gch)
    set(CMAKE_PCH_PROLOGUE "#pragma GCC system_header")
endif()

# zentara_compile_headers(name header...): compiles the headers once, for all targets that have
# target_precompile_headers(target REUSE_FROM name) and the same options.
function(zentara_compile_headers name)
    set(source "${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp")
    file(CONFIGURE OUTPUT "${source}" CONTENT "")
    add_library(${name} OBJECT "${source}")
    zentara_set_options(${name})
    target_precompile_headers(${name} PRIVATE ${ARGN})
endfunction()

# The headers of the standard library that many sources include.
set(ZENTARA_STANDARD_HEADERS
    <algorithm> <array> <atomic> <charconv> <chrono> <cstdint> <cstring> <functional>
    <limits> <map> <memory> <mutex> <new> <optional> <span> <stdexcept> <string> <string_view>
    <system_error> <thread> <type_traits> <unordered_map> <utility> <variant> <vector>)
