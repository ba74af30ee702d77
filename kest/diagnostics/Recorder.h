#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>

#include "kest/Export.h"
#include "kest/sync/Lock.h"

namespace Tallowmere {

class Recorder;
class TraceFile;
struct TraceLine;
template <class T>
Recorder& operator<<(Recorder& recorder, const T& value);

/// The process's one trace log. Log statements (kest/diagnostics/Log.h) stream their pieces into
/// it; it turns marker texts among the pieces into the fixed columns of a trace line, keeps the
/// lines of different threads apart, and writes to the console until it is given a file or a
/// stream. The format of a line is described in docs/trace-format.md.
///
/// Nothing here reports or throws on its own account: what cannot be written is lost in silence.
/// Memory running out, and what a caller's own stream, lock or insertion operator throws, passes
/// through. All operations may run on any thread, except where said otherwise.
class KEST_API Recorder {
public:
    /// For a stream that is shared with code outside the Recorder: locked when a trace line begins,
    /// unlocked when it is flushed. Deliberate: the destructor is not virtual, although the
    /// Recorder gives the object's memory back as a StreamLock's. So a class that implements it
    /// derives from nothing else, keeps nothing that needs destruction, and is created with plain
    /// `new`.
    class KEST_API StreamLock {
    public:
        virtual void lock() = 0;    ///< Begins a line.
        virtual void unlock() = 0;  ///< Ends it.

    protected:
        ~StreamLock() = default;
    };

    /// The Recorder, created on the first call. Owned by the library; valid until destroy.
    static Recorder* instance();

    /// Ends the Recorder; the next instance() makes a new one, which writes to the console. For the
    /// host, while no thread is logging: the library itself never calls it.
    static void destroy();

    /// A second Recorder on the same stream, StreamLock and mutex: every field is copied, but for
    /// the text of a line in progress. Both would release them, so a copy is left alone in the end.
    Recorder(const Recorder& other);

    /// Directs the trace into the file at `path`, which is emptied; null counts as the empty path.
    /// Each character of the path is cut to its low byte. A file that cannot be opened is no error:
    /// its trace is lost. While a file or a caller's stream is in place that one stays, and only
    /// the path is remembered: its size is the one looked at, and it is the file that a roll-over
    /// opens.
    void setFile(const wchar_t* path);

    /// Directs the trace into the caller's stream, if it goes to the console so far; otherwise
    /// nothing happens, and the caller keeps `stream` and `lock`. `stream` is deleted with the
    /// Recorder if `ownership` says so, `lock` (which may be null) in any case. A null `stream`
    /// discards the trace until another one is set.
    void setStream(std::wostream* stream, StreamLock* lock, bool ownership);

    /// Whether there is a stream to write to; true from the beginning, since the console is one.
    bool isStreamSet() const;

    /// Ends the calling thread's line: flushes the stream, on every tenth call looks whether the
    /// trace file is due to be emptied, and lets the next thread begin.
    void flush();

    /// Inserts the text up to its first null character as constant wide text: it may be a marker.
    Recorder& operator<<(const std::wstring& text);

    /// The severities, with the numbers that logMessage takes.
    enum class Severity : int { Info, Warning, Error, Critical };

    /// Begins the line of a log statement: the same as inserting the severity's marker, and then
    /// `file` and `line`, each behind its marker.
    Recorder& begin(Severity severity, const char* file, int line) {
        // Here, so that the length of a name that the compiler knows is not counted each time.
        return beginAt(severity, file == nullptr ? std::string_view() : std::string_view(file),
                       line);
    }
    /// Ends the line of a log statement: the same as inserting a line feed, and flush.
    void end();

private:
    template <class T>
    friend Recorder& operator<<(Recorder& recorder, const T& value);

    /// One value on its way into the stream, which is kept from other threads meanwhile.
    class KEST_API Piece {
    public:
        /// `text` is the value as text, `lineNumber` the value itself where it can be a line number
        /// and else null: a marker that waits for a value takes them.
        Piece(Recorder& recorder, const std::wstring& text, const long* lineNumber);
        ~Piece();
        Piece(const Piece&) = delete;
        Piece& operator=(const Piece&) = delete;

        /// Where the value is to be written; null when a marker has taken it, or without a stream.
        std::wostream* destination() const { return m_destination; }

    private:
        std::wostream* m_destination = nullptr;
        TraceFile* m_file = nullptr;
    };

    Recorder();
    ~Recorder();
    Recorder& operator=(const Recorder&) = delete;

    static Recorder* create();
    Recorder& beginAt(Severity severity, std::string_view file, int line);
    void insertLocation(std::string_view file, int line);
    void insertConstantText(const wchar_t* text);
    void processMarker(const wchar_t* text);
    void streamOutTimeStamp();
    void streamOutTimeStamp(bool isMutexHeld);
    std::wstring baseName(const std::wstring& path);

    // The short way of a value: false when it has to go the long way, nothing has happened then.
    bool insertQuickly(std::string_view text);
    bool insertQuickly(const wchar_t* text);
    bool insertQuickly(wchar_t character);
    bool insertQuickly(std::int64_t number, bool isLineNumber);
    bool insertQuickly(std::uint64_t number);
    /// The same for every type; only some have a short way.
    template <class T>
    bool insertKnown(const T& value);
    template <class Append>
    bool insertGathered(Append append);
    bool isLineGathered() const;
    bool isLineOwn() const;
    void gatherLine();
    void gatherLongLine();

    static void prepare(std::wostringstream& stream);
    bool isFileNameExpected() const;
    bool takeMarkedValue(const std::wstring& text, const long* lineNumber);
    std::int32_t pendingMarker() const;
    void setPendingMarker(std::int32_t state);
    bool takePlainName(std::string_view path);
    bool insertPlainName(std::wstring_view path);
    void takeName(std::wstring_view name);
    void takeLineNumber(std::int64_t number);
    void settleSource();
    std::size_t copySource(wchar_t* name) const;
    std::wostream* output() const;
    TraceFile& traceFile() const;
    void write(std::wstring_view text);
    void beginColumns(const wchar_t* severity);
    void writeColumns(const wchar_t* severity);
    void openFile(const std::wstring& path);
    bool countFlush();
    bool isFileFull(const std::wstring& path) const;
    void rollOver();
    bool ownsLine() const;
    void beginLine(bool isMutexHeld);
    bool writeUsualLine(bool& isCheckDue);
    void checkAfterLine();
    void endLine();

    static std::atomic<Recorder*> s_instance;
    static Lock s_instanceLock;

    /// The file name of the line in progress; after its line marker the location column.
    std::wstring sourceField;
    /// As last given to setFile; empty while no file was set.
    std::wstring traceFilePath;
    /// &std::wcout stands for the console.
    std::wostream* stream;
    StreamLock* streamLock;
    bool ownsStream;
    /// What the line in progress expects next: 0 nothing, 1 a file name, 2 a line number.
    std::int32_t markerState;
    /// Held from a line's severity marker to its flush.
    Lock lock;
    /// The size in bytes from which on the trace file is emptied.
    std::uint32_t rollOverSize;
    /// Flushes since the last look at the size.
    std::uint32_t flushCount;

    // The keeping of the books about `lock`, beside the fields that make the Recorder.

    /// Tells this Recorder from earlier ones; a copy has the number of its original.
    std::uint64_t serial;
    /// The thread whose line is in progress (see ThreadMarkers.h), 0 without one.
    std::atomic<std::uint64_t> lineOwner;
    /// How many severity markers that thread has streamed for which no flush came yet.
    std::uint32_t lineDepth;
    /// Whether `stream` is one that openFile made.
    bool writesTraceFile;
    /// Whether the line in progress began in the trace file.
    bool isFileLine;
    /// What belongs to the line in progress alone.
    TraceLine* lineInProgress;
};

namespace detail {

/// Text whose characters cannot change, which is where markers are looked for: arrays of constant
/// wide characters (a reference to a constant array deduces the element type without the const) and
/// pointers to them.
template <class T>
inline constexpr bool isConstantWideText =
    std::is_same_v<T, const wchar_t*> ||
    (std::is_array_v<T> && std::is_same_v<std::remove_cv_t<std::remove_extent_t<T>>, wchar_t>);

template <class T>
inline constexpr bool isTextPointer =
    std::is_pointer_v<T> && (std::is_same_v<std::remove_cv_t<std::remove_pointer_t<T>>, char> ||
                             std::is_same_v<std::remove_cv_t<std::remove_pointer_t<T>>, wchar_t>);

/// Types whose insertion writes their text and has no other effect.
template <class T>
inline constexpr bool isPlain = std::is_arithmetic_v<T> || isTextPointer<T> ||
                                (std::is_array_v<T> &&
                                 std::is_same_v<std::remove_cv_t<std::remove_extent_t<T>>, char>);

/// Integers whose text is their decimal number: those that are characters of some kind, or bool,
/// have rules of their own.
template <class T>
inline constexpr bool isInteger =
    std::is_same_v<T, int> || std::is_same_v<T, long> || std::is_same_v<T, long long> ||
    std::is_same_v<T, unsigned int> || std::is_same_v<T, unsigned long> ||
    std::is_same_v<T, unsigned long long>;

template <class T>
inline constexpr bool isLineNumber = std::is_same_v<T, int> || std::is_same_v<T, long>;

template <class T>
inline constexpr bool isNarrowText =
    std::is_same_v<T, const char*> || std::is_same_v<T, char*> ||
    (std::is_array_v<T> && std::is_same_v<std::remove_cv_t<std::remove_extent_t<T>>, char>);

/// Our choice: a null text is an empty one. Given to a stream it would end the stream for good, and
/// every later line with it.
template <class T>
bool isNullText(const T& value) {
    if constexpr (isTextPointer<T>) {
        return value == nullptr;
    } else {
        return false;
    }
}

}  // namespace detail

template <class T>
bool Recorder::insertKnown(const T& value) {
    if constexpr (detail::isNarrowText<T>) {
        const char* const text = value;
        return insertQuickly(text == nullptr ? std::string_view() : std::string_view(text));
    } else if constexpr (std::is_same_v<T, wchar_t*>) {
        return insertQuickly(static_cast<const wchar_t*>(value));
    } else if constexpr (std::is_same_v<T, char>) {
        return insertQuickly(static_cast<wchar_t>(static_cast<unsigned char>(value)));
    } else if constexpr (std::is_same_v<T, wchar_t>) {
        return insertQuickly(value);
    } else if constexpr (detail::isInteger<T> && std::is_signed_v<T>) {
        return insertQuickly(static_cast<std::int64_t>(value), detail::isLineNumber<T>);
    } else if constexpr (detail::isInteger<T>) {
        return insertQuickly(static_cast<std::uint64_t>(value));
    } else {
        return false;
    }
}

/// Inserts one value of any type that a wide stream takes, and returns `recorder`. The value is
/// made into text first. If the thread's last piece was a file or line marker, it takes the value,
/// whatever it is: the value is then not written. Otherwise constant wide text is looked at for
/// markers, and everything else, changeable wide text included, goes to the stream with the
/// stream's own insertion operator.
template <class T>
Recorder& operator<<(Recorder& recorder, const T& value) {
    const bool isNull = detail::isNullText(value);
    if constexpr (detail::isConstantWideText<T>) {
        recorder.insertConstantText(isNull ? L"" : value);
    } else if (!recorder.template insertKnown<T>(value)) {
        std::wstring text;
        // Making a text is most of the cost of a piece, so that of a plain value, which nobody
        // would miss, is made only for the marker that takes it.
        if (!isNull && (!detail::isPlain<T> || recorder.isFileNameExpected())) {
            std::wostringstream stream;
            Recorder::prepare(stream);
            stream << value;
            text = stream.str();
        }
        long number = 0;
        const long* lineNumber = nullptr;
        if constexpr (detail::isLineNumber<T>) {
            number = value;
            lineNumber = &number;
        }
        const Recorder::Piece piece(recorder, text, lineNumber);
        if (piece.destination() != nullptr && !isNull) {
            *piece.destination() << value;
        }
    }
    return recorder;
}

/// A changeable array is changeable wide text like a pointer to it: markers are not looked for. (A
/// reference to a constant, as the operator above takes, cannot tell the two kinds of array apart.)
template <std::size_t size>
Recorder& operator<<(Recorder& recorder, wchar_t (&value)[size]) {
    wchar_t* const text = value;
    return recorder << text;
}

}  // namespace Tallowmere
