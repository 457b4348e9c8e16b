# Installs the build tree BUILD below PREFIX, which is emptied first, and looks at what came there.
cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE "${PREFIX}")
execute_process(COMMAND "${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${PREFIX}"
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)

# The headers: each can be reached as <zentara/Name.h>, and what it includes can be, too.
file(GLOB_RECURSE headers RELATIVE "${PREFIX}/include" "${PREFIX}/include/*")
if(NOT "zentara/ZentaraClient.h" IN_LIST headers)
    message(SEND_ERROR "the umbrella header is missing")
endif()
# What an Objective-C compiler must find in place of the system's own; not for applications.
list(FILTER headers EXCLUDE REGEX "^zentara/gnustep/objc/(blocks_runtime|objc)\\.h$")
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
        elseif(header MATCHES "/QVN" AND include MATCHES "<Foundation/Foundation\\.h>")
            # The one header of the system that Objective-C cannot do without.
        elseif(NOT include MATCHES "<(boost/json/[a-z_]+\\.hpp|[a-z_]+)>")
            message(SEND_ERROR "${header} includes what the system may not have: ${include}")
        endif()
    endforeach()
endforeach()

# The symbols of the shared library: the public classes, and nothing of what they are made of.
execute_process(COMMAND "${NM}" --dynamic --defined-only --demangle
    "${PREFIX}/${LIBDIR}/libZentaraClient.so"
    OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
if(NOT symbols MATCHES "T zentara::ZentaraClient::get\\(")
    message(SEND_ERROR "the library does not export its entry point")
endif()
string(REGEX REPLACE "[^\n]* (T|V) (typeinfo for |typeinfo name for |vtable for )?zentara::[^\n]*\n"
    "" others "${symbols}")
string(REGEX MATCHALL "[^\n]*zentara::[A-Za-z]+::Implementation::[^\n]*" private "${symbols}")
if(others OR private)
    message(SEND_ERROR "the library exports more than its interface:\n${others}${private}")
endif()

# The Objective-C library, where there is one: its classes, and what the compiler calls for blocks.
if(EXISTS "${PREFIX}/${LIBDIR}/libZentaraClientObjC.so")
    execute_process(COMMAND "${NM}" --dynamic --defined-only
        "${PREFIX}/${LIBDIR}/libZentaraClientObjC.so"
        OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX REPLACE
        "[^\n]* (__objc_class_name_(QVNZentaraClient|Event|[A-Za-z]*Error|ZentaraClientNotReady)|_Block_(copy|release|object_assign|object_dispose)|_NSConcrete(Stack|Global|Malloc)Block)\n"
        "" others "${symbols}")
    if(others OR NOT symbols MATCHES " __objc_class_name_QVNZentaraClient\n")
        message(SEND_ERROR "the Objective-C library exports other than its interface:\n${others}")
    endif()
endif()
