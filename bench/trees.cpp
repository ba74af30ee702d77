// A host as small as can be, for measuring whole processes: copies or deletes one tree with its
// trace in a file.

#include <kest/c_api.h>
#include <kest/kest.h>

#include <cstdio>
#include <cstring>

int main(int argc, char** argv) {
    const bool copies = argc == 5 && std::strcmp(argv[1], "copy") == 0;
    const bool deletes = argc == 4 && std::strcmp(argv[1], "delete") == 0;
    if (!copies && !deletes) {
        std::fputs("kest_trees copy SOURCE DESTINATION TRACE | kest_trees delete TREE TRACE\n",
                   stderr);
        return 2;
    }
    Tallowmere::Recorder::instance()->setFile(Tallowmere::fromNative(argv[argc - 1]).c_str());
    try {
        if (copies) {
            Tallowmere::CopyDirectoryTransacted(Tallowmere::fromNative(argv[2]),
                                                Tallowmere::fromNative(argv[3]));
        } else {
            Tallowmere::DeleteDirectoryTransacted(Tallowmere::fromNative(argv[2]));
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
