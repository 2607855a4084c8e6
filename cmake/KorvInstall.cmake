# SPDX-License-Identifier: MIT
# What `cmake --install` and CPack ship: the two programs, the desktop
# integration and the examples (component runtime), and the libraries that
# are of use without the window, with their headers and a package config
# (component dev), so that find_package(korv CONFIG) gives korv::qrv16.
include(CMakePackageConfigHelpers)

set(KORV_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/korv)
set(KORV_INCLUDE_DIR ${CMAKE_INSTALL_INCLUDEDIR}/korv)

# connection is left out: its built-in certificate is a Qt resource object
# library, which does not survive export as a static library's dependency.
foreach(lib qrv16 libserial writers)
    add_library(korv::${lib} ALIAS ${lib})
    set_target_properties(${lib} PROPERTIES OUTPUT_NAME korv-${lib} EXPORT_NAME ${lib})
    # Headers are included from the repository root here and from
    # include/korv once installed: #include "qrv16/message.h" both ways.
    target_include_directories(${lib} INTERFACE
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
        $<INSTALL_INTERFACE:${KORV_INCLUDE_DIR}>)
    # Instrumented objects need the sanitizer runtime in whatever links them.
    if(KORV_SANITIZE)
        target_link_options(${lib} INTERFACE -fsanitize=address,undefined)
    endif()
    install(TARGETS ${lib} EXPORT korvTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/${lib}/ DESTINATION ${KORV_INCLUDE_DIR}/${lib}
        COMPONENT dev FILES_MATCHING PATTERN "*.h")
endforeach()

install(EXPORT korvTargets NAMESPACE korv:: DESTINATION ${KORV_CMAKE_DIR} COMPONENT dev)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/korvConfig.cmake.in
    ${PROJECT_BINARY_DIR}/korvConfig.cmake
    INSTALL_DESTINATION ${KORV_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/korvConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/korvConfig.cmake ${PROJECT_BINARY_DIR}/korvConfigVersion.cmake
    DESTINATION ${KORV_CMAKE_DIR} COMPONENT dev)

install(FILES ${PROJECT_SOURCE_DIR}/examples/demo.qrvdef ${PROJECT_SOURCE_DIR}/examples/demo.qrvbm
        ${PROJECT_SOURCE_DIR}/examples/messages.txt ${PROJECT_SOURCE_DIR}/examples/pump-station.qrvans
        ${PROJECT_SOURCE_DIR}/examples/pump-station.qrvseq
    DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT runtime)

# make package: korvgui (the programs) and korvgui-dev (the libraries), with
# the programs' dependencies read from their ELF files by dpkg-shlibdeps.
set(CPACK_PACKAGE_NAME korvgui)
set(CPACK_PACKAGE_VENDOR Norvane)
set(CPACK_PACKAGE_CONTACT "Norvane <korvgui@norvane.com>")
set(CPACK_PACKAGE_HOMEPAGE_URL "https://norvane.com/korvgui")
set(CPACK_GENERATOR DEB)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME korvgui)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "workbench for controllers speaking the QRV16 protocol
korvgui sends, traces and decodes QRV16 messages on serial, TCP and
TLS links, with bookmarks and a definitions editor that generates code.
korv encodes, decodes, checks and generates from the command line.")
set(CPACK_DEBIAN_DEV_PACKAGE_NAME korvgui-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "qt6-base-dev")
set(CPACK_COMPONENT_DEV_DESCRIPTION "QRV16 message-format library and code generators (static)
The libraries behind korvgui, with headers and a CMake package:
find_package(korv CONFIG) gives korv::qrv16, korv::writers and
korv::libserial.")

# Debian wants a changelog in each package's documentation folder; ours
# records only the version, as the project's history is in git.
string(TIMESTAMP KORV_CHANGELOG_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
foreach(package korvgui korvgui-dev)
    set(changelog ${PROJECT_BINARY_DIR}/changelog/${package}/changelog)
    file(WRITE ${changelog}
        "${package} (${PROJECT_VERSION}) unstable; urgency=medium\n\n"
        "  * Release ${PROJECT_VERSION}.\n\n"
        " -- ${CPACK_PACKAGE_CONTACT}  ${KORV_CHANGELOG_DATE}\n")
    list(APPEND changelogs ${changelog}.gz)
    add_custom_command(OUTPUT ${changelog}.gz
        COMMAND gzip -9nkf ${changelog}
        DEPENDS ${changelog}
        VERBATIM)
endforeach()
add_custom_target(changelogs ALL DEPENDS ${changelogs})
install(FILES ${PROJECT_BINARY_DIR}/changelog/korvgui/changelog.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/korvgui COMPONENT runtime)
install(FILES ${PROJECT_BINARY_DIR}/changelog/korvgui-dev/changelog.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/korvgui-dev COMPONENT dev)

include(CPack)
