# novu_warnings(target): the warnings that every target of the project is
# compiled with, private to it, so that no host inherits them.
#
# g++ 12 takes `"literal" + std::string` for overlapping copies as soon as it
# optimises (GCC bug 105651, mended in 13): -Wrestrict is off for it.

option(NOVU_WERROR "Warnings are errors" OFF)

function(novu_warnings target)
    target_compile_options(
        ${target}
        PRIVATE
            -Wall
            -Wextra
            -Wpedantic
            -Wconversion
            -Wsign-conversion
            -Wshadow
            -Wold-style-cast
            -Wnon-virtual-dtor
            $<$<BOOL:${NOVU_WERROR}>:-Werror>
    )
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
        target_compile_options(
            ${target}
            PRIVATE $<$<NOT:$<CONFIG:Debug>>:-Wno-restrict>
        )
    endif()
endfunction()
