// The redo journal of an orphaned stage, whatever bytes are in it: it is read as it was written, or
// it is damaged, and then nothing is touched. A sound one is carried out without harm to the
// process, whatever it names.

#include <vector>

#include "fuzz/Input.h"
#include "kest/platform/testing/MemoryDisk.h"
#include "kest/platform/transactions/Journal.h"
#include "kest/platform/transactions/Transaction.h"

namespace Tallowmere::platform::transactions {
namespace {

using platform::testing::MemoryDisk;
using platform::testing::MemoryOptions;
using platform::testing::MemoryStore;

constexpr std::string_view kMagic = "KESTJOURNAL1";
const std::wstring kStage = L".kest-0123456789abcdef0123456789abcdef";

std::string sumOf(std::string_view bytes) {
    std::uint64_t sum = 14695981039346656037U;
    for (const char byte : bytes) {
        sum ^= static_cast<unsigned char>(byte);
        sum *= 1099511628211U;
    }
    std::string result;
    for (int i = 0; i < 8; ++i) {
        result += static_cast<char>(sum & 0xFF);
        sum >>= 8;
    }
    return result;
}

/// Whether bytes are a journal, told from the front to the end.
class Form {
public:
    explicit Form(std::string_view rest) : m_rest(rest) {}

    bool isJournal() {
        std::uint64_t directories = 0;
        std::uint64_t entries = 0;
        if (!number(4, directories)) {
            return false;
        }
        for (std::uint64_t i = 0; i < directories; ++i) {
            std::wstring ignored;
            if (!text(ignored)) {
                return false;
            }
        }
        if (!number(4, entries)) {
            return false;
        }
        for (std::uint64_t i = 0; i < entries; ++i) {
            std::uint64_t directory = 0;
            std::uint64_t flags = 0;
            if (!number(4, directory) || !name() || !name() || !name() || !number(1, flags) ||
                flags > 3 || directory >= directories) {
                return false;
            }
        }
        return m_rest.empty();
    }

private:
    bool number(std::size_t bytes, std::uint64_t& value) {
        if (m_rest.size() < bytes) {
            return false;
        }
        value = 0;
        for (std::size_t i = bytes; i-- > 0;) {
            value = value * 256 + static_cast<unsigned char>(m_rest[i]);
        }
        m_rest.remove_prefix(bytes);
        return true;
    }

    bool text(std::wstring& result) {
        std::uint64_t length = 0;
        if (!number(4, length) || length * 4 > m_rest.size()) {
            return false;
        }
        for (std::uint64_t i = 0; i < length; ++i) {
            std::uint64_t unit = 0;
            (void)number(4, unit);
            result += static_cast<wchar_t>(unit);
        }
        return true;
    }

    /// A single component.
    bool name() {
        std::wstring result;
        if (!text(result) || result.empty() || result == L"." || result == L"..") {
            return false;
        }
        for (const wchar_t unit : result) {
            if (unit == L'/' || unit == L'\\' || unit == 0) {
                return false;
            }
        }
        return true;
    }

    std::string_view m_rest;
};

/// Slots and what was taken away, so that a journal finds some of what it may name.
MemoryStore furnished() {
    MemoryStore store(MemoryOptions::linux());
    store.makeDirectory(L"/home");
    store.makeDirectory(L"/home/to");
    store.write(L"/home/to/file", "old");
    store.write(L"/home/x", "x");
    store.makeDirectory(L"/canary");
    store.write(L"/canary/bird", "sings");
    store.makeLink(L"/home/link", L"/canary", true);
    return store;
}

void check(const std::string& content) {
    MemoryStore store = furnished();
    {
        MemoryDisk disk(store);
        std::wstring canonical;
        DirectoryPtr home;
        DirectoryPtr stage;
        KEST_LAW(disk.openDirectory(L"/home", home, canonical) == ERROR_SUCCESS);
        KEST_LAW(disk.makePrivateDirectory(home, kStage) == ERROR_SUCCESS);
        KEST_LAW(disk.openBelow(home, kStage, Links::Refuse, stage) == ERROR_SUCCESS);
        for (const wchar_t* const slot : {L"s", L"t", L"s-old", L"u-old-1"}) {
            KEST_LAW(disk.makeDirectory(stage, slot) == ERROR_SUCCESS);
        }
        KEST_LAW(disk.writeFile(stage, L"journal", content) == ERROR_SUCCESS);

        const bool isSound =
            content.size() >= kMagic.size() + 16 && content.starts_with(kMagic) &&
            content.ends_with(sumOf(std::string_view(content).substr(0, content.size() - 8))) &&
            Form(
                std::string_view(content).substr(kMagic.size(), content.size() - kMagic.size() - 8))
                .isJournal();
        Journal journal;
        const DWORD error = readJournal(disk, stage, journal);
        KEST_LAW(error == (isSound ? DWORD{ERROR_SUCCESS} : DWORD{ERROR_FILE_CORRUPT}));
        if (isSound) {
            std::string written;
            KEST_LAW(writeDraft(disk, stage, journal) == ERROR_SUCCESS);
            KEST_LAW(disk.readFile(stage, L"journal-draft", written) == ERROR_SUCCESS);
            KEST_LAW(written == content);
        } else {
            KEST_LAW(journal.directories.empty() && journal.entries.empty());
        }
        store.endProcesses();
        const auto before = store.snapshot(L"/");
        MemoryDisk next(store);
        for (int looks = 0; looks < 2; ++looks) {
            Transaction transaction(next);
            WIN32_FILE_ATTRIBUTE_DATA data{};
            const DWORD answer = transaction.attributes(L"/home/to", data);
            if (!isSound) {
                KEST_LAW(answer == ERROR_FILE_CORRUPT);
                KEST_LAW(transaction.commit() != ERROR_SUCCESS);
                KEST_LAW(store.snapshot(L"/") == before);
            }
        }
    }
}

}  // namespace
}  // namespace Tallowmere::platform::transactions

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    namespace transactions = Tallowmere::platform::transactions;
    Tallowmere::fuzz::Input input(data, size);
    // No fuzzer hits a checksum, so most journals are given the right one.
    const bool isRaw = input.byte() == 'r';
    std::string content(input.rest());
    if (!isRaw) {
        content.insert(0, transactions::kMagic);
        content += transactions::sumOf(content);
    }
    transactions::check(content);
    return 0;
}
