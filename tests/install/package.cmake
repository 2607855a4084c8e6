# SPDX-License-Identifier: MIT
# cmake -DKORV_BUILD=... -DWORK=... -DVERSION=... -P package.cmake
#
# Packs the finished build as .deb files, unpacks the program's package into
# a scratch root with dpkg -x and checks its files, its dependencies and that
# korv runs from there.
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)

file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})
run(cpack --config ${KORV_BUILD}/CPackConfig.cmake -B ${WORK})
file(GLOB debs ${WORK}/korvgui_${VERSION}_*.deb)
file(GLOB dev_debs ${WORK}/korvgui-dev_${VERSION}_*.deb)
list(LENGTH debs n)
list(LENGTH dev_debs n_dev)
if(NOT n EQUAL 1 OR NOT n_dev EQUAL 1)
    message(FATAL_ERROR "expected one korvgui and one korvgui-dev package, got: ${debs} ${dev_debs}")
endif()

run(dpkg-deb -f ${debs} Depends)
foreach(lib libqt6core6 libqt6widgets6 libqt6network6 libc6)
    if(NOT out MATCHES "${lib}")
        message(FATAL_ERROR "Depends lacks ${lib}: ${out}")
    endif()
endforeach()

set(root ${WORK}/root)
run(dpkg -x ${debs} ${root})
foreach(f usr/bin/korvgui usr/bin/korv
          usr/share/applications/korvgui.desktop
          usr/share/applications/korvgui-bookmarks.desktop
          usr/share/applications/korvgui-answers.desktop
          usr/share/applications/korvgui-sequences.desktop
          usr/share/mime/packages/korvgui.xml
          usr/share/icons/hicolor/16x16/apps/korvgui.png
          usr/share/icons/hicolor/48x48/apps/korvgui.png
          usr/share/doc/korvgui/examples/demo.qrvdef
          usr/share/doc/korvgui/examples/demo.qrvbm
          usr/share/doc/korvgui/examples/pump-station.qrvans
          usr/share/doc/korvgui/examples/pump-station.qrvseq
          usr/share/man/man1/korv.1.gz
          usr/share/bash-completion/completions/korv)
    if(NOT EXISTS ${root}/${f})
        message(FATAL_ERROR "missing from the package: ${f}")
    endif()
endforeach()
# The manual page is compressed and still a manual page.
run(gzip -dc ${root}/usr/share/man/man1/korv.1.gz)
if(NOT out MATCHES "\n\\.TH KORV 1")
    message(FATAL_ERROR "korv.1.gz is not the manual page")
endif()
# The libraries belong to the -dev package only.
file(GLOB_RECURSE stray ${root}/*.a ${root}/*.h)
if(stray)
    message(FATAL_ERROR "development files in the program's package: ${stray}")
endif()

run(${root}/usr/bin/korv --version)
if(NOT out STREQUAL "korv ${VERSION}\n")
    message(FATAL_ERROR "korv --version from the package printed: ${out}")
endif()

run(dpkg -x ${dev_debs} ${WORK}/devroot)
file(GLOB_RECURSE config ${WORK}/devroot/usr/*/korvConfig.cmake)
if(NOT config)
    message(FATAL_ERROR "korvgui-dev has no korvConfig.cmake")
endif()
message(STATUS "packages: ${debs} ${dev_debs}")
