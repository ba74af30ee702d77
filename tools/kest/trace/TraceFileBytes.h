#pragma once

#include <string>
#include <utility>

#include "trace/Bytes.h"
#include "trace/System.h"

namespace Tallowmere::command::trace {

/// A trace file as it is, from its beginning to its end.
class WholeFile : public Bytes {
public:
    /// `file` is open.
    explicit WholeFile(SharedFile file) : m_file(std::move(file)) {}

    State read(char* buffer, std::size_t size, std::size_t& count) override;

private:
    SharedFile m_file;
    std::uint64_t m_offset = 0;
};

/// A trace file that grows while it is read, and is emptied now and then by the process that writes
/// it: a roll-over keeps the name and throws the text away. What is in the file when it is looked
/// at is read once and no more than once.
///
/// That the file was emptied shows in its size at first, but not when it has grown again beyond
/// what was read. So its beginning is remembered too, of which no two texts have the same: each
/// begins with the time at which it was begun. It is looked at after each read, when it tells which
/// of the texts the bytes belong to.
///
/// A file that is not there yet is waited for, and when the name passes to another file that one is
/// read.
class GrowingFile : public Bytes {
public:
    explicit GrowingFile(std::wstring path) : m_path(std::move(path)) {}

    State read(char* buffer, std::size_t size, std::size_t& count) override;
    std::uint64_t lost() const override { return m_lost; }

private:
    bool open();
    bool hasSameBeginning();
    bool isEmpty();
    void rememberBeginning(const char* bytes, std::size_t count);
    bool isReplaced() const;
    bool wasReadBeforeRestart(const char* bytes, std::size_t count);
    void restart();

    std::wstring m_path;
    SharedFile m_file;
    bool m_wasOpen = false;
    std::uint64_t m_offset = 0;
    std::string m_beginning;
    /// Whether the file was found to have begun anew, and that is still to be told.
    bool m_isRestarted = false;
    std::uint64_t m_lost = 0;
};

}  // namespace Tallowmere::command::trace
