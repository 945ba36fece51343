# novu_hardening(target...): what makes a fault in the library end the program
# rather than open it: canaries on the stack, calls of the C library that know
# how large a buffer is, nothing to write to where code or its tables lie.
# Private to the targets, so that no host inherits it.
#
#     add_library(Objects OBJECT ...)
#     add_library(Shared SHARED $<TARGET_OBJECTS:Objects>)
#     novu_hardening(Objects Shared)
#
# It comes after NovuInstrumentation: sanitizers find the same faults, and would
# miss what the checked calls of the C library do.

include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)

set(novu_hardening_options -fstack-protector-strong)
set(novu_hardening_links "")
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    # Not every processor has them, and clang for macOS knows neither.
    foreach(option IN ITEMS -fstack-clash-protection -fcf-protection)
        string(MAKE_C_IDENTIFIER "NOVU_HAS${option}" has)
        check_cxx_compiler_flag(${option} ${has})
        if(${has})
            list(APPEND novu_hardening_options ${option})
        endif()
    endforeach()
    set(novu_hardening_links
        LINKER:-z,relro
        LINKER:-z,now
        LINKER:-z,noexecstack
        LINKER:-z,text # Text relocations are errors.
    )
endif()

# Level 3 needs a compiler and a C library that know it; others take it for 2 and
# warn. It counts in optimised builds only, and replaces what a distribution's
# flags say.
set(CMAKE_REQUIRED_FLAGS "-O2 -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
check_cxx_source_compiles(
    "#include <cstdlib>
    #if __USE_FORTIFY_LEVEL < 3
    #error Level 3 is not known.
    #endif
    int main() {}"
    NOVU_HAS_FORTIFY_3
)
unset(CMAKE_REQUIRED_FLAGS)
if(NOVU_HAS_FORTIFY_3)
    set(level 3)
else()
    set(level 2)
endif()
if(NOT NOVU_SANITIZE)
    set(optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
    list(
        APPEND
        novu_hardening_options
        $<${optimised}:-U_FORTIFY_SOURCE>
        $<${optimised}:-D_FORTIFY_SOURCE=${level}>
    )
endif()

function(novu_hardening)
    foreach(target IN LISTS ARGN)
        target_compile_options(${target} PRIVATE ${novu_hardening_options})
        target_link_options(${target} PRIVATE ${novu_hardening_links})
    endforeach()
endfunction()
