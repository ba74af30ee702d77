# What the binaries consist of and need, as an SPDX 2.3 document: kest.spdx.json, made when the build is
# configured and installed with it. The versions are those of what the compiler finds, not of what
# somebody has written down.

# Macros of the headers that the build uses.
execute_process(COMMAND ${CMAKE_COMMAND} -E echo
                        "#include <boost/version.hpp>\n#include <CLI/Version.hpp>\n#include <cstddef>\n#include <cstdio>"
                OUTPUT_FILE ${CMAKE_CURRENT_BINARY_DIR}/versions.cpp)
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -E -dM -isystem ${CMAKE_CURRENT_BINARY_DIR}/boost-headers
                        -isystem ${CMAKE_CURRENT_BINARY_DIR}/cli11-headers
                        ${CMAKE_CURRENT_BINARY_DIR}/versions.cpp
                OUTPUT_VARIABLE kest_macros COMMAND_ERROR_IS_FATAL ANY)
function(kest_macro name result)
    if(NOT kest_macros MATCHES "#define ${name} ([0-9]+)")
        message(FATAL_ERROR "The headers do not say what ${name} is.")
    endif()
    set(${result} ${CMAKE_MATCH_1} PARENT_SCOPE)
endfunction()

kest_macro(BOOST_VERSION boost)
math(EXPR boost_major "${boost} / 100000")
math(EXPR boost_minor "${boost} / 100 % 1000")
math(EXPR boost_patch "${boost} % 100")
set(boost ${boost_major}.${boost_minor}.${boost_patch})
kest_macro(CLI11_VERSION_MAJOR cli11_major)
kest_macro(CLI11_VERSION_MINOR cli11_minor)
kest_macro(CLI11_VERSION_PATCH cli11_patch)
set(cli11 ${cli11_major}.${cli11_minor}.${cli11_patch})
if(MINGW)
    # Debian's cross compiler calls itself 12-posix; the package that its library comes in knows better.
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libstdc++-6.dll
                    OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
    file(REAL_PATH "${path}" path)
    execute_process(COMMAND dpkg-query -S ${path} OUTPUT_VARIABLE owner ERROR_QUIET)
    string(REGEX REPLACE ":.*" "" owner "${owner}")
    execute_process(COMMAND dpkg-query -W -f \${Version} ${owner} OUTPUT_VARIABLE gcc ERROR_QUIET)
    if(NOT gcc MATCHES "^([0-9]+:)?([0-9]+\\.[0-9.]+)")
        set(gcc ${CMAKE_CXX_COMPILER_VERSION})
    else()
        set(gcc ${CMAKE_MATCH_2})
    endif()
elseif(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    set(gcc ${CMAKE_CXX_COMPILER_VERSION})
else()
    # Another compiler says no more of GCC's library than the release.
    kest_macro(_GLIBCXX_RELEASE gcc)
endif()

# One package: its identifier, name, version and licence, the file that holds it (or nothing), how it
# stands to ours, and what it is for us.
set(kest_packages "")
set(kest_relationships "")
function(kest_component id name version licence file relationship comment)
    set(entry "    {
      \"SPDXID\": \"SPDXRef-${id}\",
      \"name\": \"${name}\",
      \"versionInfo\": \"${version}\",
")
    if(file)
        string(APPEND entry "      \"packageFileName\": \"${file}\",\n")
    endif()
    string(APPEND entry "      \"downloadLocation\": \"NOASSERTION\",
      \"filesAnalyzed\": false,
      \"licenseConcluded\": \"NOASSERTION\",
      \"licenseDeclared\": \"${licence}\",
      \"copyrightText\": \"NOASSERTION\",
      \"comment\": \"${comment}\",
      \"externalRefs\": [
        {
          \"referenceCategory\": \"PACKAGE-MANAGER\",
          \"referenceType\": \"purl\",
          \"referenceLocator\": \"pkg:generic/${id}@${version}\"
        }
      ]
    }")
    if(relationship MATCHES "^(.*)_OF$")
        set(from SPDXRef-${id})
        set(to SPDXRef-kest)
    else()
        set(from SPDXRef-kest)
        set(to SPDXRef-${id})
    endif()
    set(kest_packages "${kest_packages},\n${entry}" PARENT_SCOPE)
    set(kest_relationships "${kest_relationships},
    {
      \"spdxElementId\": \"${from}\",
      \"relationshipType\": \"${relationship}\",
      \"relatedSpdxElement\": \"${to}\"
    }" PARENT_SCOPE)
endfunction()

set(runtime_licence "GPL-3.0-or-later WITH GCC-exception-3.1")
kest_component(boost Boost ${boost} BSL-1.0 "" STATIC_LINK "Headers alone, of lexical_cast.")
kest_component(cli11 CLI11 ${cli11} BSD-3-Clause "" STATIC_LINK "Headers alone, in the command kest.")
if(WIN32)
    kest_macro(__MINGW64_VERSION_MAJOR major)
    kest_macro(__MINGW64_VERSION_MINOR minor)
    set(mingw ${major}.${minor})
    kest_component(libstdcxx libstdc++ ${gcc} "${runtime_licence}" libstdc++-6.dll
                   CONTAINS "Shipped beside Kest.dll.")
    kest_component(libgcc libgcc ${gcc} "${runtime_licence}" libgcc_s_seh-1.dll
                   CONTAINS "Shipped beside Kest.dll.")
    kest_component(winpthreads winpthreads ${mingw} "MIT AND BSD-3-Clause" libwinpthread-1.dll
                   CONTAINS "Shipped beside Kest.dll.")
    kest_component(libssp libssp ${gcc} "${runtime_licence}" ""
                   STATIC_LINK "The stack protector's part of the run-time.")
    kest_component(mingw-w64 mingw-w64 ${mingw} "ZPL-2.1" ""
                   STATIC_LINK "Headers, and what a library begins with.")
else()
    kest_macro(__GLIBC__ major)
    kest_macro(__GLIBC_MINOR__ minor)
    kest_component(libstdcxx libstdc++ ${gcc} "${runtime_licence}" libstdc++.so.6
                   RUNTIME_DEPENDENCY_OF "The system's. This or a later version.")
    kest_component(libgcc libgcc ${gcc} "${runtime_licence}" libgcc_s.so.1
                   RUNTIME_DEPENDENCY_OF "The system's. This or a later version.")
    kest_component(glibc glibc ${major}.${minor} "LGPL-2.1-or-later" libc.so.6
                   RUNTIME_DEPENDENCY_OF "The system's. This or a later version.")
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    kest_component(gcc GCC ${gcc} GPL-3.0-or-later "" BUILD_TOOL_OF "The compiler.")
else()
    string(TOLOWER ${CMAKE_CXX_COMPILER_ID} compiler)
    kest_component(${compiler} ${CMAKE_CXX_COMPILER_ID} ${CMAKE_CXX_COMPILER_VERSION} NOASSERTION ""
                   BUILD_TOOL_OF "The compiler.")
endif()
kest_component(cmake CMake ${CMAKE_VERSION} BSD-3-Clause "" BUILD_TOOL_OF "What the build is made with.")

# The same content has the same name, another one another: no time and no chance in it.
string(UUID kest_uuid NAMESPACE 6ba7b811-9dad-11d1-80b4-00c04fd430c8
       NAME "kest ${PROJECT_VERSION} ${CMAKE_SYSTEM_NAME} ${kest_packages}" TYPE SHA1)
# The time of the newest entry of the list of changes, so that two builds have the same list, unless
# SOURCE_DATE_EPOCH names another.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
    file(STRINGS ${CMAKE_CURRENT_SOURCE_DIR}/package/debian/changelog changed REGEX "^ -- " LIMIT_COUNT 1)
    string(REGEX REPLACE "^.*>  " "" changed "${changed}")
    execute_process(COMMAND date -d ${changed} +%s OUTPUT_VARIABLE epoch
                    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    set(ENV{SOURCE_DATE_EPOCH} ${epoch})
endif()
string(TIMESTAMP kest_created "%Y-%m-%dT%H:%M:%SZ" UTC)
if(epoch)
    unset(ENV{SOURCE_DATE_EPOCH})
endif()
set(kest_sbom ${CMAKE_CURRENT_BINARY_DIR}/kest.spdx.json)
configure_file(cmake/kest.spdx.json.in ${kest_sbom}.in @ONLY)
file(GENERATE OUTPUT ${kest_sbom} INPUT ${kest_sbom}.in)
install(FILES ${kest_sbom} DESTINATION ${CMAKE_INSTALL_DATADIR}/kest COMPONENT library)
if(CPACK_GENERATOR STREQUAL "DEB")
    install(FILES ${kest_sbom} DESTINATION share/doc/libkest0 COMPONENT libkest0 EXCLUDE_FROM_ALL)
endif()
