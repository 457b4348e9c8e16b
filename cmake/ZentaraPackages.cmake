# What cpack needs: each component as a Debian package, and the sources as an archive. scripts/package
# calls it with ZENTARA_PACKAGES, which adds to the install tree what only the packages hold.
set(CPACK_PACKAGE_NAME zentaraclient)
set(CPACK_PACKAGE_CONTACT "ZentaraClient developers <zentaraclient@example.org>")
# Each package has a summary of its own.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_RESOURCE_FILE_LICENSE "${PROJECT_SOURCE_DIR}/packaging/copyright")
set(CPACK_SOURCE_GENERATOR TGZ)
set(CPACK_SOURCE_PACKAGE_FILE_NAME "zentaraclient-${PROJECT_VERSION}")
set(CPACK_SOURCE_IGNORE_FILES "/\\\\.git/" "/\\\\.git$" "/\\\\.cache/" "^${PROJECT_SOURCE_DIR}/build/"
    "/__pycache__/" "/compile_commands\\\\.json$")
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE zentaraclient)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

if(ZENTARA_PACKAGES)
    set(version "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")
    string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
    set(folder "${PROJECT_SOURCE_DIR}/packaging")
    set(changelogs "${PROJECT_BINARY_DIR}/changelog.Debian")
    configure_file("${folder}/changelog.in" "${changelogs}" @ONLY)
    if(EXISTS "${PROJECT_SOURCE_DIR}/CHANGELOG.md")
        configure_file("${PROJECT_SOURCE_DIR}/CHANGELOG.md" "${PROJECT_BINARY_DIR}/changelog" COPYONLY)
        list(APPEND changelogs "${PROJECT_BINARY_DIR}/changelog")
    endif()
    execute_process(COMMAND gzip --force --best --no-name ${changelogs} COMMAND_ERROR_IS_FATAL ANY)
    list(TRANSFORM changelogs APPEND .gz)

    # zentara_package(component NAME package SECTION section SUMMARY line TEXT lines
    #                 [DEPENDS packages] [RECOMMENDS packages] [CONTROL files] [COMPILED])
    macro(zentara_package component)
        cmake_parse_arguments(ARG "COMPILED" "NAME;SECTION;SUMMARY;TEXT;DEPENDS;RECOMMENDS" "CONTROL" ${ARGN})
        list(APPEND CPACK_COMPONENTS_ALL ${component})
        string(TOUPPER CPACK_DEBIAN_${component} prefix)
        set(${prefix}_PACKAGE_NAME ${ARG_NAME})
        set(${prefix}_FILE_NAME DEB-DEFAULT)
        set(${prefix}_PACKAGE_SECTION ${ARG_SECTION})
        set(${prefix}_DESCRIPTION "${ARG_SUMMARY}\n${ARG_TEXT}")
        set(${prefix}_PACKAGE_DEPENDS "${ARG_DEPENDS}")
        set(${prefix}_PACKAGE_RECOMMENDS "${ARG_RECOMMENDS}")
        set(${prefix}_PACKAGE_CONTROL_EXTRA ${ARG_CONTROL})
        set(${prefix}_PACKAGE_SHLIBDEPS ${ARG_COMPILED})
        set(${prefix}_DEBUGINFO_PACKAGE ${ARG_COMPILED})
        install(FILES "${folder}/copyright" ${changelogs}
            DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${ARG_NAME}" COMPONENT ${component})
        if(EXISTS "${folder}/lintian/${ARG_NAME}")
            install(FILES "${folder}/lintian/${ARG_NAME}"
                DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides" COMPONENT ${component})
        endif()
    endmacro()

    set(CPACK_COMPONENTS_ALL)
    # The second name is of no file: cpack would write scripts that call ldconfig, as the trigger does.
    set(libraries "${folder}/library/triggers" "${folder}/no/postinst" "${folder}/no/postrm")
    set(text "An application sends events; the library checks each against its JSON Schema, keeps it in a
queue on disk and posts it to a collector over HTTP.\n\n")
    set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
    set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/library")
    zentara_package(library COMPILED NAME libzentaraclient3 SECTION libs
        SUMMARY "event-tracking client library" TEXT "${text}This package holds the shared library."
        CONTROL ${libraries})
    zentara_package(development NAME libzentaraclient-dev SECTION libdevel
        SUMMARY "event-tracking client library (development files)"
        TEXT "${text}This package holds the headers for C++ and C, the static library, and the files for
CMake and pkg-config."
        DEPENDS "libzentaraclient3 (= ${version})"
        # What the static library is linked with.
        RECOMMENDS "libsimdjson-dev, libcurl4-openssl-dev, libssl-dev, zlib1g-dev, libicu-dev")
    if(ZENTARA_HAS_OBJC)
        # The version of GCC whose runtime clang takes.
        cmake_path(GET ZENTARA_OBJC_LIBRARY PARENT_PATH gcc)
        cmake_path(GET gcc FILENAME gcc)
        zentara_package(objc COMPILED NAME libzentaraclient-objc3 SECTION libs
            SUMMARY "event-tracking client library for Objective-C"
            TEXT "${text}This package holds the shared library for Objective-C with GNUstep."
            DEPENDS "libzentaraclient3 (= ${version})" CONTROL ${libraries})
        zentara_package(objc_development NAME libzentaraclient-objc-dev SECTION libdevel
            SUMMARY "event-tracking client library for Objective-C (development files)"
            TEXT "${text}This package holds the headers for Objective-C with clang and GNUstep."
            DEPENDS "libzentaraclient-objc3 (= ${version}), libzentaraclient-dev (= ${version}), \
libgnustep-base-dev, libobjc-${gcc}-dev, clang")
    endif()
    zentara_package(tools COMPILED NAME zentara-tools SECTION devel
        SUMMARY "collector and tools for events of ZentaraClient"
        TEXT "${text}This package holds zentara-collector, a collector for development and tests,
zentara-track, which sends events from the command line, zentara-schemas, which checks schemas and
generates types from them, and examples.")
    # Apart, since the collector needs neither a broker's library nor a database's without it.
    if(TARGET zentara_forward_kafka_module OR TARGET zentara_forward_postgresql_module)
        zentara_package(forward COMPILED NAME zentara-forward SECTION devel
            SUMMARY "modules with which zentara-collector hands events on"
            TEXT "${text}This package holds the modules for Kafka and PostgreSQL."
            DEPENDS "zentara-tools (= ${version})")
    endif()
    zentara_package(python NAME python3-zentara SECTION python
        SUMMARY "event-tracking client library (Python 3)"
        TEXT "${text}This package holds the client for Python 3."
        DEPENDS "libzentaraclient3 (>= ${version}), python3 (>= 3.11)"
        CONTROL "${folder}/python/postinst" "${folder}/python/prerm")
    set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
    include(ZentaraToolFiles)

    # cpack separates the symbols from programs and shared libraries only.
    install(CODE "file(GLOB archives \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/*.a\")
        execute_process(COMMAND \"${CMAKE_STRIP}\" --strip-debug --enable-deterministic-archives
            \${archives} COMMAND_ERROR_IS_FATAL ANY)"
        COMPONENT development)
endif()
include(CPack)
