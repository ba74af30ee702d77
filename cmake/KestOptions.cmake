# Flags that every target of ours shares, and where Boost's headers come from.

add_library(kest_options INTERFACE)
target_compile_options(
    kest_options
    INTERFACE -Wall -Wextra -Wpedantic -Wshadow=local -Wnon-virtual-dtor -Wcast-align -Wconversion
              -Wno-sign-conversion -fno-strict-overflow
              "-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=" -fstack-protector-strong)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # clang takes -Wshadow=local for an unknown warning.
    set_property(TARGET kest_options PROPERTY INTERFACE_COMPILE_OPTIONS
        -Wall -Wextra -Wpedantic -Wnon-virtual-dtor -Wcast-align -Wconversion -Wno-sign-conversion
        "-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=" -fstack-protector-strong)
endif()
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_CXX_EXTENSIONS OFF)

if(KEST_SANITIZERS)
    add_compile_options(-fsanitize=${KEST_SANITIZERS} -fno-omit-frame-pointer
                        -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${KEST_SANITIZERS})
endif()

if(WIN32)
    # Tests of formats must not depend on the C library's dialect.
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
    set(folder ${CMAKE_BINARY_DIR}/boost-headers)
    file(MAKE_DIRECTORY ${folder})
    file(CREATE_LINK ${KEST_BOOST_INCLUDE}/boost ${folder}/boost SYMBOLIC)
    target_include_directories(kest_boost SYSTEM INTERFACE ${folder})
endfunction()

function(kest_system_libraries target)
    if(WIN32)
        # The transaction manager's three calls that every Windows has.
        target_link_libraries(${target} PUBLIC ktmw32)
    endif()
endfunction()
