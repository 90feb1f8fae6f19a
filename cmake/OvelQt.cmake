# The one place that knows which Qt modules each major version splits the same classes into.
set(CMAKE_AUTOMOC OFF)
# What a host links with the library, and what only the library's own sources need.
set(OVEL_QT_HOST_MODULES Core Gui Widgets)
if(OVEL_QT EQUAL 6)
    set(OVEL_QT_VERSION 6.4)
    set(OVEL_QT_OWN_MODULES OpenGL OpenGLWidgets Core5Compat)
elseif(OVEL_QT EQUAL 5)
    set(OVEL_QT_VERSION 5.15)
    set(OVEL_QT_OWN_MODULES "")
else()
    message(FATAL_ERROR "OVEL_QT is 5 or 6, not ${OVEL_QT}")
endif()
find_package(Qt${OVEL_QT} ${OVEL_QT_VERSION} REQUIRED COMPONENTS ${OVEL_QT_HOST_MODULES} ${OVEL_QT_OWN_MODULES})

list(TRANSFORM OVEL_QT_HOST_MODULES PREPEND "Qt${OVEL_QT}::" OUTPUT_VARIABLE OVEL_QT_LIBRARIES)
list(TRANSFORM OVEL_QT_OWN_MODULES PREPEND "Qt${OVEL_QT}::" OUTPUT_VARIABLE OVEL_QT_OWN_LIBRARIES)
