# novu_fuzz(Service [LIBRARIES library...]): tests/fuzz/ServiceFuzz.cpp as the
# program ServiceFuzz, part of the target fuzzers.
#
# With NOVU_BUILD_FUZZERS the program looks for inputs by libFuzzer: see
# scripts/fuzz and the preset fuzz, which instruments the library for it.
# Without, it replays inputs. Either way those of tests/fuzz/corpus/Service are a
# test of ctest.

option(NOVU_BUILD_FUZZERS "Build the fuzz targets with libFuzzer (clang)" OFF)

add_custom_target(fuzzers)

function(novu_fuzz service)
    cmake_parse_arguments(arg "" "" "LIBRARIES" ${ARGN})
    set(program ${service}Fuzz)
    add_executable(${program} ${program}.cpp)
    target_include_directories(${program} PRIVATE ${PROJECT_SOURCE_DIR})
    target_compile_features(${program} PRIVATE cxx_std_20)
    target_link_libraries(
        ${program}
        PRIVATE Novu::Bases NovuSanitizerDefaults ${arg_LIBRARIES}
    )
    novu_warnings(${program})
    if(NOVU_BUILD_FUZZERS)
        target_link_options(${program} PRIVATE -fsanitize=fuzzer)
    else()
        target_sources(${program} PRIVATE Replay.cpp)
    endif()
    add_dependencies(fuzzers ${program})

    set(corpus ${CMAKE_CURRENT_SOURCE_DIR}/corpus/${service})
    add_test(
        NAME corpus-${service}
        COMMAND ${program} -runs=0 ${corpus}
    )
    set_tests_properties(
        corpus-${service}
        PROPERTIES LABELS fuzz TIMEOUT ${NOVU_TEST_DEADLINE}
    )
endfunction()
