# The Debian packages, by Debian's customs: libkest0 with the library, libkest-dev with what building
# against it needs, kest with the command; debug information apart, in packages that end in -dbgsym.
# They come from the same build as everything else: only the folders are other ones. What this CPack
# gets wrong about them scripts/packages.sh puts right.

set(debian ${CMAKE_CURRENT_SOURCE_DIR}/package/debian)
file(STRINGS ${debian}/changelog newest LIMIT_COUNT 1)
if(NOT newest MATCHES "^kest \\(${PROJECT_VERSION}\\) ")
    message(FATAL_ERROR "package/debian/changelog does not begin with version ${PROJECT_VERSION}.")
endif()
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${debian}/changelog)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL libkest0 libkest-dev kest)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The command's own library is none that the machine has yet.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_CURRENT_BINARY_DIR})

find_program(KEST_GZIP gzip REQUIRED)
kest_install(lib/${CMAKE_LIBRARY_ARCHITECTURE} /usr libkest0 libkest-dev kest EXCLUDE_FROM_ALL)
install(FILES ${kest_sbom} DESTINATION share/doc/libkest0 COMPONENT libkest0 EXCLUDE_FROM_ALL)
# In its own place the command finds the library without being told where. And as debhelper does: no
# compiler's names in the files, and the manual page is compressed.
set(root "\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}")
install(CODE "file(RPATH_REMOVE FILE \"${root}/${CMAKE_INSTALL_BINDIR}/kest\")
    execute_process(COMMAND \"${CMAKE_OBJCOPY}\" --remove-section=.comment
                            \"${root}/${CMAKE_INSTALL_BINDIR}/kest\" COMMAND_ERROR_IS_FATAL ANY)
    execute_process(COMMAND \"${KEST_GZIP}\" -9nf \"${root}/${CMAKE_INSTALL_MANDIR}/man1/kest.1\"
                    COMMAND_ERROR_IS_FATAL ANY)"
        COMPONENT kest EXCLUDE_FROM_ALL)
install(CODE "execute_process(
    COMMAND \"${CMAKE_OBJCOPY}\" --remove-section=.comment
            \"${root}/lib/${CMAKE_LIBRARY_ARCHITECTURE}/$<TARGET_FILE_NAME:kest>\"
    COMMAND_ERROR_IS_FATAL ANY)" COMPONENT libkest0 EXCLUDE_FROM_ALL)

# The package `package`, with what Debian wants of each: the owners, the changes, a description.
function(kest_debian_package package section summary description)
    set(doc share/doc/${package})
    install(FILES ${debian}/copyright DESTINATION ${doc} COMPONENT ${package} EXCLUDE_FROM_ALL)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/debian/changelog.gz DESTINATION ${doc}
            COMPONENT ${package} EXCLUDE_FROM_ALL)
    string(TOUPPER ${package} key)
    set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${package} PARENT_SCOPE)
    set(CPACK_DEBIAN_${key}_FILE_NAME DEB-DEFAULT PARENT_SCOPE)
    set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section} PARENT_SCOPE)
    set(CPACK_DEBIAN_${key}_DESCRIPTION "${summary}\n${description}" PARENT_SCOPE)
endfunction()
file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/debian)
execute_process(COMMAND ${KEST_GZIP} -9nc ${debian}/changelog
                OUTPUT_FILE ${CMAKE_CURRENT_BINARY_DIR}/debian/changelog.gz
                COMMAND_ERROR_IS_FATAL ANY)

set(about "Kest replaces, copies and deletes whole directory trees, all or nothing: an
error, a killed process or a power cut leaves the old tree or the new one.
Around that it has a trace log, dates and times, property files, links and
what else a desktop backup product needs.
")
kest_debian_package(libkest0 libs "directory trees copied all or nothing - library"
                    "${about}\nThis package holds the shared library.")
kest_debian_package(libkest-dev libdevel "directory trees copied all or nothing - development"
                    "${about}\nThis package holds what programs in C and C++ are built with.")
kest_debian_package(kest utils "directory trees copied all or nothing - command"
                    "${about}\nThis package holds the command for a shell.")

# Which of the library's names are there since when, and that the linker's list has to be renewed.
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/debian/shlibs
     "libkest 0 libkest0 (>= ${PROJECT_VERSION})\n")
set(CPACK_DEBIAN_LIBKEST0_PACKAGE_CONTROL_EXTRA
    ${debian}/symbols ${CMAKE_CURRENT_BINARY_DIR}/debian/shlibs ${debian}/triggers)
# The three are made and tested together.
set(CPACK_DEBIAN_LIBKEST-DEV_PACKAGE_DEPENDS "libkest0 (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_KEST_PACKAGE_DEPENDS "libkest0 (= ${PROJECT_VERSION})")
