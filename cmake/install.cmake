# What `cmake --install` puts in its place, and what cpack makes of it. packages.sh makes all packages
# that there are.

# On Windows a program and its papers lie in one folder.
if(WIN32)
    set(CMAKE_INSTALL_BINDIR .)
    set(CMAKE_INSTALL_DOCDIR .)
endif()
include(GNUInstallDirs)

set(MIRD_DATE 2026-11-22) # of this version

foreach(page mird.6 mird.metainfo.xml)
    configure_file(${PROJECT_SOURCE_DIR}/Packages/${page} ${PROJECT_BINARY_DIR}/${page} @ONLY)
endforeach()

install(TARGETS mird mird-uci RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES README.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY Docs DESTINATION ${CMAKE_INSTALL_DOCDIR} PATTERN "*.py" EXCLUDE)
if(NOT WIN32)
    install(FILES ${PROJECT_BINARY_DIR}/mird.6 DESTINATION ${CMAKE_INSTALL_MANDIR}/man6)
    install(FILES ${PROJECT_BINARY_DIR}/mird.6 DESTINATION ${CMAKE_INSTALL_MANDIR}/man6
        RENAME mird-uci.6)
endif()
if(UNIX AND NOT APPLE)
    install(FILES ${PROJECT_BINARY_DIR}/mird.metainfo.xml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
endif()

set(CPACK_PACKAGE_NAME mird)
set(CPACK_PACKAGE_VENDOR "the Mird authors")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "chess engine for UCI interfaces")
set(CPACK_PACKAGE_DESCRIPTION "Mird plays and analyses chess and Chess960 for graphical interfaces that
speak the UCI protocol, and for a person at a keyboard. It carries a small
neural network, reads PolyGlot opening books and Syzygy endgame tables, and
can hold itself to a chosen strength.")
set(CPACK_PACKAGE_CONTACT "the Mird authors <mird@example.org>")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_GENERATOR TGZ)
if(WIN32)
    set(CPACK_GENERATOR ZIP)
endif()

# The name of an archive says for which machine it is; that of a .deb is Debian's.
string(TOLOWER ${CMAKE_SYSTEM_NAME} system)
string(REPLACE x86_64 x86-64 processor ${CMAKE_SYSTEM_PROCESSOR})
set(CPACK_PACKAGE_FILE_NAME mird-${PROJECT_VERSION}-${system}-${processor})

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION games)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "xboard | cutechess | scid")
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian.cmake)
set(CPACK_MIRD_COPYRIGHT ${PROJECT_SOURCE_DIR}/Packages/copyright)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ
    GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
include(CPack)
