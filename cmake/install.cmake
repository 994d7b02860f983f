# What "cmake --install" puts where. The programs and the guide lie in a folder of their own, because they look for each
# other there; on systems with a search path, links lead to them.
include(GNUInstallDirs)

set(programs norvex-cli norvex-sensor-sim)
if(NORVEX_GUI)
    list(PREPEND programs norvex)
endif()
if(WIN32)
    set(program_folder bin) # the installer's search path and start menu look there
else()
    set(program_folder lib/norvex)
endif()

install(TARGETS ${programs} RUNTIME DESTINATION ${program_folder})
if(NORVEX_GUI)
    install(FILES ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/NorvexGuide.pdf DESTINATION ${program_folder})
endif()

# For who wants to read the files without us: what is in them, a program that does it, and something to read.
if(WIN32)
    set(documents_folder doc)
else()
    set(documents_folder ${CMAKE_INSTALL_DATADIR}/doc/norvex)
endif()
install(FILES ${CMAKE_SOURCE_DIR}/docs/formats.md DESTINATION ${documents_folder})
install(DIRECTORY ${CMAKE_SOURCE_DIR}/examples DESTINATION ${documents_folder})
install(FILES ${CMAKE_SOURCE_DIR}/tools/norvex_read.py DESTINATION ${documents_folder}/examples)

if(WIN32)
    # Where libraries are that programs load: beside the compiler, the toolkit and Qwt.
    find_program(NORVEX_WINDEPLOYQT NAMES windeployqt windeployqt-qt5)
    get_filename_component(compiler_folder ${CMAKE_CXX_COMPILER} DIRECTORY)
    set(library_folders ${compiler_folder})
    if(TARGET Qt5::qmake)
        get_target_property(qmake Qt5::qmake IMPORTED_LOCATION)
        get_filename_component(qmake_folder ${qmake} DIRECTORY)
        list(APPEND library_folders ${qmake_folder})
    endif()
    if(QWT_LIBRARY)
        get_filename_component(qwt_folder ${QWT_LIBRARY} DIRECTORY)
        list(APPEND library_folders ${qwt_folder} ${qwt_folder}/../bin)
    endif()
    install(CODE "set(NORVEX_WINDEPLOYQT \"${NORVEX_WINDEPLOYQT}\")
set(NORVEX_LIBRARY_FOLDERS \"${library_folders}\")
set(NORVEX_OBJDUMP \"${CMAKE_OBJDUMP}\")")
    install(SCRIPT ${CMAKE_SOURCE_DIR}/cmake/deploy.cmake)
    return()
endif()

set(man_pages)
foreach(program ${programs})
    # Links at configuration: installing copies them as they are, also into a staging folder.
    file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/links)
    file(CREATE_LINK ../lib/norvex/${program} ${CMAKE_BINARY_DIR}/links/${program} SYMBOLIC)
    install(FILES ${CMAKE_BINARY_DIR}/links/${program} DESTINATION bin)
    list(APPEND man_pages ${CMAKE_SOURCE_DIR}/docs/man/${program}.1)
endforeach()

find_program(NORVEX_GZIP gzip)
# install_compressed(DESTINATION FILES...): without the program that compresses, as they are. FILE=NAME gives a file
# another name.
function(install_compressed destination)
    foreach(pair ${ARGN})
        string(REGEX REPLACE "=.*" "" file ${pair})
        string(REGEX REPLACE ".*=" "" name ${pair})
        get_filename_component(name ${name} NAME)
        if(NORVEX_GZIP)
            set(packed ${CMAKE_BINARY_DIR}/compressed/${name}.gz)
            add_custom_command(OUTPUT ${packed}
                COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/compressed
                COMMAND ${NORVEX_GZIP} -9 -n -c ${file} > ${packed}
                DEPENDS ${file} VERBATIM)
            set_property(GLOBAL APPEND PROPERTY NORVEX_COMPRESSED ${packed})
            set(file ${packed})
            string(APPEND name .gz)
        endif()
        install(FILES ${file} DESTINATION ${destination} RENAME ${name})
    endforeach()
endfunction()
install_compressed(${CMAKE_INSTALL_DATADIR}/man/man1 ${man_pages})
install_compressed(${documents_folder}
    ${CMAKE_SOURCE_DIR}/CHANGELOG.md=changelog ${CMAKE_SOURCE_DIR}/packaging/changelog.Debian)
get_property(compressed GLOBAL PROPERTY NORVEX_COMPRESSED)
if(compressed)
    add_custom_target(compressed ALL DEPENDS ${compressed})
endif()

set(packaging ${CMAKE_SOURCE_DIR}/packaging)
install(FILES ${packaging}/lintian-overrides DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME norvex)
install(FILES ${packaging}/copyright DESTINATION ${documents_folder})
install(FILES ${packaging}/norvex.bash-completion
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME norvex-cli)
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/links/completion)
foreach(program norvex norvex-sensor-sim)
    file(CREATE_LINK norvex-cli ${CMAKE_BINARY_DIR}/links/completion/${program} SYMBOLIC)
    install(FILES ${CMAKE_BINARY_DIR}/links/completion/${program}
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
endforeach()
if(NORVEX_GUI)
    install(FILES ${packaging}/com.kelvaris.norvex.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
    install(FILES ${packaging}/com.kelvaris.norvex.metainfo.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
    install(FILES ${CMAKE_SOURCE_DIR}/src/ui/Images/norvex.svg
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
endif()
install(FILES ${packaging}/norvex-mime.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/mime/packages RENAME norvex.xml)
