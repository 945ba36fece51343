# What `cmake --install` lays down: headers, both libraries, the CMake package
# and the pkg-config file.

include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/NovuBases)

install(
    TARGETS NovuBasesShared NovuBasesStatic
    EXPORT NovuBasesTargets
    LIBRARY COMPONENT NovuRuntime NAMELINK_COMPONENT NovuDevelopment
    ARCHIVE COMPONENT NovuDevelopment
    FILE_SET HEADERS COMPONENT NovuDevelopment
)
install(
    EXPORT NovuBasesTargets
    NAMESPACE Novu::
    DESTINATION ${package_dir}
    COMPONENT NovuDevelopment
)

configure_package_config_file(
    ${PROJECT_SOURCE_DIR}/cmake/NovuBasesConfig.cmake.in
    ${PROJECT_BINARY_DIR}/NovuBasesConfig.cmake
    INSTALL_DESTINATION ${package_dir}
)
write_basic_package_version_file(
    ${PROJECT_BINARY_DIR}/NovuBasesConfigVersion.cmake
    COMPATIBILITY SameMajorVersion
)
install(
    FILES
        ${PROJECT_BINARY_DIR}/NovuBasesConfig.cmake
        ${PROJECT_BINARY_DIR}/NovuBasesConfigVersion.cmake
    DESTINATION ${package_dir}
    COMPONENT NovuDevelopment
)

# The prefix is found from where the file lies, so an installed tree can move.
cmake_path(
    RELATIVE_PATH CMAKE_INSTALL_PREFIX
    BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig
    OUTPUT_VARIABLE prefix_from_pc
)
if(Iconv_IS_BUILT_IN)
    set(iconv_libs "")
else()
    set(iconv_libs "-liconv")
endif()
# Boost has no pkg-config file of its own.
set(boost_cflags "")
if(NOT Boost_INCLUDE_DIRS IN_LIST CMAKE_CXX_IMPLICIT_INCLUDE_DIRECTORIES)
    set(boost_cflags " -I${Boost_INCLUDE_DIRS}")
endif()
configure_file(
    ${PROJECT_SOURCE_DIR}/cmake/novu-bases.pc.in
    ${PROJECT_BINARY_DIR}/novu-bases.pc
    @ONLY
)
install(
    FILES ${PROJECT_BINARY_DIR}/novu-bases.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT NovuDevelopment
)
