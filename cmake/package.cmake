# "cpack --config build/release/CPackConfig.cmake" makes the packages of this system: a Debian package, or an installer
# and an archive on Windows.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON) # a package needs no tests; what it holds is built before
set(CPACK_PACKAGE_NAME norvex)
set(CPACK_PACKAGE_VENDOR Kelvaris)
set(CPACK_PACKAGE_CONTACT "Kelvaris <norvex@kelvaris.com>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "recorder for RF event detector sensors of plasma chambers")
set(CPACK_PACKAGE_HOMEPAGE_URL https://kelvaris.com)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_INSTALL_DIRECTORY Norvex)
set(CPACK_PACKAGE_CHECKSUM SHA256)
set(CPACK_STRIP_FILES ON)
set(CPACK_OUTPUT_FILE_PREFIX ${CMAKE_BINARY_DIR}/packages)

if(WIN32)
    set(CPACK_GENERATOR NSIS ZIP)
    set(CPACK_PACKAGE_EXECUTABLES norvex Norvex)
    set(CPACK_NSIS_PACKAGE_NAME Norvex)
    set(CPACK_NSIS_DISPLAY_NAME Norvex)
    set(CPACK_NSIS_CONTACT norvex@kelvaris.com)
    set(CPACK_NSIS_MUI_ICON ${CMAKE_SOURCE_DIR}/packaging/norvex.ico)
    set(CPACK_NSIS_MUI_UNIICON ${CPACK_NSIS_MUI_ICON})
    set(CPACK_NSIS_INSTALLED_ICON_NAME [[bin\\norvex.exe]])
    set(CPACK_NSIS_ENABLE_UNINSTALL_BEFORE_INSTALL ON)
    set(CPACK_NSIS_MODIFY_PATH ON)
    set(CPACK_NSIS_MENU_LINKS bin/NorvexGuide.pdf "Norvex User Guide")
else()
    set(CPACK_GENERATOR DEB)
    set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
    set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
        OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
    set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
    set(CPACK_DEBIAN_PACKAGE_RELEASE ${NORVEX_BUILD_NUMBER})
    set(CPACK_DEBIAN_PACKAGE_SECTION science)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
    # Nothing is linked with these: plugins draw the icons and write databases, and the guide's letters are also those
    # of the window.
    set(CPACK_DEBIAN_PACKAGE_DEPENDS "libqt5sql5-sqlite, libqt5svg5, fonts-dejavu-core")
    set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
    set(CPACK_PACKAGE_DESCRIPTION
        "Norvex records voltage, current, pulse quantities, arcs with their
waveforms and the runs of plasma chambers from RF event detector sensors,
without losing or doubling a sample, and shows, compares and exports them.

This package contains the desktop program, the command line program, a
simulated sensor and the user guide.")
endif()
include(CPack)
