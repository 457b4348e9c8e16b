# What the package of the tools holds beside the programs: their manual pages, made of --help, the
# completion of their command lines, the collector's service and examples.
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME tools)

find_program(ZENTARA_HELP2MAN help2man REQUIRED)
mark_as_advanced(ZENTARA_HELP2MAN)
set(pages)
file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/man" "${PROJECT_BINARY_DIR}/completions")
foreach(program IN ITEMS zentara-collector zentara-schemas zentara-track)
    set(page "${PROJECT_BINARY_DIR}/man/${program}.1.gz")
    add_custom_command(OUTPUT "${page}"
        COMMAND bash "${folder}/manual-page" $<TARGET_FILE:${program}> "${page}"
        DEPENDS ${program} zentara-collector-expect "${folder}/manual-page" VERBATIM)
    list(APPEND pages "${page}")
    if(NOT program STREQUAL "zentara-collector")
        file(CREATE_LINK zentara-collector "${PROJECT_BINARY_DIR}/completions/${program}" SYMBOLIC)
    endif()
endforeach()
add_custom_target(zentara_manual_pages ALL DEPENDS ${pages})
install(FILES ${pages} DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")

set(completions "${CMAKE_INSTALL_DATADIR}/bash-completion/completions")
install(FILES "${folder}/completion.bash" DESTINATION "${completions}" RENAME zentara-collector)
install(FILES "${PROJECT_BINARY_DIR}/completions/zentara-schemas"
    "${PROJECT_BINARY_DIR}/completions/zentara-track" DESTINATION "${completions}")
install(FILES "${folder}/zentara-collector.service" DESTINATION lib/systemd/user)
install(DIRECTORY "${folder}/deployment" DESTINATION "${CMAKE_INSTALL_DATADIR}/zentara/examples")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/examples/schemas" "${PROJECT_SOURCE_DIR}/examples/minimal"
        "${PROJECT_SOURCE_DIR}/examples/c"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/zentara/examples")
install(FILES "${PROJECT_SOURCE_DIR}/examples/events.jsonl"
    "${PROJECT_SOURCE_DIR}/examples/wrong-events.jsonl"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/zentara/examples")
