#include <kest/kest.h>

#include <stdexcept>

#include "FullPath.h"
#include "Terminal.h"
#include "Verbs.h"

namespace Tallowmere::command {

/// Starts the program and does not wait for it.
bool runProgram(const Call& call) {
    const std::wstring line = plainText(call.operands[0]);
    try {
        launchProcess(line);
        return true;
    } catch (const std::runtime_error& error) {
        // The command line stands in the message with every character cut to its low byte, and this
        // failure leaves no trace line that has it whole.
        const std::string cut = "<" + convertToString(line.c_str()) + ">";
        std::string text = error.what();
        const std::size_t place = text.find(cut);
        text.erase(text.find_last_not_of("\r\n") + 1);
        if (place == std::string::npos) {
            throw;
        }
        complainLine(convertToWString(text.substr(0, place).c_str()) + L"<" + line + L">" +
                     convertToWString(text.substr(place + cut.size()).c_str()));
        return false;
    }
}

}  // namespace Tallowmere::command
