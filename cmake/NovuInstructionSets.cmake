# novu_instruction_sets(target source...): adds sources that are compiled for
# particular processors, each with the flags that its suffix has in
# Bases/Impl/instruction_sets.txt.
#
# In Release builds they get -O3, where the others get what makes them small; a
# build of another type is as its own flags say.
#
# NOVU_X86_PATHS says whether this build has them: it is for x86-64 alone, and
# NOVU_PORTABLE_ONLY is off.

include(CheckCXXSourceCompiles)

option(
    NOVU_PORTABLE_ONLY
    "Leave out what is compiled for particular processors"
    OFF
)

set(NOVU_X86_PATHS OFF)
if(NOT NOVU_PORTABLE_ONLY)
    # A build for several architectures at once is not for x86-64 alone.
    check_cxx_source_compiles(
        "#ifndef __x86_64__
        #error Another processor.
        #endif
        int main() {}"
        NOVU_IS_X86_64
    )
    if(NOVU_IS_X86_64)
        set(NOVU_X86_PATHS ON)
    endif()
endif()

set(novu_instruction_sets_file
    ${PROJECT_SOURCE_DIR}/Bases/Impl/instruction_sets.txt
)
set_property(
    DIRECTORY
    APPEND
    PROPERTY CMAKE_CONFIGURE_DEPENDS ${novu_instruction_sets_file}
)

function(novu_instruction_sets target)
    file(STRINGS ${novu_instruction_sets_file} lines REGEX "^_")
    string(REPLACE "," ";" sanitizers "${NOVU_SANITIZE}")
    foreach(source IN LISTS ARGN)
        set(flags "")
        foreach(line IN LISTS lines)
            string(REGEX MATCHALL "[^ ]+" words "${line}")
            list(POP_FRONT words suffix)
            if(source MATCHES "${suffix}\\.cpp$")
                set(flags ${words})
            endif()
        endforeach()
        if(NOT flags)
            message(FATAL_ERROR "No flags for ${source} in the list.")
        endif()
        if("-mavx512f" IN_LIST flags AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
            # What its own header leaves undefined on purpose (GCC bug 105593,
            # mended in 13). Seen in optimised builds only.
            foreach(warning IN ITEMS uninitialized maybe-uninitialized)
                list(APPEND flags $<$<NOT:$<CONFIG:Debug>>:-Wno-${warning}>)
            endforeach()
            # The address sanitizer's own stack is not aligned for 64 bytes
            # (GCC bug 110027, mended in 13.3).
            if("address" IN_LIST sanitizers)
                list(APPEND flags --param=asan-use-after-return=0)
            endif()
        endif()
        target_sources(${target} PRIVATE ${source})
        set_property(
            GLOBAL
            APPEND
            PROPERTY NOVU_INSTRUCTION_SET_SOURCES ${source}
        )
        set_source_files_properties(
            ${source}
            PROPERTIES
                COMPILE_OPTIONS "$<$<CONFIG:Release>:-O3>;${flags}"
                SKIP_UNITY_BUILD_INCLUSION ON
        )
    endforeach()
endfunction()
