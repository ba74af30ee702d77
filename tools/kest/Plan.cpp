#include "Plan.h"

#include <kest/kest.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "Readable.h"
#include "SourceWalk.h"
#include "Terminal.h"

namespace Tallowmere::command {
namespace {

/// Thrown at the first step that the library is about to take.
class Halted : public std::exception {};

class HaltAtFirstStep final : public StepListener {
public:
    explicit HaltAtFirstStep(TraceTap& trace) : m_trace(trace) { m_trace.setListener(this); }
    ~HaltAtFirstStep() {
        m_trace.setListener(nullptr);
        m_trace.resume();
    }
    HaltAtFirstStep(const HaltAtFirstStep&) = delete;
    HaltAtFirstStep& operator=(const HaltAtFirstStep&) = delete;

private:
    void hear(Step) override { throw Halted(); }

    TraceTap& m_trace;
};

/// Lets the library refuse what it refuses before it touches anything, by its own rules.
void askLibrary(TraceTap& trace, const std::wstring& source, const std::wstring& destination) {
    const HaltAtFirstStep halt(trace);
    try {
        CopyDirectoryTransacted(source, destination);
    } catch (const Halted&) {
        // It would begin.
    }
}

std::wstring parentOf(const std::wstring& path) {
    const std::size_t end = path.find_last_not_of(L"\\/");
    const std::size_t at = path.find_last_of(L"\\/", end);
    return at == std::wstring::npos || end == std::wstring::npos ? L"" : path.substr(0, at + 1);
}

class Plan : public SourceWalk {
public:
    explicit Plan(const std::wstring& source) : m_source(source) {}

    bool isPossible() const { return m_failures == 0; }
    void addFailure(const std::wstring& path, const std::wstring& reason) {
        ++m_failures;
        line(L"fail    ", path, L": " + reason);
    }
    void flush() {
        say(m_text);
        m_text.clear();
    }

    std::wstring total() const {
        std::wstring text = counted(m_files, L"file", L"files") + L", " +
                            counted(m_folders, L"folder", L"folders") + L" and " +
                            counted(m_links, L"link", L"links") + L", " + readableSize(m_bytes) +
                            L", would be copied";
        if (m_skipped > 0) {
            text += L"; " + counted(m_skipped, L"entry", L"entries") + L" would be left out";
        }
        return text + L"\n";
    }

private:
    bool meet(const std::wstring& relative, const disk::Entry& entry) override {
        switch (entry.kind) {
            case disk::Kind::file:
                if (Tallowmere::access(disk::join(m_source, relative).c_str(), 4) != 0) {
                    addFailure(relative, fromNative(std::strerror(errno)));
                    break;
                }
                ++m_files;
                m_bytes += entry.size;
                line(L"file    ", relative, L", " + readableSize(entry.size));
                break;
            case disk::Kind::folder:
                ++m_folders;
                line(L"folder  ", relative, L"");
                break;
            case disk::Kind::fileLink:
                ++m_links;
                line(L"link    ", relative, L"");
                break;
            case disk::Kind::folderLink:
                ++m_links;
                line(L"link    ", relative, L", to the full path of its folder");
                break;
            case disk::Kind::other:
                ++m_files;
                line(L"special ", relative, L"");
                break;
        }
        return true;
    }
    void skip(const std::wstring& relative, const disk::Entry&, const wchar_t* reason) override {
        ++m_skipped;
        line(L"skip    ", relative, std::wstring(L": ") + reason);
    }
    void fail(const std::wstring& relative, const std::wstring& reason) override {
        addFailure(relative.empty() ? m_source : relative, reason);
    }

    void line(const wchar_t* what, const std::wstring& path, const std::wstring& more) {
        m_text += what + printable(path) + more + L"\n";
        constexpr std::size_t kEnough = 65536;
        if (m_text.size() > kEnough) {
            flush();
        }
    }

    const std::wstring& m_source;
    std::wstring m_text;
    std::uint64_t m_files = 0;
    std::uint64_t m_folders = 0;
    std::uint64_t m_links = 0;
    std::uint64_t m_bytes = 0;
    std::uint64_t m_skipped = 0;
    std::uint64_t m_failures = 0;
};

}  // namespace

bool tellPlan(const Call& call, const std::wstring& source, const std::wstring& destination) {
    askLibrary(call.trace, source, destination);
    Plan plan(source);
    plan.walk(source);
    const bool isReplaced = exists(destination.c_str());
    const std::wstring parent = parentOf(destination);
    if (!isReplaced && !parent.empty() && !isDirectory(parent)) {
        plan.addFailure(destination, L"there is no folder to make it in");
    }
    plan.flush();
    say(plan.total() + printable(destination) +
        (isReplaced ? L" would be replaced\n" : L" would be made\n"));
    if (!plan.isPossible()) {
        complainLine(L"the copy would fail");
    }
    return plan.isPossible();
}

}  // namespace Tallowmere::command
