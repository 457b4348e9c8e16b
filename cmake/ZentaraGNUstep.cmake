# Gives ZentaraClient::GNUstep: everything that Objective-C sources with blocks need in order to be
# compiled with clang for GCC's Objective-C runtime and GNUstep.

set(ZENTARA_GNUSTEP_FLAGS
    -fPIC -fobjc-runtime=gcc -fblocks -fexceptions -fobjc-exceptions
    -fconstant-string-class=NSConstantString -fno-strict-aliasing -pthread)
set(ZENTARA_GNUSTEP_DEFINITIONS
    GNUSTEP GNUSTEP_BASE_LIBRARY=1 GNU_RUNTIME=1 _NATIVE_OBJC_EXCEPTIONS)

# Looks for the headers and libraries that the compiler `clang` needs. ZENTARA_GNUSTEP_PROBLEM says
# what is missing, if anything is.
function(zentara_find_gnustep clang)
    set(problem "")
    execute_process(COMMAND "${clang}" --version OUTPUT_VARIABLE version ERROR_QUIET)
    if(NOT version MATCHES "clang")
        set(problem "the Objective-C compiler ${clang} is not a clang, which has blocks")
    endif()
    foreach(file IN ITEMS include/objc/objc.h libobjc.so)
        # The compiler knows where GCC keeps its own; a name that it does not find comes back bare.
        execute_process(COMMAND "${clang}" "-print-file-name=${file}" OUTPUT_VARIABLE path
            OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
        get_filename_component(path "${path}" ABSOLUTE)
        if(NOT problem AND NOT EXISTS "${path}")
            set(problem "${clang} does not find ${file} of GCC's Objective-C runtime")
        endif()
        get_filename_component(name "${file}" NAME)
        set(found_${name} "${path}")
    endforeach()
    find_path(ZENTARA_FOUNDATION_DIR Foundation/Foundation.h
        PATHS /usr/include/GNUstep PATH_SUFFIXES GNUstep)
    find_library(ZENTARA_GNUSTEP_LIBRARY gnustep-base PATHS /usr/lib)
    mark_as_advanced(ZENTARA_FOUNDATION_DIR ZENTARA_GNUSTEP_LIBRARY)
    if(NOT problem AND (NOT ZENTARA_FOUNDATION_DIR OR NOT ZENTARA_GNUSTEP_LIBRARY))
        set(problem "GNUstep Base is not installed (libgnustep-base-dev)")
    endif()
    get_filename_component(objc_headers "${found_objc.h}" DIRECTORY)
    set(ZENTARA_OBJC_HEADERS "${objc_headers}" PARENT_SCOPE)
    set(ZENTARA_OBJC_LIBRARY "${found_libobjc.so}" PARENT_SCOPE)
    set(ZENTARA_GNUSTEP_PROBLEM "${problem}" PARENT_SCOPE)
endfunction()

# Makes the target, once zentara_find_gnustep has found what it needs. `compatibility_headers` is the
# folder of the headers that belong to the Blocks runtime.
function(zentara_add_gnustep compatibility_headers)
    # GCC's folder of headers holds more than those of Objective-C, and clang must not see the rest.
    set(only_objc "${CMAKE_BINARY_DIR}/CMakeFiles/zentara-objc")
    set(ZENTARA_ONLY_OBJC "${only_objc}" PARENT_SCOPE)
    file(MAKE_DIRECTORY "${only_objc}")
    file(CREATE_LINK "${ZENTARA_OBJC_HEADERS}" "${only_objc}/objc" SYMBOLIC)

    find_package(Threads REQUIRED)
    add_library(ZentaraClient::GNUstep INTERFACE IMPORTED)
    set(flags ${ZENTARA_GNUSTEP_FLAGS})
    set(folders "${compatibility_headers}" "${only_objc}" "${ZENTARA_FOUNDATION_DIR}")
    foreach(folder IN LISTS folders)
        list(APPEND flags "SHELL:-isystem \"${folder}\"")
    endforeach()
    target_compile_options(ZentaraClient::GNUstep INTERFACE "$<$<COMPILE_LANGUAGE:OBJC>:${flags}>")
    target_compile_definitions(ZentaraClient::GNUstep INTERFACE
        "$<$<COMPILE_LANGUAGE:OBJC>:${ZENTARA_GNUSTEP_DEFINITIONS}>")
    target_link_libraries(ZentaraClient::GNUstep INTERFACE
        "${ZENTARA_GNUSTEP_LIBRARY}" "${ZENTARA_OBJC_LIBRARY}" Threads::Threads)
endfunction()
