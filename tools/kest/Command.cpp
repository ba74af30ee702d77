#include "Command.h"

#include <kest/kest.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <optional>

#include "Arguments.h"
#include "Terminal.h"
#include "TraceTap.h"
#include "trace/CommandLine.h"

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
            complain(L"kest: cannot write the trace file " + *request.traceFile + L": " +
                     fromNative(std::strerror(reason)) + L"\n");
            return failed;
        }
    }
    TraceTap trace(std::move(file));
    try {
        return request.verb->perform({request.operands, request.flag, trace}) ? done : failed;
    } catch (const std::exception& error) {
        complain(L"kest: " + trace.messageOf(error) + L"\n");
        return failed;
    }
}

}  // namespace

int run(const std::vector<std::wstring>& arguments) {
    if (!arguments.empty() && arguments[0] == L"trace") {
        return trace::perform({arguments.begin() + 1, arguments.end()});
    }
    std::wstring mistake;
    const std::optional<Request> request = parse(arguments, mistake);
    if (!request) {
        complain(L"kest: " + mistake + L"\n" + usage());
        return wrongUse;
    }
    if (request->kind == Request::Kind::help) {
        say(usage());
        return done;
    }
    if (request->kind == Request::Kind::version) {
        say(L"kest " KEST_VERSION L"\n");
        return done;
    }
    return performTraced(*request);
}

}  // namespace Tallowmere::command
