#include "Command.h"

extern "C" int wmain(int count, wchar_t** arguments);

int wmain(int count, wchar_t** arguments) {
    return Tallowmere::command::run({arguments + (count > 0 ? 1 : 0), arguments + count});
}
