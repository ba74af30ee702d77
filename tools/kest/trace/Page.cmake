# The page that shows a trace is written as what it is (page/page.html, page.css, page.js) and becomes
# a source here. Its policy lets a browser run this script and this style alone, by their hashes, and
# fetch nothing.

# The base64 of the SHA-256 of a file, as such a policy names it.
function(kest_policy_hash file result)
    file(SHA256 ${file} hex)
    set(alphabet ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/)
    set(text "")
    # Three hexadecimal digits are two of base64; of the 64 one is left at the end.
    foreach(place RANGE 0 60 3)
        string(SUBSTRING ${hex} ${place} 3 digits)
        math(EXPR first "0x${digits} >> 6")
        math(EXPR second "0x${digits} & 63")
        string(SUBSTRING ${alphabet} ${first} 1 first)
        string(SUBSTRING ${alphabet} ${second} 1 second)
        string(APPEND text ${first}${second})
    endforeach()
    string(SUBSTRING ${hex} 63 1 digit)
    math(EXPR last "0x${digit} << 2")
    string(SUBSTRING ${alphabet} ${last} 1 last)
    set(${result} "sha256-${text}${last}=" PARENT_SCOPE)
endfunction()

function(kest_page_source folder source)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
                 ${folder}/page.html ${folder}/page.css ${folder}/page.js)
    file(READ ${folder}/page.html page)
    file(READ ${folder}/page.css style)
    file(READ ${folder}/page.js script)
    kest_policy_hash(${folder}/page.css style_hash)
    kest_policy_hash(${folder}/page.js script_hash)
    foreach(part style_hash script_hash style script)
        string(REPLACE "{{${part}}}" "${${part}}" page "${page}")
    endforeach()
    string(FIND "${page}" "{{data}}" place)
    string(SUBSTRING "${page}" 0 ${place} head)
    math(EXPR place "${place} + 8")
    string(SUBSTRING "${page}" ${place} -1 tail)
    file(WRITE ${source}.new "// Made by trace/Page.cmake.\n\
#include \"trace/Page.h\"\n\
namespace Tallowmere::command::trace {\n\
const std::string_view kPageHead = R\"kest(${head})kest\";\n\
const std::string_view kPageTail = R\"kest(${tail})kest\";\n\
}  // namespace Tallowmere::command::trace\n")
    configure_file(${source}.new ${source} COPYONLY)
endfunction()
