// kest_counts WHAT TIMES: does one thing as often as told, for counting instructions. The
// difference between two runs is free of what the start of a process takes.

// As the transacted operations write their lines.
#define KEST_MODULE "TransactedFS"

#include <kest/kest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

namespace {

void lines(long times) {
    const std::string place = (std::filesystem::temp_directory_path() / "kest-counts.log").string();
    Tallowmere::Recorder::instance()->setFile(Tallowmere::fromNative(place).c_str());
    // With the columns before it 150 bytes.
    const std::wstring text = L"CopyFileTransacted /home/some/a file.txt -> /mnt/b file.txt.";
    for (long i = 0; i < times; ++i) {
        LOG_INFO(text);
    }
    Tallowmere::Recorder::destroy();
    std::filesystem::remove(place);
}

void paths(long times) {
    const std::wstring path =
        L"C:\\Users\\Somebody\\Documents\\2010\\May\\Letter To The Editor.TXT";
    std::size_t sum = 0;
    for (long i = 0; i < times; ++i) {
        sum += Tallowmere::normalizePath(path).size();
    }
    std::printf("%zu\n", sum);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "line") == 0) {
        lines(std::atol(argv[2]));
    } else if (argc == 3 && std::strcmp(argv[1], "path") == 0) {
        paths(std::atol(argv[2]));
    } else {
        std::fputs("kest_counts line|path TIMES\n", stderr);
        return 2;
    }
    return 0;
}
