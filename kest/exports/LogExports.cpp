#include "kest/c_api.h"
#include "kest/diagnostics/Log.h"
#include "kest/exports/ExportLock.h"

using Tallowmere::Recorder;
using Tallowmere::s_exportLock;

// Deliberate: both acquire and release the lock by hand and catch nothing. An exception that leaves
// them (memory has run out, or a host's stream or lock throws) leaves the lock held, so that other
// threads' calls wait for ever rather than write into a broken line.

extern "C" void setRecorderFile(wchar_t* path) {
    s_exportLock.acquire(-1);
    Recorder::instance()->setFile(path);
    s_exportLock.release();
}

extern "C" void logMessage(wchar_t* file, int line, int severity, wchar_t* message) {
    s_exportLock.acquire(-1);
    const wchar_t* marker = nullptr;
    switch (severity) {
        case 0:
            marker = L"!~Sev:INFO";
            break;
        case 1:
            marker = L"!~Sev:WARNING";
            break;
        case 2:
            marker = L"!~Sev:ERROR";
            break;
        case 3:
            marker = L"!~Sev:CRITICAL";
            break;
        default:
            s_exportLock.release();
            return;
    }
    // The Recorder's own lock is given back even so: threads that log by themselves go on.
    Tallowmere::detail::LogStatement statement;
    // Changeable wide text is never taken for a marker, so `message` is written as it stands.
    *Recorder::instance() << marker << L"!~Fil:" << file << L"!~Lin:" << line << message << '\n';
    Recorder::instance()->flush();
    statement.end();
    s_exportLock.release();
}
