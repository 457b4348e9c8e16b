# What `cmake --install` puts where: both libraries, the public headers as <zentara/Name.h>, and
# what find_package(ZentaraClient) and pkg-config need to find them. The package for Python, too.
# Each component is one Debian package.
include(CMakePackageConfigHelpers)

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)
set(ZENTARA_PACKAGE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/ZentaraClient")

# Two export sets, so that users of the shared library need none of the libraries inside it.
install(TARGETS ZentaraClient EXPORT ZentaraClientTargets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT library NAMELINK_COMPONENT development)
install(TARGETS ZentaraClientStatic EXPORT ZentaraClientStaticTargets
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}")
# Not a file set: its folder would become a place of includes of its own, and <URL.h> ours.
list(TRANSFORM ZENTARA_PUBLIC_HEADERS PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/")
install(FILES ${ZENTARA_PUBLIC_HEADERS} DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/zentara")
foreach(set IN ITEMS ZentaraClientTargets ZentaraClientStaticTargets)
    install(EXPORT ${set} NAMESPACE ZentaraClient:: DESTINATION "${ZENTARA_PACKAGE_DIR}")
endforeach()

set(ZENTARA_PYTHON_DIR "${CMAKE_INSTALL_DATADIR}/zentara/python" CACHE STRING
    "Where the package for Python is installed")
mark_as_advanced(ZENTARA_PYTHON_DIR)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/bindings/python/zentara"
        "${PROJECT_SOURCE_DIR}/bindings/python/zentara_collector"
    DESTINATION "${ZENTARA_PYTHON_DIR}" COMPONENT python PATTERN __pycache__ EXCLUDE)

if(ZENTARA_BUILD_APPS)
    install(DIRECTORY "${PROJECT_SOURCE_DIR}/bindings/javascript/"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/zentara/javascript" COMPONENT tools)
endif()

set(ZENTARA_GNUSTEP_HEADERS "${CMAKE_INSTALL_INCLUDEDIR}/zentara/gnustep")
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/ZentaraClientConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/ZentaraClientConfig.cmake"
    INSTALL_DESTINATION "${ZENTARA_PACKAGE_DIR}" PATH_VARS ZENTARA_GNUSTEP_HEADERS)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/ZentaraClientConfigVersion.cmake"
    COMPATIBILITY SameMajorVersion)
install(FILES
    "${PROJECT_BINARY_DIR}/ZentaraClientConfig.cmake"
    "${PROJECT_BINARY_DIR}/ZentaraClientConfigVersion.cmake"
    "${PROJECT_SOURCE_DIR}/cmake/ZentaraEmbedSchemas.cmake"
    "${PROJECT_SOURCE_DIR}/cmake/ZentaraGenerateEvents.cmake"
    "${PROJECT_SOURCE_DIR}/cmake/ZentaraSchemas.cmake"
    DESTINATION "${ZENTARA_PACKAGE_DIR}")

# Relative to the file itself, so that the install tree can be moved.
file(RELATIVE_PATH ZENTARA_PC_PREFIX
    "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/$" "" ZENTARA_PC_PREFIX "${ZENTARA_PC_PREFIX}")
function(zentara_install_module module component)
    configure_file("${PROJECT_SOURCE_DIR}/cmake/${module}.pc.in"
        "${PROJECT_BINARY_DIR}/${module}.pc" @ONLY)
    install(FILES "${PROJECT_BINARY_DIR}/${module}.pc"
        DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT ${component})
endfunction()
zentara_install_module(zentaraclient development)
if(ZENTARA_HAS_OBJC)
    list(TRANSFORM ZENTARA_GNUSTEP_DEFINITIONS PREPEND -D OUTPUT_VARIABLE ZENTARA_PC_FLAGS)
    list(JOIN ZENTARA_GNUSTEP_FLAGS " " flags)
    list(JOIN ZENTARA_PC_FLAGS " " ZENTARA_PC_FLAGS)
    string(PREPEND ZENTARA_PC_FLAGS "${flags} ")
    zentara_install_module(zentaraclient-objc objc_development)
endif()
