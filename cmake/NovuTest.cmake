# novu_test(Service [LIBRARIES library...]): tests/ServiceTest.cpp as a program
# of its own, each of its tests a test of ctest with a deadline.
#
# A program for each service, since many of them stand in for functions of the
# C library (readdir, iconv, ...) to make them fail: a stand-in that one service
# needs must not reach the tests of another.

include(GoogleTest)

set(NOVU_TEST_DEADLINE 60) # seconds

function(novu_test service)
    cmake_parse_arguments(arg "" "" "LIBRARIES" ${ARGN})
    set(program ${service}Test)
    add_executable(
        ${program}
        ${service}Test.cpp
        ${PROJECT_SOURCE_DIR}/tests/support/SanitizerDefaults.cpp
    )
    target_link_libraries(
        ${program}
        PRIVATE NovuTestSupport GTest::gtest_main ${arg_LIBRARIES}
    )
    novu_warnings(${program})
    gtest_discover_tests(
        ${program}
        DISCOVERY_TIMEOUT 60
        PROPERTIES TIMEOUT ${NOVU_TEST_DEADLINE}
    )
endfunction()
