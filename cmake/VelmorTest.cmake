# velmor_test(NAME [ONE_THREAD] [SERIAL] SOURCES file... LIBRARIES target...): one GoogleTest program, its cases known to ctest.
# ONE_THREAD says that its cases compute for long on a single thread, where the thread sanitizer has nothing to find;
# SERIAL that they measure time and run beside no other.

if(NOT TARGET GTest::gmock)  # built from its sources
    find_package(GTest REQUIRED)
endif()
include(GoogleTest)

# The test headers are most of a test file's compile time, so they are compiled once for all programs.
add_library(velmor_test_main STATIC ${CMAKE_CURRENT_LIST_DIR}/test_main.cpp)
velmor_target(velmor_test_main)
target_link_libraries(velmor_test_main PUBLIC GTest::gmock)
target_precompile_headers(velmor_test_main PRIVATE <gtest/gtest.h> <gmock/gmock.h> <string> <vector> <map> <memory> <functional>)

function(velmor_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "ONE_THREAD;SERIAL" "" "SOURCES;LIBRARIES;ENVIRONMENT")
    add_executable(${name} ${arg_SOURCES})
    velmor_target(${name})
    target_compile_options(${name} PRIVATE -fPIC)  # as the header was compiled, after the -fPIE of programs
    target_link_libraries(${name} PRIVATE velmor_test_main ${arg_LIBRARIES})
    target_precompile_headers(${name} REUSE_FROM velmor_test_main)
    # A sanitizer that fails itself may end the program with 0.
    set(properties TIMEOUT 900 FAIL_REGULAR_EXPRESSION "Sanitizer.*CHECK failed")
    if(arg_ENVIRONMENT)
        list(APPEND properties ENVIRONMENT "${arg_ENVIRONMENT}")
    endif()
    if(arg_ONE_THREAD)
        list(APPEND properties LABELS one-thread)
    endif()
    if(arg_SERIAL)
        list(APPEND properties RUN_SERIAL ON)
    endif()
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES ${properties})
endfunction()
