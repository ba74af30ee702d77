# The archive for Windows: what `cmake --install` gives, stripped, with the list from which other tool
# chains make their import library and the licences of what is in it. The debug information stands in
# an archive of its own, to be unpacked over the first: debuggers look for it beside the files.

set(name kest-${PROJECT_VERSION}-windows-x64)
set(CPACK_GENERATOR ZIP)
set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL library development command licences debug)
foreach(component library development command licences)
    string(TOUPPER ${component} key)
    set(CPACK_COMPONENT_${key}_GROUP everything)
endforeach()
set(CPACK_COMPONENT_DEBUG_GROUP debug)
# Both begin with one folder of that name.
set(CPACK_PACKAGE_FILE_NAME ${name})
set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
set(CPACK_ARCHIVE_EVERYTHING_FILE_NAME ${name})
set(CPACK_ARCHIVE_DEBUG_FILE_NAME ${name}-debug)
set(CPACK_STRIP_FILES ON)

# The run-time libraries come with all their debug information, which is most of them.
foreach(dll IN LISTS kest_runtime_dlls)
    install(CODE "if(CMAKE_INSTALL_DO_STRIP)
        execute_process(COMMAND \"${CMAKE_STRIP}\" --strip-unneeded
            \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/${dll}\"
            COMMAND_ERROR_IS_FATAL ANY)
    endif()" COMPONENT library)
endforeach()

# `target`, installed as a part of `component`: what was stripped from it goes into a file of its own,
# whose name and checksum the stripped file holds.
function(kest_split_debug target component)
    set(split "${CMAKE_OBJCOPY}" --only-keep-debug "$<TARGET_FILE:${target}>")
    set(bin "\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}")
    set(file $<TARGET_FILE_NAME:${target}>)
    set(own ${CMAKE_CURRENT_BINARY_DIR}/debug/${file}.debug)
    install(CODE "if(CMAKE_INSTALL_DO_STRIP)
        file(MAKE_DIRECTORY \"${CMAKE_CURRENT_BINARY_DIR}/debug\")
        execute_process(COMMAND ${split} \"${own}\" COMMAND_ERROR_IS_FATAL ANY)
        execute_process(COMMAND \"${CMAKE_OBJCOPY}\" \"--add-gnu-debuglink=${own}\" \"${bin}/${file}\"
                        COMMAND_ERROR_IS_FATAL ANY)
    endif()" COMPONENT ${component})
    install(CODE "file(MAKE_DIRECTORY \"${bin}\")
        execute_process(COMMAND ${split} \"${bin}/${file}.debug\" COMMAND_ERROR_IS_FATAL ANY)"
            COMPONENT debug EXCLUDE_FROM_ALL)
endfunction()
kest_split_debug(kest library)
kest_split_debug(kest_command command)

install(FILES package/windows/Kest.def DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)

# The texts are those that came with the files.
install(FILES package/windows/licences.txt DESTINATION licences COMPONENT licences
        RENAME README.txt)
foreach(text gcc-mingw-w64-base mingw-w64-x86-64-dev libcli11-dev)
    if(EXISTS /usr/share/doc/${text}/copyright)
        install(FILES /usr/share/doc/${text}/copyright DESTINATION licences COMPONENT licences
                RENAME ${text}.txt)
    endif()
endforeach()
install(FILES /usr/share/common-licenses/GPL-3 DESTINATION licences COMPONENT licences OPTIONAL
        RENAME GPL-3.txt)
