# Helpers that give every target of the project the same language level, warnings, hardening and
# sanitizer.

# What makes a memory error harder to exploit, as far as compiler and processor have it.
# ZENTARA_HARDENING_OPTIONS and ZENTARA_HARDENING_LINK_OPTIONS; a sanitizer brings its own means.
set(ZENTARA_HARDENING_OPTIONS)
set(ZENTARA_HARDENING_LINK_OPTIONS)
if(ZENTARA_HARDENING AND NOT ZENTARA_SANITIZER)
    include(CheckCXXCompilerFlag)
    include(CheckPIESupported)
    check_pie_supported(LANGUAGES CXX)
    # Of control flow, returns only: nothing that Linux runs in user space checks the marks of
    # branches, which cost some instructions in each function.
    foreach(flag IN ITEMS
            stack-protector-strong stack-clash-protection cf-protection=return)
        string(MAKE_C_IDENTIFIER "ZENTARA_HAS_${flag}" known)
        check_cxx_compiler_flag(-f${flag} ${known})
        if(${known})
            list(APPEND ZENTARA_HARDENING_OPTIONS -f${flag})
        endif()
    endforeach()
    # Without optimisation the checked functions cannot be had. A distribution's compiler may
    # define a level of its own.
    list(APPEND ZENTARA_HARDENING_OPTIONS
        "$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:SHELL:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3>")
    set(ZENTARA_HARDENING_LINK_OPTIONS
        "LINKER:-z,relro" "LINKER:-z,now" "LINKER:-z,noexecstack")
endif()

# zentara_configure_target(target [HEADERS name]): the target is compiled with the headers of
# zentara_compile_headers(name), by default with those of the standard library.
function(zentara_configure_target target)
    cmake_parse_arguments(ARG "" "HEADERS" "" ${ARGN})
    zentara_set_options(${target})
    if(NOT ARG_HEADERS)
        set(ARG_HEADERS zentara_standard_headers)
    endif()
    target_precompile_headers(${target} REUSE_FROM ${ARG_HEADERS})
endfunction()

function(zentara_set_options target)
    target_compile_features(${target} PUBLIC cxx_std_20)
    set_target_properties(${target} PROPERTIES
        CXX_EXTENSIONS OFF
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON
        POSITION_INDEPENDENT_CODE ON)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
        -Woverloaded-virtual -Wcast-qual -Wformat=2 -Wnull-dereference
        $<$<BOOL:${ZENTARA_WARNINGS_AS_ERRORS}>:-Werror>
        $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
    # g++ 12 reports null dereferences and overflows inside its own inlined headers at -O2.
    target_compile_options(${target} PRIVATE "$<$<COMPILE_LANG_AND_ID:CXX,GNU>:\
-Wno-null-dereference;-Wno-stringop-overflow;-Wno-stringop-overread;-Wno-restrict>")
    if(CMAKE_UNITY_BUILD)
        # Sources that are compiled together look like headers to g++, and see each other's names.
        target_compile_options(${target} PRIVATE -Wno-shadow
            "$<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-subobject-linkage>")
    endif()
    if(NOT CMAKE_DISABLE_PRECOMPILE_HEADERS)
        # ccache compares compiled headers, and those of a library serve a program, too. With them
        # g++ 12 also reports array bounds inside of its own headers.
        target_compile_options(${target} PRIVATE -fPIC
            "$<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fpch-preprocess;-Wno-array-bounds>"
            "$<$<COMPILE_LANG_AND_ID:CXX,Clang>:SHELL:-Xclang -fno-pch-timestamp>")
    endif()
    if(ZENTARA_MINIMAL)
        target_compile_options(${target} PRIVATE -Os -ffunction-sections -fdata-sections)
        target_link_options(${target} PRIVATE LINKER:--gc-sections)
    endif()
    target_compile_options(${target} PRIVATE ${ZENTARA_HARDENING_OPTIONS})
    target_link_options(${target} PRIVATE ${ZENTARA_HARDENING_LINK_OPTIONS})
    if(ZENTARA_SANITIZER)
        target_compile_options(${target} PRIVATE
            -fsanitize=${ZENTARA_SANITIZER} -fno-sanitize-recover=all -fno-omit-frame-pointer)
        # Whatever links these objects needs the sanitizer's runtime, but only within this build.
        target_link_options(${target} PUBLIC
            "$<BUILD_INTERFACE:-fsanitize=${ZENTARA_SANITIZER}>")
    endif()
endfunction()

# zentara_compile_plainly(source): under a sanitizer, which optimises, the source is not optimised.
# For readers of a command line: CLI11 takes more time to optimise than the rest of the program.
function(zentara_compile_plainly source)
    if(ZENTARA_SANITIZER)
        set_source_files_properties(${source} PROPERTIES
            COMPILE_OPTIONS -O0 SKIP_PRECOMPILE_HEADERS ON)
    endif()
endfunction()

# What a target with Objective-C sources needs beside zentara_configure_target. Debug information of
# clang's newest kind is more than today's valgrind can read.
function(zentara_configure_objc target)
    set_target_properties(${target} PROPERTIES
        OBJC_STANDARD 17 OBJC_EXTENSIONS ON OBJC_VISIBILITY_PRESET hidden)
    target_compile_options(${target} PRIVATE "$<$<COMPILE_LANGUAGE:OBJC>:-gdwarf-4>")
    set_target_properties(${target} PROPERTIES DISABLE_PRECOMPILE_HEADERS ON)
endfunction()

# zentara_library_folder(folder SOURCES source... [DEPENDS folder...] [USES library...]): one folder
# of the library as an object library, which both the shared and the static library take in.
function(zentara_library_folder folder)
    cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS;USES" ${ARGN})
    zentara_declare_folder(${folder} ${ARG_DEPENDS})
    string(MAKE_C_IDENTIFIER "zentara_${folder}" target)
    list(TRANSFORM ARG_DEPENDS REPLACE "/" "_")
    list(TRANSFORM ARG_DEPENDS PREPEND "zentara_")
    add_library(${target} OBJECT ${ARG_SOURCES})
    zentara_configure_target(${target})
    if(CMAKE_SIZEOF_VOID_P EQUAL 4)
        # Large files, and clocks beyond 2038. No header of the library shows these types, so hosts and
        # other libraries may have them otherwise, and compiled headers do.
        target_compile_definitions(${target} PRIVATE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
        set_target_properties(${target} PROPERTIES DISABLE_PRECOMPILE_HEADERS ON)
    endif()
    target_include_directories(${target} PUBLIC
        "${PROJECT_SOURCE_DIR}/library" "${PROJECT_BINARY_DIR}/include")
    target_link_libraries(${target} PUBLIC ${ARG_DEPENDS} ${ARG_USES})
    set_property(GLOBAL APPEND PROPERTY ZENTARA_LIBRARY_FOLDERS ${target})
endfunction()

# zentara_declare_folder(folder neighbour...): `folder` includes headers of these neighbours, and of
# no others. As a neighbour must have been declared before, there are no cycles.
function(zentara_declare_folder folder)
    get_property(declared GLOBAL PROPERTY ZENTARA_DECLARED_FOLDERS)
    foreach(neighbour IN LISTS ARGN)
        if(NOT neighbour IN_LIST declared)
            message(FATAL_ERROR "${folder} depends on ${neighbour}, which is not declared before it")
        endif()
    endforeach()
    list(JOIN ARGN " " neighbours)
    set_property(GLOBAL APPEND PROPERTY ZENTARA_DECLARED_FOLDERS ${folder})
    set_property(GLOBAL APPEND_STRING PROPERTY ZENTARA_FOLDER_DEPENDENCIES
        "${folder}: ${neighbours}\n")
endfunction()
