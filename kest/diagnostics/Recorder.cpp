#include "kest/diagnostics/Recorder.h"

#include <algorithm>
#include <iostream>
#include <limits>
#include <memory>
#include <new>

#include "kest/diagnostics/StreamGuard.h"
#include "kest/diagnostics/ThreadMarkers.h"
#include "kest/diagnostics/TraceColumns.h"
#include "kest/diagnostics/TraceFile.h"
#include "kest/diagnostics/TraceLocale.h"
#include "kest/platform/Calls.h"
#include "kest/platform/Console.h"
#include "kest/platform/StreamNames.h"
#include "kest/text/Paths.h"
#include "kest/text/Strings.h"
#include "kest/time/DateTime.h"

namespace Tallowmere {

using platform::os;

namespace {

constexpr std::int32_t kNoMarker = 0;
constexpr std::int32_t kFileExpected = 1;
constexpr std::int32_t kLineExpected = 2;

constexpr std::uint32_t kFlushesBetweenChecks = 10;

std::uint64_t nextSerial() {
    static std::atomic<std::uint64_t> s_last{0};
    return ++s_last;
}

}  // namespace

constinit std::atomic<Recorder*> Recorder::s_instance{nullptr};

Recorder::Recorder()
    : stream(&std::wcout),
      streamLock(nullptr),
      ownsStream(false),
      markerState(kNoMarker),
      rollOverSize(10485760),
      flushCount(0),
      serial(nextSerial()),
      lineOwner(0),
      lineDepth(0),
      writesTraceFile(false) {}

Recorder::Recorder(const Recorder& other) = default;

Recorder::~Recorder() {
    if (ownsStream) {
        delete stream;
    }
    // Deleted as a StreamLock, whose destructor does nothing. Not by `delete`, which would tell the
    // allocator the size of a StreamLock where a larger object was allocated.
    ::operator delete(static_cast<void*>(streamLock));
}

Recorder* Recorder::instance() {
    if (Recorder* const existing = s_instance.load(std::memory_order_acquire)) {
        return existing;
    }
    const LockGuard guard(s_instanceLock, -1);
    if (s_instance.load(std::memory_order_relaxed) == nullptr) {
        s_instance.store(new Recorder, std::memory_order_release);
    }
    return s_instance.load(std::memory_order_relaxed);
}

void Recorder::destroy() {
    if (s_instance.load(std::memory_order_acquire) == nullptr) {
        return;
    }
    const LockGuard guard(s_instanceLock, -1);
    delete s_instance.load(std::memory_order_relaxed);
    s_instance.store(nullptr, std::memory_order_release);
}

void Recorder::setFile(const wchar_t* path) {
    const StreamGuard::Suspension suspension;
    const LockGuard guard(lock, -1);
    const std::wstring remembered = path == nullptr ? L"" : path;
    bool isReplaced = false;
    {
        const StreamGuard streamGuard;
        // Deliberate: also when another file stays in place. From then on it is this path whose
        // size is looked at, and a roll-over goes on in this file.
        traceFilePath = remembered;
        isReplaced = stream == nullptr || stream == &std::wcout;
    }
    if (isReplaced) {
        openFile(remembered);
    }
}

void Recorder::setStream(std::wostream* newStream, StreamLock* newLock, bool ownership) {
    const StreamGuard::Suspension suspension;
    const LockGuard guard(lock, -1);
    const StreamGuard streamGuard;
    // Deliberate: a file or a stream once set stays; the caller learns nothing of it.
    if (stream != nullptr && stream != &std::wcout) {
        return;
    }
    stream = newStream;
    streamLock = newLock;
    ownsStream = ownership;
    writesTraceFile = false;
}

bool Recorder::isStreamSet() const {
    const StreamGuard guard;
    return stream != nullptr;
}

void Recorder::flush() {
    // A log statement inside a host's insertion operator ends here while the piece is half written.
    const StreamGuard::Suspension suspension;
    bool isCheckDue = false;
    {
        const StreamGuard guard;
        if (std::wostream* const out = output()) {
            out->flush();
        }
        isCheckDue = countFlush();
    }
    if (isCheckDue) {
        rollOver();
    }
    StreamLock* held = nullptr;
    {
        const StreamGuard guard;
        held = streamLock;
    }
    if (held != nullptr) {
        held->unlock();
    }
    endLine();
}

Recorder& Recorder::operator<<(const std::wstring& text) {
    insertConstantText(text.c_str());
    return *this;
}

Recorder::Piece::Piece(Recorder& recorder, const std::wstring& text, const long* lineNumber) {
    const StreamGuard guard;
    if (!recorder.takeMarkedValue(text, lineNumber)) {
        m_destination = recorder.output();
    }
    // Nothing fails from here on, so the destructor will follow.
    StreamGuard::acquire();
}

Recorder::Piece::~Piece() {
    StreamGuard::release();
}

/// Makes a fresh string stream ready for a value's text.
void Recorder::prepare(std::wostringstream& stream) {
    stream.imbue(traceLocale());
}

/// Whether the calling thread's next value will be taken for a file name.
bool Recorder::isFileNameExpected() const {
    const StreamGuard guard;
    return pendingMarker() == kFileExpected;
}

void Recorder::insertConstantText(const std::wstring& text) {
    if (!takeMarkedValue(text, nullptr)) {
        processMarker(text);
    }
}

/// Gives a value to the file or line marker that waits for one. False when none does: the value is
/// then to be written.
bool Recorder::takeMarkedValue(const std::wstring& text, const long* lineNumber) {
    const StreamGuard guard;
    const std::int32_t pending = pendingMarker();
    if (pending == kNoMarker) {
        return false;
    }
    if (pending == kFileExpected) {
        const std::wstring name = baseName(text);
        if (ownsLine()) {
            sourceField = name;
        } else {
            ThreadMarkers& own = threadMarkers(serial);
            own.sourceLength =
                static_cast<std::uint8_t>(name.copy(own.source, ThreadMarkers::kSourceSize));
            own.isSourceNewer = true;
        }
    } else if (lineNumber != nullptr) {
        // What reading the number back into an int gives where it does not fit.
        writeLocation(static_cast<int>(std::clamp<long>(
            *lineNumber, std::numeric_limits<int>::min(), std::numeric_limits<int>::max())));
    }
    // Deliberate: a line marker swallows a value that is no number.
    setPendingMarker(kNoMarker);
    return true;
}

/// What the calling thread's last marker waits for.
std::int32_t Recorder::pendingMarker() const {
    return ownsLine() ? markerState : threadMarkers(serial).markerState;
}

void Recorder::setPendingMarker(std::int32_t state) {
    (ownsLine() ? markerState : threadMarkers(serial).markerState) = state;
}

/// Deliberate: the column becomes the file name of a statement that has a line marker alone.
void Recorder::writeLocation(int line) {
    if (ownsLine()) {
        sourceField = locationColumn(sourceField, line);
        write(sourceField);
        return;
    }
    ThreadMarkers& own = threadMarkers(serial);
    const std::wstring column = locationColumn(std::wstring(own.source, own.sourceLength), line);
    own.sourceLength =
        static_cast<std::uint8_t>(column.copy(own.source, ThreadMarkers::kSourceSize));
    own.isSourceNewer = true;
    write(column);
}

/// Deliberate: the first two characters of a marker are not looked at, so any constant wide text
/// with a tag at that place is one: a path on a server named Fileserver, Linux01 or Sevilla, say.
void Recorder::processMarker(const std::wstring& text) {
    const std::wstring tag = text.size() > 4 ? text.substr(2, 3) : std::wstring();
    if (tag == L"Sev") {
        streamOutTimeStamp();
        write(severityColumn(text.size() > 6 ? text.substr(6) : std::wstring()));
        write(threadColumn(os().GetCurrentThreadId()));
    } else if (tag == L"Fil") {
        const StreamGuard guard;
        setPendingMarker(kFileExpected);
    } else if (tag == L"Lin") {
        const StreamGuard guard;
        setPendingMarker(kLineExpected);
    } else {
        write(text);
    }
}

void Recorder::streamOutTimeStamp() {
    const StreamGuard::Suspension suspension;
    // Also false where the thread owns the mutex afterwards: its last owner ended inside a line.
    (void)lock.acquire(-1);
    StreamLock* held = nullptr;
    {
        const StreamGuard guard;
        beginLine();
        held = streamLock;
    }
    if (held != nullptr) {
        held->lock();
    }
    write(DateTime().toString(true, L"MMMM d, yyyy", nullptr, true) + L'\t');
}

std::wstring Recorder::baseName(const std::wstring& path) {
    return Tallowmere::baseName(path);
}

/// Where text goes, null where it goes nowhere.
std::wostream* Recorder::output() const {
    return stream == &std::wcout ? &platform::consoleOutput() : stream;
}

void Recorder::write(const std::wstring& text) {
    const StreamGuard guard;
    if (std::wostream* const out = output()) {
        *out << text;
    }
}

/// Puts the file in the place of the present stream, which is not deleted.
void Recorder::openFile(const std::wstring& path) {
    // Deliberate: cut to the low bytes, so a path beyond Latin-1 names another file.
    auto file =
        std::make_unique<TraceFile>(platform::streamFileName(convertToString(path.c_str())));
    const StreamGuard guard;
    stream = file.release();
    streamLock = nullptr;
    ownsStream = true;
    writesTraceFile = true;
}

/// True on every tenth flush since the trace has a path.
bool Recorder::countFlush() {
    if (traceFilePath.empty() || ++flushCount < kFlushesBetweenChecks) {
        return false;
    }
    flushCount = 0;
    return true;
}

bool Recorder::isFileFull(const std::wstring& path) const {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (!os().GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) {
        return false;
    }
    // Deliberate: shifted by 16, not 32, so the size is the true one below 4 GiB only.
    const std::uint64_t size = (std::uint64_t{data.nFileSizeHigh} << 16) + data.nFileSizeLow;
    return size >= rollOverSize;
}

/// Empties the trace file if it is full: nothing of it is kept.
void Recorder::rollOver() {
    std::wstring path;
    {
        const StreamGuard guard;
        path = traceFilePath;
    }
    if (!isFileFull(path)) {
        return;
    }
    // A flush that ends no line must not take the stream from under another thread's line. It looks
    // again once it has waited, because that thread may have emptied the file.
    const bool isWaiting = !ownsLine();
    if (isWaiting) {
        (void)lock.acquire(-1);
        if (!isFileFull(path)) {
            (void)lock.release();
            return;
        }
    }
    {
        // In one step for other threads: none of them ever finds no stream.
        const StreamGuard guard;
        if (StreamGuard::isSuspended()) {
            // Some thread is in the midst of a piece, this one perhaps; the next check will do.
            if (isWaiting) {
                (void)lock.release();
            }
            return;
        }
        if (ownsStream) {
            delete stream;
        }
        stream = nullptr;
        writesTraceFile = false;
        // Deliberate: a StreamLock is forgotten here, locked as it is.
        openFile(traceFilePath);
        *stream << "Trace file rolled over" << '\n';
    }
    // Deliberate: this ends the line as well, one level of it; the caller's own end of the line
    // then takes the next level, or fails, harmlessly also when another thread's line has begun
    // meanwhile.
    instance()->flush();
}

/// Whether the line in progress is the calling thread's.
bool Recorder::ownsLine() const {
    const StreamGuard guard;
    return lineOwner == currentThread();
}

/// Notes that the calling thread has acquired the mutex for a line.
void Recorder::beginLine() {
    if (ownsLine()) {
        ++lineDepth;
        return;
    }
    // A line whose thread ended before it was flushed is forgotten with all that it expected.
    lineOwner = currentThread();
    lineDepth = 1;
    ThreadMarkers& own = threadMarkers(serial);
    markerState = own.markerState;
    if (own.isSourceNewer) {
        sourceField.assign(own.source, own.sourceLength);
        own.isSourceNewer = false;
    }
    if (writesTraceFile) {
        static_cast<TraceFile*>(stream)->beginLine();
    }
}

/// Releases one level of the mutex. Deliberate: also when the calling thread does not own it, the
/// release then fails.
void Recorder::endLine() {
    {
        const StreamGuard guard;
        if (ownsLine() && --lineDepth == 0) {
            // A marker that still waits takes the thread's next value, in a line or not.
            ThreadMarkers& own = threadMarkers(serial);
            own.markerState = markerState;
            own.sourceLength =
                static_cast<std::uint8_t>(sourceField.copy(own.source, ThreadMarkers::kSourceSize));
            own.isSourceNewer = false;
            markerState = kNoMarker;
            lineOwner = 0;
        }
    }
    (void)lock.release();
}

}  // namespace Tallowmere
