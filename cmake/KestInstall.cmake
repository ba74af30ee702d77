# What `cmake --install` puts where: the library, its headers, the command, and what find_package
# and pkg-config need.

include(CMakePackageConfigHelpers)

install(TARGETS kest EXPORT KestTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS kest_command RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
if(UNIX)
    install(FILES tools/kest/kest.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
    install(FILES tools/kest/kest.bash-completion RENAME kest
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
endif()

# The public headers are the two that a host includes and whatever these include: there is no list to
# forget an entry in, and an internal header that slips into a public one stops the build here.
set(public_headers)
set(waiting kest/kest.h kest/c_api.h)
while(waiting)
    list(POP_FRONT waiting header)
    if(header IN_LIST public_headers)
        continue()
    endif()
    if(header MATCHES "^kest/platform/" AND NOT header STREQUAL "kest/platform/Types.h")
        message(FATAL_ERROR "A public header includes ${header}, which is internal.")
    endif()
    list(APPEND public_headers ${header})
    file(STRINGS ${CMAKE_CURRENT_SOURCE_DIR}/${header} includes REGEX "^ *# *include +\"kest/")
    list(TRANSFORM includes REPLACE "^[^\"]*\"([^\"]*)\".*$" "\\1")
    list(APPEND waiting ${includes})
endwhile()
foreach(header IN LISTS public_headers)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
                                           ${CMAKE_CURRENT_SOURCE_DIR}/${header})
    cmake_path(GET header PARENT_PATH folder)
    install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder})
endforeach()

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/Kest)
install(EXPORT KestTargets NAMESPACE Kest:: DESTINATION ${package})
configure_package_config_file(cmake/KestConfig.cmake.in
                              ${CMAKE_CURRENT_BINARY_DIR}/KestConfig.cmake
                              INSTALL_DESTINATION ${package})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/KestConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/KestConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/KestConfigVersion.cmake
        DESTINATION ${package})

# Its paths are relative to the file itself, so an installed tree can be moved.
file(RELATIVE_PATH kest_pc_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
get_target_property(kest_link_name kest OUTPUT_NAME)
if(NOT kest_link_name)
    set(kest_link_name kest)
endif()
configure_file(cmake/kest.pc.in ${CMAKE_CURRENT_BINARY_DIR}/kest.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kest.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(MINGW)
    # The run-time libraries stand beside Kest.dll: shared with the host, so that both have the same
    # standard streams and exceptions cross between them.
    foreach(dll libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
        # Debian keeps the thread library apart from the compiler's own.
        execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}
                        OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
        if(NOT IS_ABSOLUTE "${path}")
            find_file(KEST_${dll} ${dll} PATHS ${CMAKE_FIND_ROOT_PATH} PATH_SUFFIXES lib bin
                      NO_CMAKE_FIND_ROOT_PATH REQUIRED)
            set(path ${KEST_${dll}})
        endif()
        install(FILES ${path} DESTINATION ${CMAKE_INSTALL_BINDIR})
    endforeach()
endif()
