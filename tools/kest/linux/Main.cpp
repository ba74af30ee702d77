#include <kest/kest.h>

#include "Command.h"

int main(int count, char** arguments) {
    std::vector<std::wstring> texts;
    for (int i = 1; i < count; ++i) {
        texts.push_back(Tallowmere::fromNative(arguments[i]));
    }
    return Tallowmere::command::run(texts);
}
