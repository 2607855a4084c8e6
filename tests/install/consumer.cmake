# SPDX-License-Identifier: MIT
# cmake -DKORV_SOURCE=... -DKORV_BUILD=... -DWORK=... [-DGENERATOR=...] -P consumer.cmake
#
# Builds the consumer project twice: against an install of the finished
# build (find_package) and from the source tree (add_subdirectory), and runs
# it on the sample definitions each time.
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)

function(check_consumer dir)
    run(${dir}/consumer ${KORV_SOURCE}/examples/demo.qrvdef)
    if(NOT out MATCHES "tags [1-9][0-9]*, rewrite identical")
        message(FATAL_ERROR "unexpected output from ${dir}/consumer: ${out}")
    endif()
    message(STATUS "${dir}: ${out}")
endfunction()

file(REMOVE_RECURSE ${WORK})
set(prefix ${WORK}/prefix)
set(consumer ${KORV_SOURCE}/tests/install/consumer)

run(${CMAKE_COMMAND} --install ${KORV_BUILD} --prefix ${prefix} --component dev)
foreach(f include/korv/qrv16/message.h include/korv/writers/writer.h)
    if(NOT EXISTS ${prefix}/${f})
        message(FATAL_ERROR "not installed: ${f}")
    endif()
endforeach()
run(${CMAKE_COMMAND} -S ${consumer} -B ${WORK}/package -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Debug)
run(${CMAKE_COMMAND} --build ${WORK}/package)
check_consumer(${WORK}/package)

run(${CMAKE_COMMAND} -S ${consumer} -B ${WORK}/subdirectory -G ${GENERATOR}
    -DKORV_SOURCE=${KORV_SOURCE} -DCMAKE_BUILD_TYPE=Debug)
run(${CMAKE_COMMAND} --build ${WORK}/subdirectory --target consumer)
check_consumer(${WORK}/subdirectory)
