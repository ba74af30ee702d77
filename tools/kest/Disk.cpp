#include "Disk.h"

namespace Tallowmere::command::disk {

const wchar_t* nameOf(Kind kind) {
    switch (kind) {
        case Kind::file:
            return L"file";
        case Kind::folder:
            return L"folder";
        case Kind::fileLink:
            return L"link";
        case Kind::folderLink:
            return L"link to a folder";
        case Kind::other:
            break;
    }
    return L"special file";
}

}  // namespace Tallowmere::command::disk
