#pragma once

#include "kest/Export.h"
#include "kest/diagnostics/Recorder.h"

#if defined(LOG_INFO) || defined(LOG_WARNING)
#error \
    "kest/diagnostics/Log.h and <syslog.h> define the same names: do not include both in one source."
#endif

/// The name under which a source's trace lines appear. A source of the library defines it before
/// anything is included; a host's own statements appear under the compiler's file name.
#ifndef KEST_MODULE
#define KEST_MODULE __FILE__
#endif

/// One trace line: LOG_INFO("Reading file " << fileName).
#define LOG_INFO(pieces) KEST_LOG_STATEMENT(Info, pieces)
#define LOG_WARNING(pieces) KEST_LOG_STATEMENT(Warning, pieces)    ///< The same.
#define LOG_ERROR(pieces) KEST_LOG_STATEMENT(Error, pieces)        ///< The same.
#define LOG_CRITICAL(pieces) KEST_LOG_STATEMENT(Critical, pieces)  ///< The same.
/// Behind them.
#define KEST_LOG_STATEMENT(severity, pieces)                                                   \
    do {                                                                                       \
        ::Tallowmere::detail::LogStatement kestStatement;                                      \
        (::Tallowmere::Recorder::instance()->begin(::Tallowmere::Recorder::Severity::severity, \
                                                   KEST_MODULE, __LINE__)                      \
         << pieces)                                                                            \
            .end();                                                                            \
        kestStatement.end();                                                                   \
    } while (false)

namespace Tallowmere {

namespace detail {

/// A log statement while it is carried out. Left by an exception (memory has run out, or a host's
/// insertion operator throws) it ends its line there, or every other thread would wait for ever to
/// begin one.
class LogStatement {
public:
    LogStatement() = default;
    ~LogStatement() {
        if (!m_hasEnded) {
            endBrokenLine();
        }
    }
    LogStatement(const LogStatement&) = delete;
    LogStatement& operator=(const LogStatement&) = delete;

    /// It has come to its own end: nothing is to be done any more.
    void end() { m_hasEnded = true; }

private:
    static void endBrokenLine() noexcept {
#ifdef __cpp_exceptions
        try {
            Recorder::instance()->flush();
        } catch (...) {
            // The exception that has left the statement is on its way already.
        }
#endif
    }

    bool m_hasEnded = false;
};

}  // namespace detail

/// Traces entry to and exit from a function: declare one at the top of the function's body.
class KEST_API FunctionTrace {
public:
    /// Traces "<Entering " and `function`. The texts must outlive the object.
    FunctionTrace(const char* function, const char* file, int line);
    /// Traces "Exiting ", the function's name and ">", also while an exception passes.
    ~FunctionTrace();
    FunctionTrace(const FunctionTrace&) = delete;
    FunctionTrace& operator=(const FunctionTrace&) = delete;

private:
    const char* function;
    const char* file;
    int line;
};

}  // namespace Tallowmere
