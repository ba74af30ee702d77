# What `cmake --install` puts where: the library, its headers, the command, and what find_package
# and pkg-config need.

include(CMakePackageConfigHelpers)

install(TARGETS kest EXPORT KestTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS kest_command RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# Public headers only: platform/ is internal but for Types.h.
foreach(header IN LISTS kest_headers)
    if(NOT header MATCHES "^kest/platform/" OR header STREQUAL "kest/platform/Types.h")
        get_filename_component(folder ${header} DIRECTORY)
        install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder})
    endif()
endforeach()

set(kest_package ${CMAKE_INSTALL_LIBDIR}/cmake/Kest)
install(EXPORT KestTargets NAMESPACE Kest:: DESTINATION ${kest_package})
configure_package_config_file(cmake/KestConfig.cmake.in ${CMAKE_BINARY_DIR}/KestConfig.cmake
                              INSTALL_DESTINATION ${kest_package})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/KestConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/KestConfig.cmake ${CMAKE_BINARY_DIR}/KestConfigVersion.cmake
        DESTINATION ${kest_package})

# Relative to the file itself, so that an installed tree can be moved.
file(RELATIVE_PATH kest_pc_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
set(KEST_LINK_NAME kest)
if(WIN32)
    set(KEST_LINK_NAME Kest)
endif()
configure_file(cmake/kest.pc.in ${CMAKE_BINARY_DIR}/kest.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/kest.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(MINGW)
    # The run-time libraries stand beside Kest.dll: shared with the host, so that both have the same
    # standard streams and exceptions cross between them.
    foreach(dll libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
        execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}
                        OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
        if(NOT IS_ABSOLUTE "${path}")
            set(path "${CMAKE_SYSROOT_LIBRARIES}/${dll}")
        endif()
        if(NOT EXISTS "${path}")
            message(FATAL_ERROR "The run-time library ${dll} was not found.")
        endif()
        install(FILES ${path} DESTINATION ${CMAKE_INSTALL_BINDIR})
    endforeach()
endif()
