# What `cmake --install` writes: component runtime is the shared object, component development all a host builds with.
include(CMakePackageConfigHelpers)

install(TARGETS OvelRender EXPORT OvelRenderTargets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime NAMELINK_COMPONENT development
)
install(FILES include/OvelInterface.h include/OvelOsSdk.h include/OvelHelpers.h
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT development
)

list(JOIN OVEL_QT_HOST_MODULES " " OVEL_QT_HOST_MODULE_NAMES)
set(OVEL_CMAKE_DIRECTORY "${CMAKE_INSTALL_LIBDIR}/cmake/OvelRender")
configure_package_config_file(cmake/OvelRenderConfig.cmake.in OvelRenderConfig.cmake
    INSTALL_DESTINATION "${OVEL_CMAKE_DIRECTORY}"
    NO_SET_AND_CHECK_MACRO
)
write_basic_package_version_file(OvelRenderConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/OvelRenderConfig.cmake" "${PROJECT_BINARY_DIR}/OvelRenderConfigVersion.cmake"
    DESTINATION "${OVEL_CMAKE_DIRECTORY}" COMPONENT development
)
install(EXPORT OvelRenderTargets NAMESPACE Ovel::
    DESTINATION "${OVEL_CMAKE_DIRECTORY}" COMPONENT development
)

# Relative to the file's own place, so that an installed tree can be moved.
set(OVEL_PKGCONFIG_DIRECTORY "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
file(RELATIVE_PATH OVEL_PKGCONFIG_PREFIX "/prefix/${OVEL_PKGCONFIG_DIRECTORY}" "/prefix")
string(REGEX REPLACE "/$" "" OVEL_PKGCONFIG_PREFIX "${OVEL_PKGCONFIG_PREFIX}")
configure_file(cmake/OvelRender.pc.in OvelRender.pc @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/OvelRender.pc" DESTINATION "${OVEL_PKGCONFIG_DIRECTORY}" COMPONENT development)

# The sample hosts under names that nothing else in a system has: there is a wall(1) already.
foreach(program player wall)
    if(TARGET ${program})
        install(TARGETS ${program} RUNTIME DESTINATION "${CMAKE_INSTALL_LIBEXECDIR}/ovelrender" COMPONENT player)
        file(RELATIVE_PATH link "/prefix/${CMAKE_INSTALL_BINDIR}" "/prefix/${CMAKE_INSTALL_LIBEXECDIR}/ovelrender/${program}")
        file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/links")
        file(CREATE_LINK "${link}" "${PROJECT_BINARY_DIR}/links/ovel-${program}" SYMBOLIC)
        install(FILES "${PROJECT_BINARY_DIR}/links/ovel-${program}" DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT player)
    endif()
endforeach()
