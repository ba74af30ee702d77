#include "kest/platform/Console.h"

#include <ext/stdio_filebuf.h>
#include <ext/stdio_sync_filebuf.h>

#include <atomic>
#include <cstdio>
#include <iostream>
#include <new>
#include <streambuf>
#include <string>
#include <string_view>
#include <typeinfo>

#include "kest/platform/ConsoleFile.h"

namespace Tallowmere::platform {
namespace {

std::FILE* outputFile() {
    return stdout;
}

std::FILE* errorFile() {
    return stderr;
}

bool isHighSurrogate(wchar_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

/// Hands all that is put in on to a C stream at once; it buffers nothing itself, but for the first
/// half of a pair of surrogates that is put in unit by unit.
class WideConsoleBuffer : public std::wstreambuf {
public:
    WideConsoleBuffer(std::FILE* (*file)(), bool flushes) : m_file(file), m_flushes(flushes) {}

protected:
    int_type overflow(int_type unit) override {
        if (!traits_type::eq_int_type(unit, traits_type::eof())) {
            const wchar_t text = traits_type::to_char_type(unit);
            put(std::wstring_view(&text, 1));
        }
        return traits_type::not_eof(unit);
    }

    std::streamsize xsputn(const wchar_t* text, std::streamsize length) override {
        put(std::wstring_view(text, static_cast<std::size_t>(length)));
        return length;
    }

    int sync() override {
        if (const wchar_t half = m_half.exchange(0); half != 0) {
            send(std::wstring_view(&half, 1));
        }
        console::flush(m_file());
        return 0;
    }

private:
    void put(std::wstring_view text) {
        if (text.empty()) {
            return;
        }
        const wchar_t half = m_half.exchange(0);
        const wchar_t last = text.back();
        if (half == 0 && !isHighSurrogate(last)) {
            send(text);
            return;
        }
        try {
            std::wstring whole;
            if (half != 0) {
                whole += half;
            }
            whole += text;
            if (isHighSurrogate(last)) {
                whole.pop_back();
                m_half.store(last);
            }
            send(whole);
        } catch (const std::bad_alloc&) {
            // Lost, as everything is that cannot be written.
        }
    }

    void send(std::wstring_view text) const {
        try {
            console::write(m_file(), text, m_flushes);
        } catch (const std::bad_alloc&) {
            // As above: an exception would make the stream bad for good.
        }
    }

    std::FILE* (*m_file)();
    bool m_flushes;
    std::atomic<wchar_t> m_half{0};
};

/// The same for bytes, which are unbuffered.
class NarrowConsoleBuffer : public std::streambuf {
protected:
    int_type overflow(int_type byte) override {
        if (!traits_type::eq_int_type(byte, traits_type::eof())) {
            const char text = traits_type::to_char_type(byte);
            console::write(errorFile(), std::string_view(&text, 1), true);
        }
        return traits_type::not_eof(byte);
    }

    std::streamsize xsputn(const char* text, std::streamsize length) override {
        console::write(errorFile(), std::string_view(text, static_cast<std::size_t>(length)), true);
        return length;
    }
};

/// What the run-time has put into a standard stream: nothing of its own, or, once the host has
/// called std::ios_base::sync_with_stdio(false), a buffer.
enum class Given { Not, Direct, Buffered };

/// Whether the run-time gave the buffer. Of exactly its types: one derived from them is a host's.
template <class Char>
Given givenByRuntime(std::basic_streambuf<Char>* buffer, std::FILE* file) {
    using Direct = __gnu_cxx::stdio_sync_filebuf<Char>;
    using Buffered = __gnu_cxx::stdio_filebuf<Char>;
    if (buffer == nullptr) {
        return Given::Not;
    }
    const std::type_info& type = typeid(*buffer);
    if (type == typeid(Direct)) {
        return static_cast<Direct*>(buffer)->file() == file ? Given::Direct : Given::Not;
    }
    if (type == typeid(Buffered)) {
        return static_cast<Buffered*>(buffer)->file() == file ? Given::Buffered : Given::Not;
    }
    return Given::Not;
}

/// The standard stream, or `ours` while the run-time's buffer is in it.
std::wostream& choose(std::wostream& standard, std::FILE* file, std::wostream& ours) {
    switch (givenByRuntime(standard.rdbuf(), file)) {
        case Given::Not:
            return standard;
        case Given::Buffered:
            // What the host has written so far comes first.
            (void)standard.rdbuf()->pubsync();
            return ours;
        case Given::Direct:
            break;
    }
    return ours;
}

/// Never destroyed: other static objects write in their destructors.
template <class Stream, class Buffer>
struct Immortal {
    template <class... A>
    static Stream& make(std::basic_ostream<typename Stream::char_type>* tied, A... arguments) {
        // The standard streams themselves may not have been made yet.
        static const std::ios_base::Init s_standardStreams;
        auto* const stream = new Stream(new Buffer(arguments...));
        // As the standard error streams: what was written to the output comes before an error.
        stream->tie(tied);
        return *stream;
    }
};

}  // namespace

std::wostream& consoleOutput() {
    static std::wostream& s_stream =
        Immortal<std::wostream, WideConsoleBuffer>::make(nullptr, &outputFile, false);
    return choose(std::wcout, outputFile(), s_stream);
}

std::wostream& consoleErrors() {
    static std::wostream& s_stream =
        Immortal<std::wostream, WideConsoleBuffer>::make(&std::wcout, &errorFile, true);
    return choose(std::wcerr, errorFile(), s_stream);
}

std::ostream& narrowConsoleErrors() {
    static std::ostream& s_stream =
        Immortal<std::ostream, NarrowConsoleBuffer>::make(&std::cout);
    const bool isMute = givenByRuntime(std::cerr.rdbuf(), errorFile()) == Given::Direct &&
                        console::isWide(errorFile());
    return isMute ? s_stream : std::cerr;
}

}  // namespace Tallowmere::platform
