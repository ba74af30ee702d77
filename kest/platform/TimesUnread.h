#pragma once

namespace Tallowmere::platform {

#ifdef _WIN32

/// See below; the system's own call has no such thing.
class TimesUnread {
public:
    TimesUnread() {}
    ~TimesUnread() {}
    TimesUnread(const TimesUnread&) = delete;
    TimesUnread& operator=(const TimesUnread&) = delete;
};

#else

/// For a scope in which the calling thread does not read the times that GetFileAttributesExW
/// gives: they are zero there. Kernels since 2024 note the next change of a file with a finer time
/// once they were asked for that of the last one, and the trace file, which is looked at after each
/// tenth line, would have each line cost a twelfth more.
class TimesUnread {
public:
    TimesUnread() { ++s_depth; }
    ~TimesUnread() { --s_depth; }
    TimesUnread(const TimesUnread&) = delete;
    TimesUnread& operator=(const TimesUnread&) = delete;

    static bool isSo() { return s_depth != 0; }

private:
    static thread_local constinit unsigned int s_depth;
};

#endif

}  // namespace Tallowmere::platform
