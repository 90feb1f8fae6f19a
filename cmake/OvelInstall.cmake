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

# The applications under names that nothing else in a system has: there is a wall(1) already. Their manual pages are what
# they say themselves (--help), made when they are installed.
find_program(OVEL_HELP2MAN help2man)
find_program(OVEL_GZIP gzip)
set(OVEL_PURPOSE_player "play video files side by side")
set(OVEL_PURPOSE_wall "show video on a wall of many tiles")
foreach(program player wall)
    if(NOT TARGET ${program})
        continue()
    endif()
    install(TARGETS ${program} RUNTIME DESTINATION "${CMAKE_INSTALL_LIBEXECDIR}/ovelrender" COMPONENT player)
    file(RELATIVE_PATH link "/prefix/${CMAKE_INSTALL_BINDIR}" "/prefix/${CMAKE_INSTALL_LIBEXECDIR}/ovelrender/${program}")
    file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/links" "${PROJECT_BINARY_DIR}/man")
    file(CREATE_LINK "${link}" "${PROJECT_BINARY_DIR}/links/ovel-${program}" SYMBOLIC)
    install(FILES "${PROJECT_BINARY_DIR}/links/ovel-${program}" DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT player)
    if(OVEL_HELP2MAN AND OVEL_GZIP)
        set(named "${PROJECT_BINARY_DIR}/man/ovel-${program}")
        install(CODE "
            file(CREATE_LINK \"$<TARGET_FILE:${program}>\" \"${named}\" SYMBOLIC)
            execute_process(
                COMMAND \"${OVEL_HELP2MAN}\" --no-info --version-string=${PROJECT_VERSION}
                    \"--name=${OVEL_PURPOSE_${program}}\" \"${named}\"
                COMMAND \"${OVEL_GZIP}\" -9nc
                OUTPUT_FILE \"${named}.1.gz\" COMMAND_ERROR_IS_FATAL ANY)"
            COMPONENT player)
        install(FILES "${named}.1.gz" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT player)
    endif()
endforeach()
if(TARGET player)
    install(FILES apps/player/ovel-player.desktop apps/wall/ovel-wall.desktop
        DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/applications" COMPONENT player)
    install(FILES apps/player/ovel-player.svg
        DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/icons/hicolor/scalable/apps" COMPONENT player)
endif()
