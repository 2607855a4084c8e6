# SPDX-License-Identifier: MIT
# What `cmake --install` and CPack ship: the two programs, the desktop
# integration, the software-centre entry, korv's link into Wireshark's
# extcap folder and the examples (component runtime), the libraries that
# are of use without the window, with their headers and a package config
# (component dev), so that find_package(korv CONFIG) gives korv::qrv16, and
# the Python module (component python).
include(CMakePackageConfigHelpers)

set(KORV_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/korv)
set(KORV_INCLUDE_DIR ${CMAKE_INSTALL_INCLUDEDIR}/korv)

# connection is left out: its built-in certificate is a Qt resource object
# library, which does not survive export as a static library's dependency.
foreach(lib qrv16 bis libserial writers)
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

# Wireshark runs every program in its extcap folder; korv answers as one.
# The link is relative, so that it holds in a package's root and in /usr.
if(CMAKE_LIBRARY_ARCHITECTURE)
    set(KORV_EXTCAP_DIR lib/${CMAKE_LIBRARY_ARCHITECTURE}/wireshark/extcap)
else()
    set(KORV_EXTCAP_DIR lib/wireshark/extcap)
endif()
file(RELATIVE_PATH korv_from_extcap /prefix/${KORV_EXTCAP_DIR} /prefix/${CMAKE_INSTALL_BINDIR}/korv)
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/extcap)
file(CREATE_LINK ${korv_from_extcap} ${PROJECT_BINARY_DIR}/extcap/korv SYMBOLIC)
install(FILES ${PROJECT_BINARY_DIR}/extcap/korv DESTINATION ${KORV_EXTCAP_DIR} COMPONENT runtime)

# make package: korvgui (the programs), korvgui-dev (the libraries) and
# python3-korv (the Python module), with the dependencies of what they hold
# read from the ELF files by dpkg-shlibdeps.
set(CPACK_PACKAGE_NAME korvgui)
set(CPACK_PACKAGE_VENDOR Norvane)
set(CPACK_PACKAGE_CONTACT "Norvane <korvgui@norvane.com>")
set(CPACK_PACKAGE_HOMEPAGE_URL "https://norvane.com/korvgui")
set(CPACK_GENERATOR DEB)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev)
if(TARGET _korv)
    list(APPEND CPACK_COMPONENTS_ALL python)
endif()
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
set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-korv)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS ON)
# The extension is built for this one interpreter version.
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
    "python3 (>= ${KORV_PYTHON_VERSION}~), python3 (<< ${KORV_PYTHON_NEXT_VERSION})")
set(CPACK_COMPONENT_PYTHON_DESCRIPTION "QRV16 message format for Python test benches
The korv module reads and builds QRV16 messages as Python values, cuts
received bytes into messages and frames and unframes the BiS bus, for
pytest benches that talk to controllers over sockets or serial ports.")
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "qt6-base-dev")
set(CPACK_COMPONENT_DEV_DESCRIPTION "QRV16 message-format library and code generators (static)
The libraries behind korvgui, with headers and a CMake package:
find_package(korv CONFIG) gives korv::qrv16, korv::writers and
korv::libserial.")

# Debian wants a changelog and a copyright file in each package's
# documentation folder. The changelog records only the version, as the
# project's history is in git; the copyright file is the licence in
# Debian's machine-readable form.
file(READ ${PROJECT_SOURCE_DIR}/LICENSE license)
string(REGEX MATCH "Copyright \\(c\\) ([^\n]*)" copyright_line "${license}")
set(copyright_holder ${CMAKE_MATCH_1})
string(REGEX REPLACE "^.*Copyright [^\n]*\n\n" "" license_terms "${license}")
string(STRIP "${license_terms}" license_terms)
# Paragraphs become " ." lines, every line is indented by one space.
string(REPLACE "\n\n" "\n.\n" license_terms "${license_terms}")
string(REPLACE "\n" "\n " license_terms "${license_terms}")
set(copyright_header "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: korvgui
Upstream-Contact: ${CPACK_PACKAGE_CONTACT}
Source: ${CPACK_PACKAGE_HOMEPAGE_URL}

Files: *
Copyright: ${copyright_holder}
License: MIT
")
# The program's icons, in the window and the desktop menu, are drawn from
# the Silk set at build time.
set(copyright_icons "
Files: usr/share/icons/hicolor/*/apps/korvgui.png
Copyright: Mark James <mjames@gmail.com>
License: CC-BY-3.0
Comment: The icons of the program, in usr/share/icons and built into
 usr/bin/korvgui, are drawn at build time from the Silk icon set
 (Debian package famfamfam-silk).
")
set(copyright_mit "
License: MIT
 ${license_terms}
")
set(copyright_cc "
License: CC-BY-3.0
 Creative Commons Attribution 3.0 Unported: the full text is in
 /usr/share/doc/famfamfam-silk/copyright and at
 https://creativecommons.org/licenses/by/3.0/legalcode.
")
set(packages korvgui korvgui-dev)
if(TARGET _korv)
    list(APPEND packages python3-korv)
endif()
foreach(package ${packages})
    if(package STREQUAL "korvgui")
        set(text "${copyright_header}${copyright_icons}${copyright_mit}${copyright_cc}")
    else()
        set(text "${copyright_header}${copyright_mit}")
    endif()
    file(WRITE ${PROJECT_BINARY_DIR}/copyright/${package}/copyright "${text}")
endforeach()

string(TIMESTAMP KORV_CHANGELOG_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
foreach(package ${packages})
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
install(FILES ${PROJECT_BINARY_DIR}/copyright/korvgui/copyright
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/korvgui COMPONENT runtime)
install(FILES ${PROJECT_BINARY_DIR}/copyright/korvgui-dev/copyright
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/korvgui-dev COMPONENT dev)
if(TARGET _korv)
    install(FILES ${PROJECT_BINARY_DIR}/changelog/python3-korv/changelog.gz
            ${PROJECT_BINARY_DIR}/copyright/python3-korv/copyright
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/python3-korv COMPONENT python)
endif()

include(CPack)
