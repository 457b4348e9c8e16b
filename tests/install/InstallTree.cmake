# Installs the build tree BUILD below PREFIX, which is emptied first, and looks at what came there.
cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE "${PREFIX}")
execute_process(COMMAND "${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${PREFIX}"
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)

# The headers: each can be reached as <zentara/Name.h>, and what it includes can be, too.
file(GLOB_RECURSE headers RELATIVE "${PREFIX}/include" "${PREFIX}/include/*")
# What an Objective-C compiler must find in place of the system's own; not for applications.
list(FILTER headers EXCLUDE REGEX
    "^zentara/gnustep/(objc/(blocks_runtime|objc)\\.h|gcc/objc.*)$|/module.modulemap$")
foreach(header IN LISTS headers)
    if(NOT header MATCHES "^zentara/[A-Za-z]+\\.h$")
        message(SEND_ERROR "not a public header: ${header}")
    endif()
    file(STRINGS "${PREFIX}/include/${header}" includes REGEX "^[ \t]*#[ \t]*(include|import)")
    foreach(include IN LISTS includes)
        if(include MATCHES "<(zentara/[^>]+)>")
            if(NOT CMAKE_MATCH_1 IN_LIST headers)
                message(SEND_ERROR "${header} includes a private header: ${include}")
            endif()
        elseif(NOT "${header} ${include}" MATCHES
               "<([a-z_]+)>|/zentara.h .*<(std(bool|def|int)|string)\\.h>|/QVN.* <Foundation/Foundation\\.h>|/Language.h .*\"ZentaraClient needs C")
            message(SEND_ERROR "${header} includes what the system may not have: ${include}")
        endif()
    endforeach()
endforeach()

# The symbols of a shared library: its interface, each with its version, and nothing of what that is
# made of.
function(expect_symbols library interface)
    execute_process(COMMAND "${NM}" --dynamic --defined-only --demangle
        "${PREFIX}/${LIBDIR}/lib${library}.so"
        OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX REPLACE "[^\n]* (${interface})\n" "" others "${symbols}")
    string(REGEX MATCHALL "[^\n]*::Implementation::[^\n]*" private "${symbols}")
    if(others OR private)
        message(SEND_ERROR "${library} exports more than its interface:\n${others}${private}")
    endif()
endfunction()

# An application needs no library of Boost, and no certain version of it.
file(GLOB installed "${PREFIX}/${LIBDIR}/*.so" "${PREFIX}/${LIBDIR}/*/*.pc"
    "${PREFIX}/${LIBDIR}/cmake/*/*.cmake" "${PREFIX}/include/zentara/*.h")
foreach(file IN LISTS installed)
    if(file MATCHES "\\.so$")
        execute_process(COMMAND "${READELF}" --dynamic --dyn-syms --wide "${file}"
            OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
    else()
        file(READ "${file}" text)
    endif()
    string(REGEX MATCH "[^\n]*[Bb]oost[^\n]*" line "${text}")
    if(line)
        message(SEND_ERROR "${file} names Boost: ${line}")
    endif()
endforeach()

expect_symbols(ZentaraClient
    "(T|V) (typeinfo for |typeinfo name for |vtable for )?zentara::[^\n]*@@ZENTARA_CXX_3|\
T zentara_[a-z_]+@@ZENTARA_3[.0-9]*|A ZENTARA_(CXX_)?3[.0-9]*")
# The functions that the C header declares, and no others.
file(READ "${PREFIX}/include/zentara/zentara.h" header)
string(REGEX MATCHALL "ZENTARA_EXPORT[^;(]*\\(" declared "${header}")
list(TRANSFORM declared REPLACE ".*[^a-z_](zentara_[a-z_]+)\\($" "\\1")
execute_process(COMMAND "${NM}" --dynamic --defined-only "${PREFIX}/${LIBDIR}/libZentaraClient.so"
    OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL " T zentara_[a-z_]+" exported "${symbols}")
list(TRANSFORM exported REPLACE " T " "")
list(SORT declared)
list(SORT exported)
if(NOT declared STREQUAL exported)
    message(SEND_ERROR "zentara.h declares ${declared}\nexported are ${exported}")
endif()
if(EXISTS "${PREFIX}/${LIBDIR}/libZentaraClientObjC.so")
    # Its classes, and what the compiler calls for blocks.
    string(CONCAT interface
        "(__objc_class_name_QVN[A-Za-z]+|ZentaraClient[A-Za-z]*ErrorDomain|"
        "_Block_(copy|release|object_assign|object_dispose)|"
        "_NSConcrete(Stack|Global|Malloc)Block)@@ZENTARA_OBJC_3|A ZENTARA_OBJC_3")
    expect_symbols(ZentaraClientObjC "${interface}")
endif()
