# Checks of the tree and of what is built, run by ctest.

# novu_check(NAME LABEL label... COMMAND argument... [PROPERTIES name value...]):
# a script that exits with 0 when all is well. Those with the label "afresh" look
# at what they compile themselves, whatever the preset has built; those that build
# the library for it also have the label "whole".
function(novu_check name)
    cmake_parse_arguments(arg "" "" "LABEL;COMMAND;PROPERTIES" ${ARGN})
    add_test(
        NAME ${name}
        COMMAND ${arg_COMMAND}
        WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    )
    set_tests_properties(
        ${name}
        PROPERTIES LABELS "${arg_LABEL}" TIMEOUT 120 ${arg_PROPERTIES}
    )
endfunction()

# The tree

foreach(check IN ITEMS layers names platforms quotes stems surprises)
    novu_check(
        check-${check}
        LABEL check
        COMMAND ${PROJECT_SOURCE_DIR}/.ci/check-${check}
    )
endforeach()

find_package(Python3 COMPONENTS Interpreter)
if(Python3_Interpreter_FOUND)
    novu_check(
        bench-report
        LABEL check
        COMMAND ${Python3_EXECUTABLE} -B tests/bench_report_test.py
    )
    novu_check(
        mutate
        LABEL check
        COMMAND ${Python3_EXECUTABLE} -B tests/mutate_test.py
    )
endif()

# The examples, by what they print. They are run in the locale "C", and so say
# the same to whoever runs the tests.

# novu_example(NAME PROGRAM target PRINTS file-or-lines [ARGUMENTS argument...])
function(novu_example name)
    cmake_parse_arguments(arg "" "PROGRAM;PRINTS" "ARGUMENTS" ${ARGN})
    set(directory ${CMAKE_CURRENT_BINARY_DIR}/${name})
    file(MAKE_DIRECTORY ${directory})
    add_test(
        NAME ${name}
        COMMAND
            ${CMAKE_CURRENT_SOURCE_DIR}/example-prints
            ${arg_PRINTS}
            $<TARGET_FILE:${arg_PROGRAM}>
            ${arg_ARGUMENTS}
        WORKING_DIRECTORY ${directory}
    )
    set_tests_properties(
        ${name}
        PROPERTIES
            ENVIRONMENT LC_ALL=C
            LABELS example
            TIMEOUT ${NOVU_TEST_DEADLINE}
    )
endfunction()

if(NOVU_BUILD_EXAMPLES)
    get_property(examples GLOBAL PROPERTY NOVU_EXAMPLES)
    foreach(example IN LISTS examples)
        novu_example(
            example-${example}
            PROGRAM ${example}Example
            PRINTS ${PROJECT_SOURCE_DIR}/examples/${example}.cpp
        )
    endforeach()

    # An entry without a status among others, and alone, where FindFirst fails.
    set(among ${CMAKE_CURRENT_BINARY_DIR}/entries/among)
    set(alone ${CMAKE_CURRENT_BINARY_DIR}/entries/alone)
    file(REMOVE_RECURSE ${among} ${alone})
    file(MAKE_DIRECTORY ${among} ${alone})
    foreach(name IN ITEMS a b c)
        file(WRITE ${among}/${name} "")
    endforeach()
    foreach(folder IN ITEMS ${among} ${alone})
        file(CREATE_LINK nowhere ${folder}/dangling SYMBOLIC)
    endforeach()
    novu_example(
        example-every_entry-among
        PROGRAM every_entryExample
        ARGUMENTS ${among}
        PRINTS "a,b,c,dangling"
    )
    novu_example(
        example-every_entry-alone
        PROGRAM every_entryExample
        ARGUMENTS ${alone}
        PRINTS "dangling"
    )
endif()

# Instrumented libraries are not for hosts: they have state and initialisers, and
# need an instrumented program. Nor need they go round the zones.

if(NOVU_SANITIZE OR NOVU_COVERAGE)
    return()
endif()

# The zone and the locale of the environment, which no test may depend on.

add_test(
    NAME in-every-zone
    COMMAND
        ${CMAKE_CURRENT_SOURCE_DIR}/in-every-zone
        $<TARGET_FILE:DateTimeFormatTest>
        $<TARGET_FILE:TimeTest>
)
set_tests_properties(in-every-zone PROPERTIES TIMEOUT 600)

# What depends on privilege, without it

add_test(
    NAME without-privilege
    COMMAND
        ${CMAKE_CURRENT_SOURCE_DIR}/without-privilege
        $<TARGET_FILE:NovuBasesShared>
        $<TARGET_FILE:FileFindTest>
        $<TARGET_FILE:FileIoTest>
        $<TARGET_FILE:FileSysTest>
        $<TARGET_FILE:ModuleTest>
        $<TARGET_FILE:ShmTest>
)
set_tests_properties(without-privilege PROPERTIES TIMEOUT 120)

# What hosts get

get_target_property(public_headers NovuBasesShared HEADER_SET)
foreach(header IN LISTS public_headers)
    cmake_path(
        RELATIVE_PATH header
        BASE_DIRECTORY ${PROJECT_SOURCE_DIR}
        OUTPUT_VARIABLE include
    )
    list(APPEND public_includes ${include})
endforeach()
set(interface ${CMAKE_CURRENT_SOURCE_DIR}/interface)
foreach(standard IN ITEMS c++17 c++20 c++2b)
    novu_check(
        headers-${standard}
        LABEL interface afresh
        COMMAND
            ${interface}/headers-compile
            ${CMAKE_CXX_COMPILER}
            ${standard}
            ${PROJECT_SOURCE_DIR}
            ${public_includes}
        PROPERTIES TIMEOUT 300
    )
endforeach()
get_target_property(sources NovuBasesObjects SOURCES)
list(FILTER sources EXCLUDE REGEX "NewBytes") # Never merged, see NewBytes.h.
if(NOVU_X86_PATHS)
    get_property(own GLOBAL PROPERTY NOVU_INSTRUCTION_SET_SOURCES)
    list(REMOVE_ITEM sources ${own})
endif()
novu_check(
    merged
    LABEL interface afresh
    COMMAND
        ${interface}/merged
        ${CMAKE_CXX_COMPILER}
        ${PROJECT_SOURCE_DIR}
        ${sources}
)
if(NOVU_X86_PATHS)
    novu_check(
        portable
        LABEL interface afresh whole
        COMMAND
            ${interface}/portable
            ${CMAKE_CXX_COMPILER}
            ${PROJECT_SOURCE_DIR}
            ${CMAKE_CURRENT_BINARY_DIR}/portable
            Base64BlocksTest
            Base64Test
            BitsBlocksTest
            BitsTest
            CpuFeaturesTest
            CryptoBlockCipherSeedTest
            CryptoHashMd5Test
            Md5BlocksTest
            SeedBlocksTest
            SeedTest
        PROPERTIES TIMEOUT 600
    )
endif()
novu_check(
    includes
    LABEL interface
    COMMAND ${interface}/includes check
)
novu_check(
    macros
    LABEL interface afresh
    COMMAND
        ${interface}/macros
        ${CMAKE_CXX_COMPILER}
        ${PROJECT_SOURCE_DIR}
        ${public_includes}
)
novu_check(
    layout-complete
    LABEL interface
    COMMAND ${interface}/layout-complete
)

if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    novu_check(
        exports
        LABEL interface
        COMMAND ${interface}/exports check $<TARGET_FILE:NovuBasesShared>
    )
    # Other compilers and processors describe it differently, and without debug
    # information there is nothing to describe: the preset dev is where it runs.
    if(
        CMAKE_CXX_COMPILER_ID STREQUAL "GNU"
        AND CMAKE_BUILD_TYPE STREQUAL "Debug"
        AND CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64"
    )
        novu_check(
            abi
            LABEL interface
            COMMAND ${interface}/abi check $<TARGET_FILE:NovuBasesShared>
        )
    endif()
    novu_check(
        no-initialisers
        LABEL interface
        COMMAND
            ${interface}/no-initialisers
            $<TARGET_FILE:NovuBasesShared>
            $<TARGET_FILE:NovuBasesStatic>
    )
    novu_check(
        no-state
        LABEL interface
        COMMAND ${interface}/no-state $<TARGET_FILE:NovuBasesStatic>
    )
    novu_check(
        own-code
        LABEL interface
        COMMAND
            ${interface}/own-code
            $<TARGET_FILE:NovuBasesStatic>
            ${PROJECT_SOURCE_DIR}/Bases/Impl/instruction_sets.txt
            ${NOVU_X86_PATHS}
    )
    foreach(kind IN ITEMS Shared Static)
        string(TOLOWER hardened-${kind} check)
        novu_check(
            ${check}
            LABEL interface
            COMMAND
                ${interface}/hardened
                $<TARGET_FILE:NovuBases${kind}>
                "$<CONFIG>"
        )
    endforeach()

    # The ways in which a stranger uses the library; "install" installs it.
    set(debian_ways "")
    if(EXISTS /etc/debian_version)
        set(debian_ways deb)
    endif()
    foreach(
        way
        IN
        LISTS debian_ways
        ITEMS
            install
            bare
            contents
            guarded
            lto
            no-rtti
            own-itoa
            package
            package-static
            pkg-config
            pkg-config-static
            plain
            relocated
            soname
            subdirectory
    )
        if(way STREQUAL "install")
            set(fixture FIXTURES_SETUP installed)
        else()
            set(fixture FIXTURES_REQUIRED installed)
        endif()
        set(labels consumer)
        if(way MATCHES "^(deb|subdirectory)$")
            list(APPEND labels afresh whole)
        endif()
        if(way STREQUAL "deb")
            list(APPEND fixture TIMEOUT 600)
        endif()
        novu_check(
            consumer-${way}
            LABEL ${labels}
            COMMAND
                ${CMAKE_CURRENT_SOURCE_DIR}/consumer/consume
                ${way}
                ${CMAKE_CXX_COMPILER}
                ${PROJECT_SOURCE_DIR}
                ${PROJECT_BINARY_DIR}
                ${PROJECT_BINARY_DIR}/consumer
                "$<CONFIG>"
            PROPERTIES ${fixture}
        )
    endforeach()
endif()
