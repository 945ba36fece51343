# novu_warnings(target): the warnings that every target of the project is
# compiled with, private to it, so that no host inherits them.

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
endfunction()
