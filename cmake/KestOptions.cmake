# Flags that every target of ours shares, what the library exports, and where Boost's headers come
# from.

add_library(kest_options INTERFACE)
target_compile_options(
    kest_options
    INTERFACE -Wall -Wextra -Wpedantic -Wnon-virtual-dtor -Wcast-align -Wconversion
              -Wno-sign-conversion
              # clang does not know this form of the warning.
              $<$<CXX_COMPILER_ID:GNU>:-Wshadow=local>
              # No folder of the build machine in the product's texts.
              "-ffile-prefix-map=${CMAKE_CURRENT_SOURCE_DIR}/="
              -fstack-protector-strong)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_CXX_EXTENSIONS OFF)

if(KEST_SANITIZERS)
    # For everything, GoogleTest too: a sanitizer must see all code of the program.
    add_compile_options(-fsanitize=${KEST_SANITIZERS} -fno-omit-frame-pointer
                        -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${KEST_SANITIZERS})
    add_compile_definitions(_GLIBCXX_ASSERTIONS)
    # What is lost on purpose, by name.
    target_sources(kest_options INTERFACE
        $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:${CMAKE_CURRENT_LIST_DIR}/KnownLeaks.cpp>)
elseif(NOT WIN32)
    # The C library's checked calls need the optimiser, and they hide errors from a sanitizer.
    target_compile_options(kest_options INTERFACE
        "$<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>"
        # GCC 12 takes the move of a short wide string for a copy beyond its buffer.
        $<$<CXX_COMPILER_ID:GNU>:-Wno-attribute-warning>)
endif()

if(KEST_TRAPS)
    # Without a run-time of the sanitizer, which there is none of for Windows: the program ends with the
    # processor's trap, where a test is a failure (see UnderWineTest.cpp).
    add_compile_options(-fsanitize=undefined -fno-sanitize=vptr -fsanitize-undefined-trap-on-error)
    add_compile_definitions(_GLIBCXX_ASSERTIONS)
endif()

if(MINGW)
    # The stack protector's part of the run-time, inside: one DLL less to ship.
    target_link_libraries(kest_options INTERFACE -Wl,-Bstatic -lssp -Wl,-Bdynamic)
    # The same sources give the same file, whenever it is linked.
    target_link_options(kest_options INTERFACE -Wl,--no-insert-timestamp)
endif()
if(WIN32)
    add_compile_definitions(UNICODE _UNICODE)
endif()

# Boost's headers are used by the library alone, never by its hosts. A cross build must not see the
# whole system include folder, so it is given a folder that holds nothing but a link to boost.
function(kest_find_boost)
    add_library(kest_boost INTERFACE)
    find_path(KEST_BOOST_INCLUDE boost/lexical_cast.hpp
              PATHS /usr/include /usr/local/include NO_CMAKE_FIND_ROOT_PATH)
    if(NOT KEST_BOOST_INCLUDE)
        message(FATAL_ERROR "Boost's headers (boost/lexical_cast.hpp) were not found; "
                            "set KEST_BOOST_INCLUDE to the folder that holds boost/.")
    endif()
    set(folder ${CMAKE_CURRENT_BINARY_DIR}/boost-headers)
    file(MAKE_DIRECTORY ${folder})
    file(CREATE_LINK ${KEST_BOOST_INCLUDE}/boost ${folder}/boost SYMBOLIC)
    target_include_directories(kest_boost SYSTEM INTERFACE ${folder})
endfunction()

# The headers of the parser of the command line, for the command alone; linked in as Boost's are.
function(kest_find_cli11)
    add_library(kest_cli11 INTERFACE)
    find_path(KEST_CLI11_INCLUDE CLI/CLI.hpp
              PATHS /usr/include /usr/local/include NO_CMAKE_FIND_ROOT_PATH)
    if(NOT KEST_CLI11_INCLUDE)
        message(FATAL_ERROR "CLI11's headers (CLI/CLI.hpp, Debian's libcli11-dev) were not found; "
                            "set KEST_CLI11_INCLUDE to the folder that holds CLI/.")
    endif()
    set(folder ${PROJECT_BINARY_DIR}/cli11-headers)
    file(MAKE_DIRECTORY ${folder})
    file(CREATE_LINK ${KEST_CLI11_INCLUDE}/CLI ${folder}/CLI SYMBOLIC)
    target_include_directories(kest_cli11 SYSTEM INTERFACE ${folder})
endfunction()

# What the platform's part of `target` links against.
function(kest_system_libraries target)
    if(WIN32)
        # The transaction manager's own calls; every Windows since Vista has them. Random names, and a
        # file's number on its volume, for our own manager. The list of a computer's shares.
        # The management service.
        target_link_libraries(${target} PUBLIC ktmw32 bcrypt ntdll netapi32 ole32 oleaut32)
    endif()
endfunction()

# For what is shipped. Calls between libraries are bound at the start and cannot be redirected later, and
# a name that nobody defines is found when the library is linked (the Windows linker has its like on by
# default).
function(kest_harden target)
    if(NOT WIN32 AND NOT KEST_SANITIZERS)
        target_link_options(${target} PRIVATE -Wl,-z,relro,-z,now,-z,defs)
    endif()
endfunction()

# KEST_API alone decides what `target` exports. The Windows linker needs no more than that; on Linux
# the standard library's and Boost's templates are visible wherever they are used, until told not to.
function(kest_limit_exports target)
    if(NOT WIN32)
        set(map ${PROJECT_SOURCE_DIR}/cmake/exports.map)
        target_link_options(${target} PRIVATE "-Wl,--version-script=${map}")
        set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${map})
    endif()
endfunction()
