# The one place that knows which Qt modules each major version splits the same classes into.
set(CMAKE_AUTOMOC OFF)
if(OVEL_QT EQUAL 6)
    find_package(Qt6 REQUIRED COMPONENTS Core Gui Widgets OpenGL OpenGLWidgets Core5Compat)
    set(OVEL_QT_LIBRARIES Qt6::Core Qt6::Gui Qt6::Widgets Qt6::OpenGL Qt6::OpenGLWidgets Qt6::Core5Compat)
else()
    find_package(Qt5 5.15 REQUIRED COMPONENTS Core Gui Widgets)
    set(OVEL_QT_LIBRARIES Qt5::Core Qt5::Gui Qt5::Widgets)
endif()
