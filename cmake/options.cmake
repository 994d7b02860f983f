# What every target of ours is compiled with, in one interface target. Warnings are errors in the presets and in CI.
add_library(norvex_options INTERFACE)

target_compile_definitions(norvex_options INTERFACE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_FOREACH QT_STRICT_ITERATORS
    NORVEX_VERSION_MAJOR=${PROJECT_VERSION_MAJOR} NORVEX_VERSION_MINOR=${PROJECT_VERSION_MINOR}
    NORVEX_VERSION_PATCH=${PROJECT_VERSION_PATCH} NORVEX_BUILD_NUMBER=${NORVEX_BUILD_NUMBER})
target_include_directories(norvex_options INTERFACE ${CMAKE_SOURCE_DIR}/src)

if(MSVC)
    target_compile_options(norvex_options INTERFACE /W4 /utf-8 /permissive-)
    if(NORVEX_WERROR)
        target_compile_options(norvex_options INTERFACE /WX)
    endif()
else()
    target_compile_options(norvex_options INTERFACE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual)
    if(NORVEX_WERROR)
        target_compile_options(norvex_options INTERFACE -Werror)
    endif()
endif()

if(NORVEX_SANITIZE)
    add_compile_options(-fsanitize=${NORVEX_SANITIZE} -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${NORVEX_SANITIZE})
    if(NORVEX_SANITIZE MATCHES "undefined")
        add_compile_options(-fno-sanitize-recover=undefined)
    endif()
endif()

# Every program of a thread sanitizer build carries what the sanitizer has to know of the toolkit.
if(NORVEX_SANITIZE MATCHES "thread")
    find_package(Qt5 5.15 REQUIRED COMPONENTS Core)
    add_library(norvex_qt_threads OBJECT ${CMAKE_SOURCE_DIR}/tests/support/qtthreads.cpp)
    target_link_libraries(norvex_qt_threads PRIVATE Qt5::Core)
    target_sources(norvex_options INTERFACE
        $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:$<TARGET_OBJECTS:norvex_qt_threads>>)
endif()

find_program(NORVEX_CCACHE ccache)
if(NORVEX_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${NORVEX_CCACHE})
endif()

find_program(NORVEX_MOLD mold)
if(NORVEX_MOLD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT CMAKE_CXX_COMPILER_VERSION VERSION_LESS 12.1)
    add_link_options(-fuse-ld=mold)
endif()
