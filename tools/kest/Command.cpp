#include "Command.h"

#include <kest/kest.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <optional>

#include "Arguments.h"
#include "Help.h"
#include "Terminal.h"
#include "TraceTap.h"

namespace Tallowmere::command {
namespace {

enum ExitStatus { done = 0, failed = 1, wrongUse = 2 };

int performTraced(const Request& request) {
    File file;
    if (request.traceFile) {
        file.reset(openForWriting(*request.traceFile));
        if (!file) {
            // Whoever asks for a trace wants it: without it nothing is begun.
            const int reason = errno;
            complainLine(L"cannot write the trace file " + *request.traceFile + L": " +
                         fromNative(std::strerror(reason)));
            return failed;
        }
    }
    TraceTap trace(std::move(file));
    try {
        return request.verb->perform({request.operands, request.options, trace}) ? done : failed;
    } catch (const OutputFailed&) {
        throw;
    } catch (const std::exception& error) {
        complainLine(trace.messageOf(error));
        return failed;
    }
}

int answer(const std::vector<std::wstring>& arguments) {
    Mistake mistake;
    const std::optional<Request> request = parse(arguments, mistake);
    if (!request) {
        complainLine(mistake.text);
        complain(shortUsage(mistake.name));
        return wrongUse;
    }
    if (request->kind == Request::Kind::help) {
        say(request->verb != nullptr ? helpOf(*request->verb)
            : request->name.empty()  ? overview()
                                     : helpOf(request->name));
        return done;
    }
    if (request->kind == Request::Kind::version) {
        say(L"kest " KEST_VERSION L"\n");
        return done;
    }
    return performTraced(*request);
}

}  // namespace

int run(const std::vector<std::wstring>& arguments) {
    try {
        return answer(arguments);
    } catch (const OutputFailed& failure) {
        complainLine(std::wstring(L"cannot write the output: ") + failure.reason());
        return failed;
    }
}

}  // namespace Tallowmere::command
