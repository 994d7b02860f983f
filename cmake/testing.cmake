# norvex_test(NAME [SOURCES ...] [LIBRARIES ...] [TIMEOUT s])
# One QtTest program: NAME.cpp plus SOURCES, linked with the core, registered with CTest and run without a display.
function(norvex_test NAME)
    cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LIBRARIES" ${ARGN})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 60)
    endif()
    add_executable(${NAME} ${NAME}.cpp ${ARG_SOURCES})
    target_link_libraries(${NAME} PRIVATE norvex_options norvex_core ${ARG_LIBRARIES} Qt5::Test)
    target_include_directories(${NAME} PRIVATE ${CMAKE_SOURCE_DIR}/tests)
    if(CMAKE_BUILD_TYPE STREQUAL "RelWithDebInfo" AND NOT MSVC)
        target_compile_options(${NAME} PRIVATE -O1) # a third less to compile; the code under test keeps its own level
    endif()
    target_compile_definitions(${NAME} PRIVATE NORVEX_TEST_DATA="${CMAKE_SOURCE_DIR}/tests/data")
    add_test(NAME ${NAME} COMMAND ${NAME})
    set_tests_properties(${NAME} PROPERTIES
        TIMEOUT ${ARG_TIMEOUT}
        ENVIRONMENT "QT_QPA_PLATFORM=offscreen;TZ=Europe/Berlin;LC_ALL=C.UTF-8")
endfunction()
