# Debian packages: configure with -DCMAKE_INSTALL_PREFIX=/usr, build, then `cpack -G DEB` in the build directory.
set(CPACK_PACKAGE_NAME ovelrender)
set(CPACK_PACKAGE_VENDOR "libOvelRender developers")
set(CPACK_PACKAGE_CONTACT "libOvelRender developers <developers@ovelrender.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package brings its own
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)

# Each package is a group of what it holds and its Debian papers, which a plain `cmake --install` leaves out.
set(OVEL_SONAME_PACKAGE "libovelrender${PROJECT_VERSION_MAJOR}")
set(OVEL_PACKAGED_runtime "${OVEL_SONAME_PACKAGE}")
set(OVEL_PACKAGED_development libovelrender-dev)
set(OVEL_PACKAGED_player ovelrender-player)
set(OVEL_PACKAGED runtime development)
if(TARGET player)
    list(APPEND OVEL_PACKAGED player)
endif()

# Debian wants the changelog compressed, without the time of compression in it.
set(OVEL_DEBIAN_CHANGELOG "${PROJECT_BINARY_DIR}/changelog.Debian.gz")
if(OVEL_GZIP)
    execute_process(COMMAND "${OVEL_GZIP}" -9nc "${PROJECT_SOURCE_DIR}/cmake/debian/changelog"
        OUTPUT_FILE "${OVEL_DEBIAN_CHANGELOG}")
endif()
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/cmake/debian/changelog")
set(OVEL_COPYRIGHT "${PROJECT_SOURCE_DIR}/cmake/debian/copyright")
if(EXISTS "${PROJECT_SOURCE_DIR}/LICENSE")
    set(OVEL_COPYRIGHT "${PROJECT_SOURCE_DIR}/LICENSE")
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_COMPONENTS_ALL "")
foreach(component IN LISTS OVEL_PACKAGED)
    set(package "${OVEL_PACKAGED_${component}}")
    install(FILES "${OVEL_COPYRIGHT}" RENAME copyright DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/${package}"
        COMPONENT ${component}_papers EXCLUDE_FROM_ALL)
    if(OVEL_GZIP)
        install(FILES "${OVEL_DEBIAN_CHANGELOG}" DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/${package}"
            COMPONENT ${component}_papers EXCLUDE_FROM_ALL)
    endif()
    list(APPEND CPACK_COMPONENTS_ALL ${component} ${component}_papers)
    string(TOUPPER ${component} upper)
    set(CPACK_COMPONENT_${upper}_GROUP ${component})
    set(CPACK_COMPONENT_${upper}_PAPERS_GROUP ${component})
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME "${package}")
endforeach()

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 0ovel1) # lower than any of the distribution's own
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(OVEL_SAME_VERSION "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
if(OVEL_QT EQUAL 6)
    set(OVEL_QT_DEVELOPMENT "qt6-base-dev")
    set(OVEL_QT_WAYLAND "qt6-wayland")
else()
    set(OVEL_QT_DEVELOPMENT "qtbase5-dev")
    set(OVEL_QT_WAYLAND "qtwayland5")
endif()

set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/cmake/debian/triggers")
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "decoded video in Qt widgets with OpenGL
A shared library that shows decoded 8-bit 4:2:0 video in Qt widgets. The host
hands frames over from any thread; conversion to RGB, zoom, rotation, overlay
graphics and labels happen on the GPU and in the widget.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${OVEL_SONAME_PACKAGE} ${OVEL_SAME_VERSION}, ${OVEL_QT_DEVELOPMENT}")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "decoded video in Qt widgets with OpenGL (development files)
Headers, the CMake package OvelRender and the pkg-config file for programs that
show decoded video with libOvelRender.")

set(CPACK_DEBIAN_PLAYER_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PLAYER_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PLAYER_PACKAGE_DEPENDS "${OVEL_SONAME_PACKAGE} ${OVEL_SAME_VERSION}")
# The player's own library is in a package that does not exist yet when its dependencies are looked up.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/OvelRender")
# Windows on Wayland, and OpenGL on any machine: what makes them is found at run time.
set(CPACK_DEBIAN_PLAYER_PACKAGE_RECOMMENDS "${OVEL_QT_WAYLAND}, libgl1-mesa-dri")
set(CPACK_DEBIAN_PLAYER_DESCRIPTION "video player and video wall on libOvelRender
Two small programs: one plays files side by side with overlays, zoom and
rotation, the other shows many tiles on a few decoder threads.")

include(CPack)
