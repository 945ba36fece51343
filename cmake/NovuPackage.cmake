# What cpack makes: Debian's packages, libnovu-bases1 for programs that run and
# libnovu-bases-dev for those who build them. scripts/package does it all.
#
# A build for the prefix /usr makes them, and no other: Debian's libraries lie in
# a folder for each architecture, which GNUInstallDirs chooses by that prefix.

if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    return()
endif()

set(runtime libnovu-bases${NOVU_ABI_VERSION})
set(development libnovu-bases-dev)
function(novu_install_licence component package)
    install(
        FILES ${PROJECT_SOURCE_DIR}/LICENSE
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package}
        RENAME copyright
        COMPONENT ${component}
        EXCLUDE_FROM_ALL
    )
endfunction()
novu_install_licence(NovuRuntime ${runtime})
novu_install_licence(NovuDevelopment ${development})

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL NovuRuntime NovuDevelopment)
set(CPACK_PACKAGE_NAME novu-bases)
set(CPACK_PACKAGE_CONTACT "libNovu-Bases authors <novu-bases@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # Each package has its own.
set(CPACK_STRIP_FILES ON)
# As others see them, whatever the umask is.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE
    GROUP_READ GROUP_EXECUTE
    WORLD_READ WORLD_EXECUTE
)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(description
    "Byte buffers, bit sets, Base64, a cipher and a digest, dates, files,
identifiers, text encodings, threads and XML, behind a plain interface with
exact results and a stable binary layout."
)

# What the library depends on is found when cpack runs, and not by cpack itself,
# which would add scripts for what a trigger does.
set(CPACK_PROJECT_CONFIG_FILE
    ${PROJECT_SOURCE_DIR}/cmake/NovuPackageDepends.cmake
)
set(CPACK_NOVU_LIBRARY ${PROJECT_BINARY_DIR}/libNovu-Bases.so)
set(control ${PROJECT_BINARY_DIR}/control)
file(WRITE ${control}/triggers "activate-noawait ldconfig\n")
# On what programs depend that link the library.
file(
    WRITE ${control}/shlibs
    "libNovu-Bases ${NOVU_ABI_VERSION} ${runtime} (>= ${PROJECT_VERSION})\n"
)
set(CPACK_DEBIAN_NOVURUNTIME_PACKAGE_NAME ${runtime})
set(CPACK_DEBIAN_NOVURUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_NOVURUNTIME_PACKAGE_CONTROL_EXTRA
    ${control}/shlibs
    ${control}/triggers
)
set(CPACK_COMPONENT_NOVURUNTIME_DESCRIPTION
    "small services for desktop applications
${description}
.
This package holds the shared library."
)

set(CPACK_DEBIAN_NOVUDEVELOPMENT_PACKAGE_NAME ${development})
set(CPACK_DEBIAN_NOVUDEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_NOVUDEVELOPMENT_PACKAGE_DEPENDS
    "${runtime} (= ${PROJECT_VERSION}), libboost-dev (>= 1.74), libxml2-dev"
)
# Which pkg-config --static links.
set(CPACK_DEBIAN_NOVUDEVELOPMENT_PACKAGE_SUGGESTS "liblzma-dev, zlib1g-dev")
set(CPACK_COMPONENT_NOVUDEVELOPMENT_DESCRIPTION
    "small services for desktop applications (development files)
${description}
.
This package holds the headers, the static library, and what CMake and
pkg-config read."
)

include(CPack)
