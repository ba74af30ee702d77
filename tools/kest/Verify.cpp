#include <kest/kest.h>

#include <cstdint>
#include <set>

#include "Plan.h"
#include "Readable.h"
#include "SourceWalk.h"
#include "Terminal.h"

namespace Tallowmere::command {
namespace {

/// Tells of each entry of the source in what its copy differs.
class Comparison : public SourceWalk {
public:
    Comparison(const std::wstring& source, const std::wstring& copy)
        : m_source(source), m_copy(copy) {}

    std::uint64_t compared() const { return m_compared; }
    std::uint64_t differing() const { return m_differing; }
    bool isMet(const std::wstring& relative) const { return m_met.count(relative) != 0; }

    void compare(const std::wstring& relative, disk::Kind kind) {
        ++m_compared;
        // The root may be a link; what it leads to is what was copied.
        const std::wstring original = disk::join(m_source, relative);
        const std::wstring copy = relative.empty() ? m_copy : disk::join(m_copy, relative);
        std::wstring reason;
        const std::optional<disk::Entry> found = disk::look(copy, reason);
        if (!found) {
            tell(relative, L"missing (" + reason + L")");
            return;
        }
        if (found->kind != kind) {
            tell(relative,
                 std::wstring(disk::nameOf(found->kind)) + L" instead of " + disk::nameOf(kind));
            return;
        }
        std::wstring text;
        if (kind == disk::Kind::file) {
            const std::optional<bool> isSame = disk::isSameContent(original, copy, reason);
            text = !isSame ? L"cannot be read (" + reason + L")" : *isSame ? L"" : L"other content";
        }
        for (const std::wstring& difference : disk::differences(original, copy, kind)) {
            text += (text.empty() ? L"" : L", ") + difference;
        }
        if (!text.empty()) {
            tell(relative, text);
        }
    }

    void tell(const std::wstring& relative, const std::wstring& text) {
        ++m_differing;
        say(L"differs " + printable(relative.empty() ? m_copy : relative) + L": " + text + L"\n");
    }

private:
    bool meet(const std::wstring& relative, const disk::Entry& entry) override {
        m_met.insert(relative);
        compare(relative, entry.kind);
        return true;
    }
    void skip(const std::wstring&, const disk::Entry&, const wchar_t*) override {}
    void fail(const std::wstring& relative, const std::wstring& reason) override {
        tell(relative, L"the source cannot be read (" + reason + L")");
    }

    const std::wstring& m_source;
    const std::wstring& m_copy;
    std::uint64_t m_compared = 0;
    std::uint64_t m_differing = 0;
    std::set<std::wstring> m_met;
};

/// Finds what the source does not have.
class Leftovers : public SourceWalk {
public:
    explicit Leftovers(Comparison& comparison) : m_comparison(comparison) {}

private:
    bool meet(const std::wstring& relative, const disk::Entry&) override {
        if (!m_comparison.isMet(relative)) {
            m_comparison.tell(relative, L"not in the source");
        }
        return true;
    }
    void skip(const std::wstring&, const disk::Entry&, const wchar_t*) override {}
    void fail(const std::wstring& relative, const std::wstring& reason) override {
        m_comparison.tell(relative, L"cannot be read (" + reason + L")");
    }

    Comparison& m_comparison;
};

}  // namespace

bool verifyCopy(const std::wstring& source, const std::wstring& copy) {
    Comparison comparison(source, copy);
    comparison.compare(L"", disk::Kind::folder);
    comparison.walk(source);
    Leftovers(comparison).walk(copy);
    if (comparison.differing() > 0) {
        complainLine(L"the copy differs from its source in " +
                     counted(comparison.differing(), L"place", L"places"));
        return false;
    }
    say(L"verified: " + counted(comparison.compared(), L"entry", L"entries") +
        L", no difference\n");
    return true;
}

}  // namespace Tallowmere::command
