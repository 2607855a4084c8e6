# SPDX-License-Identifier: MIT
# cmake -DKORV_BUILD=... -DWORK=... -DVERSION=... -DKORV_SOURCE=... [-DPYTHON=...] [-DPYTHON_ENV=a|b] -P package.cmake
#
# Packs the finished build as .deb files, unpacks each into a scratch root
# with dpkg -x and checks its files, its dependencies, its copyright file,
# the software-centre entry (appstreamcli), that korv runs and korv imports
# from there, and what lintian says of the packages.
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)

file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})
run(cpack --config ${KORV_BUILD}/CPackConfig.cmake -B ${WORK})
set(packages korvgui korvgui-dev)
if(PYTHON)
    list(APPEND packages python3-korv)
endif()
set(debs)
foreach(package ${packages})
    file(GLOB deb ${WORK}/${package}_${VERSION}_*.deb)
    list(LENGTH deb n)
    if(NOT n EQUAL 1)
        message(FATAL_ERROR "expected one ${package} package, got: ${deb}")
    endif()
    set(deb_${package} ${deb})
    list(APPEND debs ${deb})
    set(root_${package} ${WORK}/root-${package})
    run(dpkg -x ${deb} ${root_${package}})
    # Every package carries the licence in Debian's machine-readable form.
    set(copyright ${root_${package}}/usr/share/doc/${package}/copyright)
    if(NOT EXISTS ${copyright})
        message(FATAL_ERROR "${package} has no copyright file")
    endif()
    file(READ ${copyright} text)
    if(NOT text MATCHES "^Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/\n"
       OR NOT text MATCHES "\nLicense: MIT\n Permission is hereby granted, free of charge")
        message(FATAL_ERROR "${package}'s copyright file is not the MIT licence in Debian's form:\n${text}")
    endif()
endforeach()

run(dpkg-deb -f ${deb_korvgui} Depends)
foreach(lib libqt6core6 libqt6widgets6 libqt6network6 libc6)
    if(NOT out MATCHES "${lib}")
        message(FATAL_ERROR "Depends lacks ${lib}: ${out}")
    endif()
endforeach()

set(root ${root_korvgui})
foreach(f usr/bin/korvgui usr/bin/korv
          usr/share/applications/korvgui.desktop
          usr/share/applications/korvgui-bookmarks.desktop
          usr/share/applications/korvgui-answers.desktop
          usr/share/applications/korvgui-sequences.desktop
          usr/share/mime/packages/korvgui.xml
          usr/share/metainfo/com.norvane.korvgui.metainfo.xml
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
# Wireshark finds korv in its extcap folder, through a link that holds
# wherever the package is unpacked.
file(GLOB extcap ${root}/usr/lib/*/wireshark/extcap/korv)
if(NOT extcap OR NOT IS_SYMLINK ${extcap})
    message(FATAL_ERROR "no link to korv in Wireshark's extcap folder")
endif()
run(${extcap} --extcap-interfaces)
if(NOT out MATCHES "interface {value=korv-tcp}")
    message(FATAL_ERROR "korv through the extcap link printed: ${out}")
endif()

# The software-centre entry, checked by AppStream's own validator (offline:
# the screenshots are on the web site).
run(appstreamcli validate --no-net --pedantic ${root}/usr/share/metainfo/com.norvane.korvgui.metainfo.xml)

file(GLOB_RECURSE config ${root_korvgui-dev}/usr/*/korvConfig.cmake)
if(NOT config)
    message(FATAL_ERROR "korvgui-dev has no korvConfig.cmake")
endif()

if(PYTHON)
    run(dpkg-deb -f ${deb_python3-korv} Depends)
    foreach(dep "python3 \\(>= " "python3 \\(<< " libqt6core6)
        if(NOT out MATCHES "${dep}")
            message(FATAL_ERROR "python3-korv's Depends lacks ${dep}: ${out}")
        endif()
    endforeach()
    set(site ${root_python3-korv}/usr/lib/python3/dist-packages)
    file(GLOB extension ${site}/korv/_korv.*.so)
    foreach(f ${site}/korv/__init__.py ${site}/korv/__init__.pyi ${site}/korv/py.typed ${extension})
        if(NOT EXISTS ${f})
            message(FATAL_ERROR "python3-korv lacks ${f}")
        endif()
    endforeach()
    # Imported from the unpacked package, as Debian's python3 imports it
    # from /usr/lib/python3/dist-packages once installed.
    string(REPLACE "|" ";" env "${PYTHON_ENV}")
    # No semicolons in the code: they would split it into arguments here.
    run(${CMAKE_COMMAND} -E env PYTHONPATH=${site} ${env} ${PYTHON} -c "import korv
d = korv.Definitions('${KORV_SOURCE}/examples/demo.qrvdef')
print(korv.__file__)
print(d.decode(d.encode('GetStatus')))")
    if(NOT out MATCHES "^${site}/korv/__init__.py\nGetStatus=\\(\\)\n$")
        message(FATAL_ERROR "korv from the package printed: ${out}")
    endif()
endif()

# lintian reports no error and no warning but the ones README explains.
execute_process(COMMAND lintian --tag-display-limit 0 ${debs}
    OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE rc)
# It exits non-zero for an error tag, which the lines below report; a rc
# that is no number means it did not run at all.
if(NOT rc MATCHES "^[0-9]+$")
    message(FATAL_ERROR "lintian did not run (Debian lintian): ${rc}")
endif()
set(explained
    # The window documents itself in README; korv has its manual page.
    "^W: korvgui: no-manual-page \\[usr/bin/korvgui\\]$")
string(REPLACE "\n" ";" lines "${out}")
foreach(line ${lines})
    if(NOT line MATCHES "^[EW]: ")
        continue()
    endif()
    set(known FALSE)
    foreach(pattern ${explained})
        if(line MATCHES "${pattern}")
            set(known TRUE)
        endif()
    endforeach()
    if(NOT known)
        message(FATAL_ERROR "lintian: ${line}\n${out}${err}")
    endif()
endforeach()
message(STATUS "lintian:\n${out}")
message(STATUS "packages: ${debs}")
