# Read by cpack: the packages that the shared library depends on.

set(folder ${CPACK_TOPLEVEL_DIRECTORY}/depends)
file(
    WRITE ${folder}/debian/control
    "Source: ${CPACK_PACKAGE_NAME}\n\n"
    "Package: ${CPACK_DEBIAN_NOVURUNTIME_PACKAGE_NAME}\nArchitecture: any\n"
)
execute_process(
    COMMAND dpkg-shlibdeps -O ${CPACK_NOVU_LIBRARY}
    WORKING_DIRECTORY ${folder}
    OUTPUT_VARIABLE depends
    ERROR_VARIABLE complaints
    RESULT_VARIABLE result
)
if(NOT result EQUAL 0 OR NOT depends MATCHES "shlibs:Depends=([^\n]+)")
    message(FATAL_ERROR "dpkg-shlibdeps failed (${result}): ${complaints}")
endif()
set(CPACK_DEBIAN_NOVURUNTIME_PACKAGE_DEPENDS ${CMAKE_MATCH_1})
