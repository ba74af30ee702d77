#include "kest/diagnostics/Log.h"

namespace Tallowmere {

FunctionTrace::FunctionTrace(const char* function, const char* file, int line)
    : function(function), file(file), line(line) {
    detail::LogStatement statement;
    (Recorder::instance()->begin(Recorder::Severity::Info, file, line) << "<Entering " << function)
        .end();
    statement.end();
}

FunctionTrace::~FunctionTrace() {
    try {
        detail::LogStatement statement;
        (Recorder::instance()->begin(Recorder::Severity::Info, file, line)
         << "Exiting " << function << ">")
            .end();
        statement.end();
    } catch (...) {
        // Our choice: the trace must not end a process whose exception is on its way to its
        // catcher.
    }
}

}  // namespace Tallowmere
