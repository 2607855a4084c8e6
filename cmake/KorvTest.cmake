# SPDX-License-Identifier: MIT
# korv_add_test(NAME name SOURCES a.cpp ... LIBS lib ...)
# A Qt Test executable registered with CTest; widgets run offscreen.
function(korv_add_test)
    cmake_parse_arguments(T "" "NAME" "SOURCES;LIBS" ${ARGN})
    add_executable(${T_NAME} ${T_SOURCES})
    target_link_libraries(${T_NAME} PRIVATE ${T_LIBS} Qt6::Test)
    target_compile_definitions(${T_NAME} PRIVATE
        KORV_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
    add_test(NAME ${T_NAME} COMMAND ${T_NAME})
    set_tests_properties(${T_NAME} PROPERTIES
        ENVIRONMENT "QT_QPA_PLATFORM=offscreen;UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1"
        TIMEOUT 300)
endfunction()
