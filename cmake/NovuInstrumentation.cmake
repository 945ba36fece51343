# NOVU_SANITIZE: a list for -fsanitize, such as address,undefined.
# NOVU_COVERAGE: counts lines and branches for gcov.
#
# Both hold for everything that is built, since an instrumented library needs an
# instrumented program.

set(NOVU_SANITIZE "" CACHE STRING "Sanitizers to build with, for -fsanitize")
option(NOVU_COVERAGE "Build with coverage counters" OFF)

if(NOVU_SANITIZE)
    add_compile_options(
        -fsanitize=${NOVU_SANITIZE}
        -fno-sanitize-recover=all
        -fno-omit-frame-pointer
    )
    add_link_options(-fsanitize=${NOVU_SANITIZE})
endif()
if(NOVU_COVERAGE)
    add_compile_options(--coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()
