# Part of installing on Windows: collects what the programs load into their folder. The toolkit's own program
# (NORVEX_WINDEPLOYQT) knows its plugins; whatever these and the programs need besides is searched in
# NORVEX_LIBRARY_FOLDERS. A library that is found nowhere ends the installation, because a package without it starts only
# where it was made.
set(folder ${CMAKE_INSTALL_PREFIX}/bin)
if(NORVEX_WINDEPLOYQT AND EXISTS ${folder}/norvex.exe)
    execute_process(COMMAND ${NORVEX_WINDEPLOYQT} --release --compiler-runtime ${folder}/norvex.exe
        COMMAND_ERROR_IS_FATAL ANY)
    # The export writes SQLite; what the plugins of other databases load is rarely installed.
    file(GLOB databases ${folder}/sqldrivers/*.dll)
    list(FILTER databases EXCLUDE REGEX "qsqlite[^/]*$")
    if(databases)
        file(REMOVE ${databases})
    endif()
elseif(EXISTS ${folder}/norvex.exe)
    message(WARNING "without windeployqt the plugins of Qt are missing, and norvex.exe starts only where Qt is installed")
endif()

file(GLOB programs ${folder}/*.exe)
list(FILTER programs EXCLUDE REGEX "/vc_?redist[^/]*$")
file(GLOB_RECURSE libraries ${folder}/*.dll)
set(CMAKE_GET_RUNTIME_DEPENDENCIES_PLATFORM windows+pe)
if(NORVEX_OBJDUMP)
    set(CMAKE_GET_RUNTIME_DEPENDENCIES_TOOL objdump)
    set(CMAKE_GET_RUNTIME_DEPENDENCIES_COMMAND ${NORVEX_OBJDUMP})
endif()
file(GET_RUNTIME_DEPENDENCIES
    EXECUTABLES ${programs} LIBRARIES ${libraries}
    RESOLVED_DEPENDENCIES_VAR found UNRESOLVED_DEPENDENCIES_VAR missing CONFLICTING_DEPENDENCIES_PREFIX twice
    DIRECTORIES ${folder} ${NORVEX_LIBRARY_FOLDERS}
    PRE_EXCLUDE_REGEXES "^(api|ext)-ms-"
    POST_EXCLUDE_REGEXES "[Ss][Yy][Ss][Tt][Ee][Mm]32/")
foreach(name ${twice_FILENAMES})
    list(GET twice_${name} 0 first)
    list(APPEND found ${first})
endforeach()
foreach(library ${found})
    get_filename_component(name ${library} NAME)
    if(NOT EXISTS ${folder}/${name})
        file(INSTALL ${library} DESTINATION ${folder})
    endif()
endforeach()
if(missing)
    list(JOIN missing ", " missing)
    message(FATAL_ERROR "no folder has ${missing}; looked in ${NORVEX_LIBRARY_FOLDERS}")
endif()
