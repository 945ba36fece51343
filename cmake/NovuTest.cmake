# novu_test(Service [SOURCES file...] [LIBRARIES library...] [LABEL label]):
# tests/ServiceTest.cpp, or those files, as a program of its own, each of its
# tests a test of ctest with a deadline.
#
# A program for each service, since many of them stand in for functions of the
# C library (readdir, iconv, ...) to make them fail: a stand-in that one service
# needs must not reach the tests of another.

include(GoogleTest)

set(NOVU_TEST_DEADLINE 60) # seconds

function(novu_test service)
    cmake_parse_arguments(arg "" "LABEL" "SOURCES;LIBRARIES" ${ARGN})
    if(NOT arg_SOURCES)
        set(arg_SOURCES ${service}Test.cpp)
    endif()
    novu_test_program(${service}Test "${arg_SOURCES}" "${arg_LIBRARIES}")
    gtest_discover_tests(
        ${service}Test
        DISCOVERY_TIMEOUT 60
        PROPERTIES TIMEOUT ${NOVU_TEST_DEADLINE} LABELS "${arg_LABEL}"
    )
endfunction()

# novu_mac_test(Service LIBRARIES library...): what novu_test(Service) compiles
# once more, as ServiceOnMacTest, on what macOS has of the service.
function(novu_mac_test service)
    cmake_parse_arguments(arg "" "" "LIBRARIES" ${ARGN})
    set(program ${service}OnMacTest)
    novu_test_program(
        ${program}
        $<TARGET_OBJECTS:${service}Test>
        "${arg_LIBRARIES}"
    )
    set_target_properties(${program} PROPERTIES LINKER_LANGUAGE CXX)
    gtest_discover_tests(
        ${program}
        TEST_SUFFIX .mac
        DISCOVERY_TIMEOUT 60
        PROPERTIES TIMEOUT ${NOVU_TEST_DEADLINE}
    )
endfunction()

# novu_stress(Service [LABEL label]): tests/stress/ServiceStress.cpp, which does
# the same very often; scripts/stress runs it again and again. The label follows
# the word stress: discovery takes one only.
function(novu_stress service)
    cmake_parse_arguments(arg "" "LABEL" "" ${ARGN})
    novu_test_program(${service}Stress stress/${service}Stress.cpp "")
    gtest_discover_tests(
        ${service}Stress
        DISCOVERY_TIMEOUT 60
        PROPERTIES TIMEOUT 300 LABELS stress${arg_LABEL}
    )
endfunction()

function(novu_test_program program sources libraries)
    add_executable(${program} ${sources})
    target_link_libraries(
        ${program}
        PRIVATE
            NovuTestSupport
            NovuSanitizerDefaults
            GTest::gtest_main
            ${libraries}
    )
    novu_warnings(${program})
endfunction()
