#include "Command.h"

#include <kest/kest.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <optional>

#include "Arguments.h"
#include "FullPath.h"
#include "Restore.h"
#include "Terminal.h"
#include "TraceTap.h"

namespace Tallowmere::command {
namespace {

enum ExitStatus { done = 0, failed = 1, wrongUse = 2 };

int perform(const Request& request, const TraceTap& trace) {
    switch (request.verb) {
        case Request::Verb::copy:
            CopyDirectoryTransacted(fullPath(request.paths[0]), fullPath(request.paths[1]));
            return done;
        case Request::Verb::remove:
            DeleteDirectoryTransacted(fullPath(request.paths[0]));
            return done;
        case Request::Verb::restorePoints:
            listRestorePoints();
            return done;
        case Request::Verb::restore:
            return restore(request.number, request.yes, trace) ? done : failed;
        case Request::Verb::help:
        case Request::Verb::version:
            break;
    }
    return wrongUse;
}

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
        return perform(request, trace);
    } catch (const std::exception& error) {
        complain(L"kest: " + trace.messageOf(error) + L"\n");
        return failed;
    }
}

}  // namespace

int run(const std::vector<std::wstring>& arguments) {
    std::wstring mistake;
    const std::optional<Request> request = parse(arguments, mistake);
    if (!request) {
        complain(L"kest: " + mistake + L"\n" + kUsage);
        return wrongUse;
    }
    if (request->verb == Request::Verb::help) {
        say(kUsage);
        return done;
    }
    if (request->verb == Request::Verb::version) {
        say(L"kest " KEST_VERSION L"\n");
        return done;
    }
    return performTraced(*request);
}

}  // namespace Tallowmere::command
