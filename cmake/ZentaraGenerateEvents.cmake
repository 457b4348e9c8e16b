# zentara_generate_events(TARGET app SCHEMAS fileOrFolder...
#     [NAMESPACE shop::events] [LANGUAGE CPP|C|OBJC|PYTHON] [NAME events] [OUTPUT_DIR folder])
#
# Generates types for the events of the schemas when the target is built, and again when a schema is
# changed, added or removed. The target, and what is linked with it, can then include "NAME.h"; with
# Objective-C, the target also has NAME.m; with Python, the module comes into OUTPUT_DIR:
#
#     zentara_generate_events(TARGET app SCHEMAS schemas NAMESPACE shop::events)
#     # main.cpp: #include "events.h"
#
# NAMESPACE is the prefix of the classes in Objective-C; in C, shop::events begins the names as
# shop_events_. ZENTARA_SCHEMAS_PROGRAM is the zentara-schemas to run; it must be set when cross
# compiling, to one that runs on this machine.
include("${CMAKE_CURRENT_LIST_DIR}/ZentaraSchemas.cmake")

function(zentara_generate_events)
    cmake_parse_arguments(PARSE_ARGV 0 ARG "" "TARGET;NAMESPACE;LANGUAGE;NAME;OUTPUT_DIR" "SCHEMAS")
    zentara_check_schemas_arguments(zentara_generate_events)
    if(NOT ARG_LANGUAGE)
        set(ARG_LANGUAGE CPP)
    endif()
    if(NOT ARG_NAME)
        set(ARG_NAME events)
    endif()
    set(files_CPP "${ARG_NAME}.h")
    set(files_C "${ARG_NAME}.h")
    set(files_OBJC "${ARG_NAME}.h" "${ARG_NAME}.m")
    set(files_PYTHON "${ARG_NAME}.py")
    if(NOT DEFINED files_${ARG_LANGUAGE})
        message(FATAL_ERROR "zentara_generate_events: LANGUAGE is CPP, C, OBJC or PYTHON, "
            "not ${ARG_LANGUAGE}")
    endif()
    string(TOLOWER "${ARG_LANGUAGE}" language)
    set(folder "${CMAKE_CURRENT_BINARY_DIR}/${ARG_TARGET}_${language}_events")
    if(ARG_OUTPUT_DIR)
        cmake_path(ABSOLUTE_PATH ARG_OUTPUT_DIR BASE_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}"
            NORMALIZE OUTPUT_VARIABLE folder)
    endif()

    zentara_find_schemas_program(program)
    zentara_list_schemas(sources schemas ${ARG_SCHEMAS})
    # Changes when a schema is added or removed, which a time of a file may not tell.
    set(list "${CMAKE_CURRENT_BINARY_DIR}/${ARG_TARGET}_${language}_${ARG_NAME}.schemas")
    file(CONFIGURE OUTPUT "${list}" CONTENT "${schemas}\n${ARG_NAMESPACE}\n" @ONLY)
    set(command generate --language ${language} --schemas ${sources} --output-dir "${folder}"
        --name "${ARG_NAME}")
    if(ARG_NAMESPACE)
        list(APPEND command --scope "${ARG_NAMESPACE}")
    endif()
    list(TRANSFORM files_${ARG_LANGUAGE} PREPEND "${folder}/" OUTPUT_VARIABLE files)
    add_custom_command(
        OUTPUT ${files}
        COMMAND "${program}" ${command}
        DEPENDS ${schemas} "${list}" "${program}"
        COMMENT "Generating ${ARG_NAME} from the schemas"
        VERBATIM)
    target_sources(${ARG_TARGET} PRIVATE ${files})
    if(NOT ARG_LANGUAGE STREQUAL "PYTHON")
        target_include_directories(${ARG_TARGET} PUBLIC "$<BUILD_INTERFACE:${folder}>")
    endif()
endfunction()
