# SPDX-License-Identifier: MIT
# korv_add_test(NAME name SOURCES a.cpp ... LIBS lib ...)
# A Qt Test executable registered with CTest; widgets run offscreen.
function(korv_add_test)
    cmake_parse_arguments(T "" "NAME" "SOURCES;LIBS" ${ARGN})
    add_executable(${T_NAME} ${T_SOURCES})
    target_link_libraries(${T_NAME} PRIVATE ${T_LIBS} Qt6::Test)
    target_compile_definitions(${T_NAME} PRIVATE
        KORV_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
    # Warnings are cut short so that a failure stays in sight of a log that is
    # itself cut.
    add_test(NAME ${T_NAME} COMMAND ${T_NAME} -maxwarnings 40)
    # A HOME of its own: the settings a test writes are met by no other run
    # going on beside it, of this tree or another.
    set(home ${CMAKE_CURRENT_BINARY_DIR}/${T_NAME}.home)
    file(MAKE_DIRECTORY ${home})
    # The XDG folders follow it, also where the machine sets them. Leaks
    # inside system libraries are left to their owners (tests/lsan.supp). The
    # timeouts only stop a hang: a machine loaded several times over makes
    # the heaviest tests take minutes.
    set_tests_properties(${T_NAME} PROPERTIES
        ENVIRONMENT "QT_QPA_PLATFORM=offscreen;HOME=${home};XDG_CONFIG_HOME=${home}/.config;XDG_DATA_HOME=${home}/.local/share;XDG_CACHE_HOME=${home}/.cache;XDG_STATE_HOME=${home}/.local/state;UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1;LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/lsan.supp:print_suppressions=0;QTEST_FUNCTION_TIMEOUT=900000"
        TIMEOUT 900)
endfunction()
