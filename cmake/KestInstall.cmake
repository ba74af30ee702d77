# What `cmake --install` puts where: the library, its headers, the command, and what find_package
# and pkg-config need. KestPackages.cmake makes archives and Debian packages of the same.

include(CMakePackageConfigHelpers)

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
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${public_headers})

get_target_property(kest_link_name kest OUTPUT_NAME)
if(NOT kest_link_name)
    set(kest_link_name kest)
endif()
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/KestConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)

# The product in the folder `libdir` of libraries, in three parts: what a finished program needs, what
# building one needs, and the command. `pc_prefix` is the prefix that pkg-config is told. With
# EXCLUDE_FROM_ALL behind that only those who name the parts get them.
function(kest_install libdir pc_prefix library development command)
    install(TARGETS kest EXPORT ${development}-targets
            RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${library} ${ARGN}
            LIBRARY DESTINATION ${libdir} COMPONENT ${library}
                    NAMELINK_COMPONENT ${development} ${ARGN}
            ARCHIVE DESTINATION ${libdir} COMPONENT ${development} ${ARGN})
    install(TARGETS kest_command RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
                                         COMPONENT ${command} ${ARGN})
    if(UNIX)
        install(FILES tools/kest/kest.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
                COMPONENT ${command} ${ARGN})
        install(FILES tools/kest/kest.bash-completion RENAME kest
                DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
                COMPONENT ${command} ${ARGN})
    endif()

    foreach(header IN LISTS public_headers)
        cmake_path(GET header PARENT_PATH folder)
        install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder}
                COMPONENT ${development} ${ARGN})
    endforeach()

    set(package ${libdir}/cmake/Kest)
    set(generated ${CMAKE_CURRENT_BINARY_DIR}/${development})
    install(EXPORT ${development}-targets NAMESPACE Kest:: FILE KestTargets.cmake
            DESTINATION ${package} COMPONENT ${development} ${ARGN})
    configure_package_config_file(cmake/KestConfig.cmake.in ${generated}/KestConfig.cmake
                                  INSTALL_DESTINATION ${package})
    install(FILES ${generated}/KestConfig.cmake
                  ${CMAKE_CURRENT_BINARY_DIR}/KestConfigVersion.cmake
            DESTINATION ${package} COMPONENT ${development} ${ARGN})
    configure_file(cmake/kest.pc.in ${generated}/kest.pc @ONLY)
    install(FILES ${generated}/kest.pc DESTINATION ${libdir}/pkgconfig
            COMPONENT ${development} ${ARGN})
endfunction()

# pkg-config's paths are relative to its file, so an installed tree can be moved.
file(RELATIVE_PATH kest_pc_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" kest_pc_prefix "${kest_pc_prefix}")
kest_install(${CMAKE_INSTALL_LIBDIR} "\${pcfiledir}/${kest_pc_prefix}" library development command)

if(MINGW)
    # The run-time libraries stand beside Kest.dll: shared with the host, so that both have the same
    # standard streams and exceptions cross between them.
    set(kest_runtime_dlls libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
    foreach(dll IN LISTS kest_runtime_dlls)
        # Debian keeps the thread library apart from the compiler's own.
        execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}
                        OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
        if(NOT IS_ABSOLUTE "${path}")
            find_file(KEST_${dll} ${dll} PATHS ${CMAKE_FIND_ROOT_PATH} PATH_SUFFIXES lib bin
                      NO_CMAKE_FIND_ROOT_PATH REQUIRED)
            set(path ${KEST_${dll}})
        endif()
        install(FILES ${path} DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT library)
    endforeach()
endif()
