# How every target of the project is compiled: warnings, sanitizers, hidden symbols.
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

add_library(ovel_compile INTERFACE)
target_compile_options(ovel_compile INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(OVEL_WERROR)
    target_compile_options(ovel_compile INTERFACE -Werror)
endif()
if(OVEL_SANITIZE)
    target_compile_options(ovel_compile INTERFACE -fsanitize=${OVEL_SANITIZE} -fno-omit-frame-pointer)
    target_link_options(ovel_compile INTERFACE -fsanitize=${OVEL_SANITIZE})
    target_sources(ovel_compile INTERFACE
        $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:${PROJECT_SOURCE_DIR}/cmake/SanitizerOptions.cpp>)
endif()
