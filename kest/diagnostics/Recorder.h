#pragma once

#include <ostream>
#include <string>

#include "kest/Export.h"
#include "kest/sync/Lock.h"

namespace Tallowmere {

/// The process's one trace log. (To be completed.)
class KEST_API Recorder {
public:
    class StreamLock {
    public:
        virtual void lock() = 0;
        virtual void unlock() = 0;
    };
    static Recorder* instance();
    static void destroy();
    void setFile(const wchar_t* path);
    void setStream(std::wostream* stream, StreamLock* lock, bool ownership);
    bool isStreamSet() const;
    void flush();
    Recorder& operator<<(const std::wstring& text);
};

template <class T>
Recorder& operator<<(Recorder& recorder, const T& value);

}  // namespace Tallowmere
