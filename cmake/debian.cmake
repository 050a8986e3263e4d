# Run by cpack between installation and packing: gives a .deb what Debian wants in its place.

if(NOT CPACK_GENERATOR STREQUAL "DEB")
    return()
endif()
set(usr ${CPACK_TEMPORARY_DIRECTORY}/usr)

# The licence stands in Debian's own form.
set(documents ${usr}/share/doc/mird)
file(REMOVE ${documents}/LICENSE)
configure_file(${CPACK_MIRD_COPYRIGHT} ${documents}/copyright COPYONLY)
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC) # that of SOURCE_DATE_EPOCH, if there is one
file(WRITE ${documents}/changelog
    "mird (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium\n\n"
    "  * Version ${CPACK_PACKAGE_VERSION}.\n\n"
    " -- ${CPACK_PACKAGE_CONTACT}  ${date}\n")

file(GLOB pages ${usr}/share/man/man6/*.6)
execute_process(COMMAND gzip -9 --no-name --force ${documents}/changelog ${pages}
    COMMAND_ERROR_IS_FATAL ANY)

# Games have a folder of their own there, which is on the path of people, but not of root.
file(MAKE_DIRECTORY ${usr}/bin)
foreach(program mird mird-uci)
    file(CREATE_LINK ../games/${program} ${usr}/bin/${program} SYMBOLIC)
endforeach()
