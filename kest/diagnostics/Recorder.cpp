#include "kest/diagnostics/Recorder.h"

#include <algorithm>
#include <cstring>
#include <iostream>
#include <iterator>
#include <limits>
#include <memory>
#include <new>

#include "kest/diagnostics/StreamGuard.h"
#include "kest/diagnostics/ThreadMarkers.h"
#include "kest/diagnostics/TraceColumns.h"
#include "kest/diagnostics/TraceFile.h"
#include "kest/diagnostics/TraceLine.h"
#include "kest/diagnostics/TraceLocale.h"
#include "kest/platform/Calls.h"
#include "kest/platform/Console.h"
#include "kest/platform/StreamNames.h"
#include "kest/platform/TimesUnread.h"
#include "kest/text/Paths.h"
#include "kest/text/Strings.h"

namespace Tallowmere {

using platform::os;

namespace {

constexpr std::int32_t kNoMarker = 0;
constexpr std::int32_t kFileExpected = 1;
constexpr std::int32_t kLineExpected = 2;

constexpr std::uint32_t kFlushesBetweenChecks = 10;

/// A line that is longer than this goes to the stream in pieces.
constexpr std::size_t kLineAtMost = 1U << 16;

/// File names up to this length need no memory.
constexpr std::size_t kShortName = 260;

/// The same as baseName for a path in which the last component is plain to see; false otherwise.
bool findBaseName(std::wstring_view path, std::wstring_view& name) {
    std::size_t slashes = 0;
    std::size_t backslashes = 0;
    std::size_t begin = 0;
    for (std::size_t i = 0; i < path.size(); ++i) {
        if (path[i] == L'/' || path[i] == L'\\') {
            ++(path[i] == L'/' ? slashes : backslashes);
            begin = i + 1;
        }
    }
    name = path.substr(begin);
    return slashes + backslashes == 0 || (!name.empty() && (slashes == 0 || backslashes == 0));
}

enum class Tag { None, Severity, File, Line };

/// Deliberate: the first two characters of a marker are not looked at, so any constant wide text
/// with a tag at that place is one: a path on a server named Fileserver, Linux01 or Sevilla, say.
inline Tag tagOf(const wchar_t* text) {
    if (text[0] == L'\0' || text[1] == L'\0') {
        return Tag::None;
    }
    switch (text[2]) {
        case L'S':
            return text[3] == L'e' && text[4] == L'v' ? Tag::Severity : Tag::None;
        case L'F':
            return text[3] == L'i' && text[4] == L'l' ? Tag::File : Tag::None;
        case L'L':
            return text[3] == L'i' && text[4] == L'n' ? Tag::Line : Tag::None;
        default:
            return Tag::None;
    }
}

/// What stands in a severity marker behind its tag.
inline const wchar_t* severityName(const wchar_t* marker) {
    return marker[5] == L'\0' ? L"" : marker + 6;
}

struct SeverityTexts {
    const wchar_t* marker;
    ColumnBytes<16> column;
};

inline const SeverityTexts& textsOf(Recorder::Severity severity) {
    static constexpr SeverityTexts kTexts[] = {{L"!~Sev:INFO", {"INFO    \t", 9}},
                                               {L"!~Sev:WARNING", {"WARNING \t", 9}},
                                               {L"!~Sev:ERROR", {"ERROR   \t", 9}},
                                               {L"!~Sev:CRITICAL", {"CRITICAL\t", 9}}};
    return kTexts[static_cast<unsigned int>(severity) % std::size(kTexts)];
}

std::uint64_t nextSerial() {
    static std::atomic<std::uint64_t> s_last{0};
    return ++s_last;
}

}  // namespace

constinit std::atomic<Recorder*> Recorder::s_instance{nullptr};

/// Only while the trace file is written: there is a stream then.
inline TraceFile& Recorder::traceFile() const {
    if (stream == nullptr) {
        __builtin_unreachable();
    }
    return *static_cast<TraceFile*>(stream);
}

/// Whether the line in progress is the calling thread's, which then has the mutex.
inline bool Recorder::ownsLine() const {
    // A thread finds its own number here only if it has written it there itself.
    const std::uint64_t owner = lineOwner.load(std::memory_order_relaxed);
    return owner != 0 && owner == t_threadState.number;
}

/// Whether the line in progress is the calling thread's and began in the trace file.
inline bool Recorder::isLineOwn() const {
    return ownsLine() && isFileLine && writesTraceFile;
}

/// Whether the calling thread's line is gathered beside the stream, which nobody else touches
/// meanwhile, and goes on there. Not in the midst of a piece that is inserted into the stream
/// itself: what a host's insertion operator logs has its place in that stream.
inline bool Recorder::isLineGathered() const {
    return isLineOwn() && traceFile().isPlain() && t_threadState.held == 0;
}

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
      writesTraceFile(false),
      isFileLine(false),
      lineInProgress(new TraceLine) {}

Recorder::Recorder(const Recorder& other)
    : traceFilePath(other.traceFilePath),
      stream(other.stream),
      streamLock(other.streamLock),
      ownsStream(other.ownsStream),
      markerState(other.markerState),
      lock(other.lock),
      rollOverSize(other.rollOverSize),
      flushCount(other.flushCount),
      serial(other.serial),
      lineOwner(other.lineOwner.load()),
      lineDepth(other.lineDepth),
      writesTraceFile(other.writesTraceFile),
      // What follows of a line in progress goes the long way.
      isFileLine(false),
      lineInProgress(new TraceLine) {
    wchar_t name[ThreadMarkers::kSourceSize];
    sourceField.assign(name, other.copySource(name));
}

Recorder::~Recorder() {
    if (writesTraceFile) {
        // A line that was never flushed is not lost. Nobody is logging any more.
        traceFile().gather(lineInProgress->text);
    }
    delete lineInProgress;
    if (ownsStream) {
        delete stream;
    }
    // Deleted as a StreamLock, whose destructor does nothing. Not by `delete`, which would tell the
    // allocator the size of a StreamLock where a larger object was allocated.
    ::operator delete(static_cast<void*>(streamLock));
}

[[gnu::hot]] Recorder* Recorder::instance() {
    if (Recorder* const existing = s_instance.load(std::memory_order_acquire)) {
        return existing;
    }
    return create();
}

/// Apart, so that the usual way needs nothing of what this one does.
Recorder* Recorder::create() {
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
    StreamLock* held = nullptr;
    try {
        bool isCheckDue = false;
        {
            const StreamGuard guard;
            if (isLineOwn() && traceFile().isPlain()) {
                traceFile().writeLine(lineInProgress->text);
            } else {
                gatherLine();
                if (std::wostream* const out = output()) {
                    out->flush();
                }
            }
            isCheckDue = countFlush();
            held = streamLock;
        }
        if (isCheckDue) {
            rollOver();
            const StreamGuard guard;
            held = streamLock;
        }
    } catch (...) {
        // The line is lost, but other threads must be able to begin theirs.
        endLine();
        throw;
    }
    if (held != nullptr) {
        held->unlock();
    }
    endLine();
}

[[gnu::hot]] void Recorder::end() {
    if (!isLineGathered() || markerState != kNoMarker) [[unlikely]] {
        *this << '\n';
        flush();
        return;
    }
    lineInProgress->text.append(L'\n');
    bool isCheckDue = false;
    if (!writeUsualLine(isCheckDue)) [[unlikely]] {
        flush();
        return;
    }
    if (isCheckDue) [[unlikely]] {
        checkAfterLine();
    }
    endLine();
}

/// Writes the line that was gathered, where flush does that and counts it. False, and nothing has
/// happened, where flush does something else.
inline bool Recorder::writeUsualLine(bool& isCheckDue) {
    const StreamGuard guard;
    if (streamLock != nullptr || !traceFile().isPlain() ||
        !traceFile().writeUsualLine(lineInProgress->text)) [[unlikely]] {
        return false;
    }
    isCheckDue = countFlush();
    return true;
}

/// What flush does after each tenth line.
void Recorder::checkAfterLine() {
    try {
        rollOver();
    } catch (...) {
        endLine();
        throw;
    }
}

[[gnu::hot]] Recorder& Recorder::beginAt(Severity severity, std::string_view file, int line) {
    const SeverityTexts& texts = textsOf(severity);
    const ThreadState& self = t_threadState;
    const ThreadMarkers& markers = t_markers;
    // Whether nothing waits for a line of this thread: no line, no marker, no name, no piece.
    const bool isUsual = lineOwner.load(std::memory_order_relaxed) != self.number &&
                         self.held == 0 && markers.recorder == serial &&
                         markers.markerState == kNoMarker && !markers.isSourceNewer;
    if (!isUsual) [[unlikely]] {
        insertConstantText(texts.marker);
        insertLocation(file, line);
        return *this;
    }
    const bool isMutexHeld = lock.acquire(-1);
    if (!isMutexHeld || lineOwner.load(std::memory_order_relaxed) != 0 || !writesTraceFile ||
        !traceFile().isPlain()) [[unlikely]] {
        streamOutTimeStamp(isMutexHeld);
        writeColumns(severityName(texts.marker));
        insertLocation(file, line);
        return *this;
    }
    lineOwner.store(self.number, std::memory_order_relaxed);
    lineDepth = 1;
    markerState = kNoMarker;
    isFileLine = true;
    TraceLine& own = *lineInProgress;
    const TraceStamp::Column* const stamp = own.stamp.column();
    const LocationMemo::Entry* const location =
        file.data() == nullptr ? nullptr : own.location.column(file, line);
    if (stamp == nullptr || location == nullptr) [[unlikely]] {
        own.stamp.appendTo(own.text);
        writeColumns(severityName(texts.marker));
        insertLocation(file, line);
        return *this;
    }
    // All columns at once.
    char* end =
        own.text.beginAscii(sizeof(stamp->bytes) + sizeof(texts.column.bytes) +
                            sizeof(ThreadMemo::Column::bytes) + sizeof(location->column().bytes));
    end = stamp->writeTo(end);
    end = texts.column.writeTo(end);
    end = own.thread.column(os().GetCurrentThreadId()).writeTo(end);
    own.text.endAscii(location->column().writeTo(end));
    own.statement = location;
    own.source = TraceLine::Source::Column;
    return *this;
}

/// The third and the fourth piece of a log statement, each behind its marker.
void Recorder::insertLocation(std::string_view file, int line) {
    if (file.data() != nullptr && isLineGathered() && markerState == kNoMarker) {
        if (const LocationMemo::Entry* const column = lineInProgress->location.column(file, line)) {
            lineInProgress->appendColumn(*column);
            return;
        }
    }
    const std::string name(file);
    const char* const text = file.data() == nullptr ? nullptr : name.c_str();
    *this << L"!~Fil:" << text << L"!~Lin:" << line;
}

[[gnu::hot]] Recorder& Recorder::operator<<(const std::wstring& text) {
    if (isLineGathered() && markerState == kNoMarker && tagOf(text.c_str()) == Tag::None) {
        lineInProgress->text.appendToNull(text);
    } else {
        insertConstantText(text.c_str());
    }
    return *this;
}

Recorder::Piece::Piece(Recorder& recorder, const std::wstring& text, const long* lineNumber) {
    const StreamGuard guard;
    if (!recorder.takeMarkedValue(text, lineNumber)) {
        recorder.gatherLine();
        m_destination = recorder.output();
        m_file = recorder.writesTraceFile ? &recorder.traceFile() : nullptr;
    }
    // Nothing fails from here on, so the destructor will follow.
    StreamGuard::acquire();
}

Recorder::Piece::~Piece() {
    if (m_file != nullptr) {
        m_file->look();
    }
    StreamGuard::release();
}

/// Makes a fresh string stream ready for a value's text.
void Recorder::prepare(std::wostringstream& stream) {
    stream.imbue(traceLocale());
}

/// Begins a line with its time, its severity and its thread.
void Recorder::beginColumns(const wchar_t* severity) {
    streamOutTimeStamp();
    writeColumns(severity);
}

/// The columns of the severity and the thread.
void Recorder::writeColumns(const wchar_t* severity) {
    write(severityColumn(severity).text());
    write(threadColumn(os().GetCurrentThreadId()).text());
}

/// Whether the calling thread's next value will be taken for a file name.
bool Recorder::isFileNameExpected() const {
    return pendingMarker() == kFileExpected;
}

void Recorder::insertConstantText(const wchar_t* text) {
    if (isLineGathered() && markerState == kNoMarker && tagOf(text) == Tag::None) {
        lineInProgress->text.append(std::wstring_view(text));
        return;
    }
    if (pendingMarker() == kNoMarker) {
        processMarker(text);
    } else {
        (void)takeMarkedValue(text, nullptr);
    }
}

/// Gives a value to the file or line marker that waits for one. False when none does: the value is
/// then to be written.
bool Recorder::takeMarkedValue(const std::wstring& text, const long* lineNumber) {
    const std::int32_t pending = pendingMarker();
    if (pending == kNoMarker) {
        return false;
    }
    if (pending == kFileExpected) {
        takeName(baseName(text));
    } else if (lineNumber != nullptr) {
        takeLineNumber(*lineNumber);
    }
    // Deliberate: a line marker swallows a value that is no number.
    setPendingMarker(kNoMarker);
    return true;
}

/// The name of nearly every statement, which needs no look at its components. False for any other.
bool Recorder::takePlainName(std::string_view path) {
    if (!ownsLine() || !lineInProgress->location.takeName(path)) {
        return false;
    }
    lineInProgress->source = TraceLine::Source::Name;
    return true;
}

void Recorder::takeName(std::wstring_view name) {
    if (ownsLine()) {
        sourceField = name;
        lineInProgress->source = TraceLine::Source::Own;
        return;
    }
    ThreadMarkers& own = threadMarkers(serial);
    own.sourceLength = static_cast<std::uint8_t>(name.copy(own.source, ThreadMarkers::kSourceSize));
    own.statement = 0;
    own.isSourceNewer = true;
}

/// Deliberate: the column becomes the file name of a statement that has a line marker alone.
void Recorder::takeLineNumber(std::int64_t number) {
    // What reading the number back into an int gives where it does not fit.
    const auto line = static_cast<int>(std::clamp<std::int64_t>(
        number, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
    if (ownsLine()) {
        TraceLine& own = *lineInProgress;
        if (own.source == TraceLine::Source::Name && isLineGathered()) {
            own.appendColumn(own.location.column(line));
            return;
        }
        settleSource();
        const TraceColumn column = locationColumn(sourceField, line);
        sourceField = column.text();
        write(column.text());
        return;
    }
    ThreadMarkers& own = threadMarkers(serial);
    const TraceColumn column = locationColumn({own.source, own.sourceLength}, line);
    takeName(column.text());
    write(column.text());
}

/// Puts into the source field what stands in its place.
void Recorder::settleSource() {
    if (lineInProgress->source != TraceLine::Source::Own) {
        wchar_t name[ThreadMarkers::kSourceSize];
        sourceField.assign(name, copySource(name));
        lineInProgress->source = TraceLine::Source::Own;
    }
}

/// Copies what the source field holds, or what stands in its place, as much of it as a column
/// takes.
std::size_t Recorder::copySource(wchar_t* name) const {
    const TraceLine& line = *lineInProgress;
    switch (line.source) {
        case TraceLine::Source::Column:
            std::memcpy(name, line.statement->name(), LocationMemo::kSource * sizeof(wchar_t));
            return LocationMemo::kSource;
        case TraceLine::Source::Name: {
            const std::string_view kept = line.location.name();
            std::copy(kept.begin(), kept.end(), name);
            return kept.size();
        }
        case TraceLine::Source::Own:
            break;
    }
    return sourceField.copy(name, ThreadMarkers::kSourceSize);
}

/// What the calling thread's last marker waits for.
std::int32_t Recorder::pendingMarker() const {
    return ownsLine() ? markerState : threadMarkers(serial).markerState;
}

void Recorder::setPendingMarker(std::int32_t state) {
    (ownsLine() ? markerState : threadMarkers(serial).markerState) = state;
}

void Recorder::processMarker(const wchar_t* text) {
    switch (tagOf(text)) {
        case Tag::Severity:
            beginColumns(severityName(text));
            break;
        case Tag::File:
            setPendingMarker(kFileExpected);
            break;
        case Tag::Line:
            setPendingMarker(kLineExpected);
            break;
        case Tag::None:
            write(text);
            break;
    }
}

/// Moves what the calling thread's line has gathered into the stream: before something else goes
/// there, while the stream is held.
void Recorder::gatherLine() {
    if (isLineOwn() && !lineInProgress->text.empty()) {
        traceFile().gather(lineInProgress->text);
    }
}

/// Apart, so that the usual piece needs nothing of what this one does.
void Recorder::gatherLongLine() {
    const StreamGuard guard;
    gatherLine();
}

template <class Append>
bool Recorder::insertGathered(Append append) {
    if (!isLineGathered()) {
        return false;
    }
    if (markerState != kNoMarker) {
        return false;
    }
    append(lineInProgress->text);
    if (lineInProgress->text.bytes().size() >= kLineAtMost) {
        gatherLongLine();
    }
    return true;
}

bool Recorder::insertQuickly(std::string_view bytes) {
    if (isFileNameExpected() && !bytes.empty() && bytes.size() <= kShortName) {
        if (takePlainName(bytes)) {
            setPendingMarker(kNoMarker);
            return true;
        }
        // A name beyond ASCII, or a long one.
        wchar_t name[kShortName];
        std::transform(bytes.begin(), bytes.end(), name,
                       [](char byte) { return static_cast<unsigned char>(byte); });
        const std::wstring_view path(name, bytes.size());
        std::wstring_view last;
        if (findBaseName(path, last)) {
            takeName(last);
        } else {
            takeName(baseName(std::wstring(path)));
        }
        setPendingMarker(kNoMarker);
        return true;
    }
    return insertGathered([bytes](LineText& line) { line.appendBytes(bytes); });
}

bool Recorder::insertQuickly(const wchar_t* text) {
    if (text != nullptr && isFileNameExpected()) {
        return insertPlainName(text);
    }
    return insertGathered([text](LineText& line) {
        if (text != nullptr) {
            line.append(text);
        }
    });
}

bool Recorder::insertPlainName(std::wstring_view path) {
    const std::wstring_view name = path.substr(path.find_last_of(L"\\/") + 1);
    if (name.empty() || name.size() > LocationMemo::kSource) {
        return false;
    }
    char plain[LocationMemo::kSource];
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (static_cast<std::uint32_t>(name[i]) >= 0x80) {
            return false;
        }
        plain[i] = static_cast<char>(name[i]);
    }
    if (!takePlainName({plain, name.size()})) {
        return false;
    }
    setPendingMarker(kNoMarker);
    return true;
}

bool Recorder::insertQuickly(wchar_t character) {
    return insertGathered([character](LineText& line) { line.append(character); });
}

bool Recorder::insertQuickly(std::int64_t number, bool isLineNumber) {
    if (isLineNumber && pendingMarker() == kLineExpected) {
        takeLineNumber(number);
        setPendingMarker(kNoMarker);
        return true;
    }
    return insertGathered([number](LineText& line) { line.appendNumber(number); });
}

bool Recorder::insertQuickly(std::uint64_t number) {
    return insertGathered([number](LineText& line) { line.appendNumber(number); });
}

/// Begins a line with its time.
void Recorder::streamOutTimeStamp() {
    const StreamGuard::Suspension suspension;
    streamOutTimeStamp(lock.acquire(-1));
}

/// The same once the mutex was asked for. Without it also where the thread owns the mutex: its last
/// owner ended inside a line.
void Recorder::streamOutTimeStamp(bool isMutexHeld) {
    StreamLock* held = nullptr;
    if (!isMutexHeld || lineOwner.load(std::memory_order_relaxed) != 0 || !writesTraceFile ||
        !traceFile().isPlain()) {
        const StreamGuard guard;
        beginLine(isMutexHeld);
        held = streamLock;
    } else {
        // The usual line. The mutex keeps the stream where it is.
        beginLine(true);
    }
    if (held != nullptr) {
        held->lock();
    }
    if (ownsLine()) {
        write(lineInProgress->stamp.now());
    } else {
        // Without the mutex another thread may be using the kept text.
        write(TraceStamp().now());
    }
    write(L"\t");
}

std::wstring Recorder::baseName(const std::wstring& path) {
    return Tallowmere::baseName(path);
}

/// Where text goes, null where it goes nowhere.
std::wostream* Recorder::output() const {
    return stream == &std::wcout ? &platform::consoleOutput() : stream;
}

void Recorder::write(std::wstring_view text) {
    if (isLineGathered()) {
        lineInProgress->text.append(text);
        return;
    }
    const StreamGuard guard;
    gatherLine();
    if (std::wostream* const out = output()) {
        *out << text;
        if (writesTraceFile) {
            traceFile().look();
        }
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
    const platform::TimesUnread onlyTheSize;
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
    // Nobody changes the path while the mutex is held for a line.
    if (ownsLine() && !isFileFull(traceFilePath)) {
        return;
    }
    std::wstring path;
    {
        const StreamGuard guard;
        path = traceFilePath;
    }
    if (!ownsLine() && !isFileFull(path)) {
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
        gatherLine();
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

/// Begins the calling thread's line. False in `isMutexHeld` when it has to do without the mutex, or
/// has it from a thread that ended inside a line: it then writes what it has piece by piece, and
/// its markers are kept with the thread.
void Recorder::beginLine(bool isMutexHeld) {
    if (ownsLine()) {
        ++lineDepth;
        return;
    }
    // A line whose thread ended before it was flushed is forgotten with all that it expected; what
    // it has gathered is written.
    if (lineOwner.load(std::memory_order_relaxed) != 0 && isFileLine && writesTraceFile) {
        traceFile().gather(lineInProgress->text);
    }
    if (writesTraceFile && !traceFile().isPlain()) {
        traceFile().beginLine();
    }
    lineOwner.store(isMutexHeld ? currentThread() : 0, std::memory_order_relaxed);
    if (!isMutexHeld) {
        return;
    }
    isFileLine = writesTraceFile;
    lineDepth = 1;
    ThreadMarkers& own = threadMarkers(serial);
    markerState = own.markerState;
    if (own.isSourceNewer) {
        sourceField.assign(own.source, own.sourceLength);
        lineInProgress->source = TraceLine::Source::Own;
        own.isSourceNewer = false;
    }
}

/// Releases one level of the mutex. Deliberate: also when the calling thread does not own it, the
/// release then fails.
[[gnu::hot]] void Recorder::endLine() {
    if (ownsLine() && --lineDepth == 0) {
        // A marker that still waits takes the thread's next value, in a line or not.
        ThreadMarkers& own = threadMarkers(serial);
        own.markerState = markerState;
        const std::uint64_t statement = lineInProgress->source == TraceLine::Source::Column
                                            ? lineInProgress->statement->number()
                                            : 0;
        // Mostly it has that name already.
        if (statement == 0 || own.statement != statement) {
            own.sourceLength = static_cast<std::uint8_t>(copySource(own.source));
            own.statement = statement;
        }
        own.isSourceNewer = false;
        markerState = kNoMarker;
        lineOwner.store(0, std::memory_order_relaxed);
    }
    (void)lock.release();
}

}  // namespace Tallowmere
