// Replaces a tree by a copy of another one, all or nothing: cpp-host SOURCE DESTINATION

#include <kest/kest.h>

#include <iostream>
#include <stdexcept>

int main(int count, char** arguments) {
    if (count != 3) {
        std::cerr << "usage: cpp-host SOURCE DESTINATION\n";
        return 2;
    }
    // Without a file the trace goes to the console.
    Tallowmere::Recorder::instance()->setFile(L"cpp-host.log");
    const std::wstring source = Tallowmere::fromNative(arguments[1]);
    const std::wstring destination = Tallowmere::fromNative(arguments[2]);
    try {
        LOG_INFO("Copying begins");  // A host's own lines stand among the library's.
        Tallowmere::CopyDirectoryTransacted(source, destination);
        std::cout << "copied\n";
        return 0;
    } catch (const std::runtime_error& error) {
        // Whole for names in Latin letters; the trace has every name whole.
        std::cerr << "cpp-host: " << error.what() << '\n';
        return 1;
    }
}
