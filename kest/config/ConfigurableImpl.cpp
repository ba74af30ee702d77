#define KEST_MODULE "Configurable"

#include "kest/config/ConfigurableImpl.h"

#include <cstddef>
#include <iterator>
#include <stdexcept>
#include <string_view>

#include "kest/diagnostics/Log.h"
#include "kest/diagnostics/SystemErrors.h"
#include "kest/platform/Calls.h"
#include "kest/text/Strings.h"

namespace Tallowmere {

using platform::os;

namespace {

/// In units, the terminating zero among them. A longer line comes in pieces, and each of them is
/// taken for a line.
constexpr std::size_t kLineSize = 4096;

/// What a property costs beside its texts.
constexpr std::size_t kBytesOfProperty = 128;

/// Closes the file also when memory runs out while it is read.
class OpenFile {
public:
    explicit OpenFile(std::FILE* file) : m_file(file) {}
    ~OpenFile() { (void)os().fclose(m_file); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    std::FILE* get() const { return m_file; }

private:
    std::FILE* m_file;
};

/// Tells the trace of a failure and throws it.
[[noreturn]] void failWith(const std::string& message) {
    // Byte by byte: a stream of the host's need not know every byte.
    std::wstring line;
    for (const char byte : message) {
        line.push_back(static_cast<unsigned char>(byte));
    }
    LOG_ERROR(line.data());
    throw std::runtime_error(message);
}

std::FILE* openForReading(const std::wstring& fileName) {
    const std::string name = convertToString(fileName.c_str());
    std::FILE* file = nullptr;
    const int result = os().fopen_s(&file, name.c_str(), "r");
    if (result != 0) {
        // Deliberate: the run-time's error number is looked up among the system's codes. 2 means
        // the same in both, most others do not: a folder (13) reads as "The data is invalid.".
        const std::wstring reason =
            getSystemErrorMessage(static_cast<unsigned long>(result), nullptr);
        failWith("fopen " + name + " failed: " + convertToString(reason.c_str()));
    }
    return file;
}

/// Where "</", `name` and ">" stand one behind the other for the first time from `from` on.
std::size_t findClosingTag(std::wstring_view line, std::wstring_view name, std::size_t from) {
    for (std::size_t at = line.find(L"</", from); at != std::wstring_view::npos;
         at = line.find(L"</", at + 1)) {
        const std::wstring_view rest = line.substr(at + 2);
        if (rest.size() > name.size() && rest[name.size()] == L'>' &&
            rest.substr(0, name.size()) == name) {
            return at;
        }
    }
    return std::wstring_view::npos;
}

}  // namespace

std::size_t ConfigurableImpl::s_mostBytes = std::size_t{1} << 30;

// Our choice: a null name is an empty one, which no file has, so the failure is the ordinary one.
ConfigurableImpl::ConfigurableImpl(const wchar_t* path) : fileName(path == nullptr ? L"" : path) {
    read();
}

void ConfigurableImpl::read() {
    LOG_INFO(L"Reading file " + fileName);
    {
        const OpenFile file(openForReading(fileName));
        LOG_INFO("Reading file...");
        wchar_t line[kLineSize];
        std::size_t bytes = 0;
        while (os().fgetws(line, static_cast<int>(std::size(line)), file.get()) != nullptr) {
            takeLine(line, bytes);
            if (bytes > s_mostBytes) {
                failWith("fgetws " + convertToString(fileName.c_str()) +
                         " failed: more properties than a settings file has");
            }
        }
        LOG_INFO("Closing file...");
    }
    loaded = true;
}

void ConfigurableImpl::takeLine(const wchar_t* text, std::size_t& bytes) {
    const std::wstring_view line(text);
    const std::size_t open = line.find(L'<');
    if (open == std::wstring_view::npos) {
        return;
    }
    // Deliberate: from the start of the line. With a ">" before the "<" the length below wraps
    // around, so the name runs to the end of the line and no closing tag can match it.
    const std::size_t close = line.find(L'>');
    if (close == std::wstring_view::npos) {
        return;
    }
    std::wstring name(line.substr(open + 1, close - open - 1));
    const std::size_t end = findClosingTag(line, name, close);
    if (end == std::wstring_view::npos) {
        return;
    }
    const std::wstring_view value = line.substr(close + 1, end - close - 1);
    const std::size_t size = (name.size() + value.size()) * sizeof(wchar_t) + kBytesOfProperty;
    if (const auto before = properties.find(name); before != properties.end()) {
        bytes -= (name.size() + before->second.size()) * sizeof(wchar_t) + kBytesOfProperty;
        before->second = value;
    } else {
        properties.emplace(std::move(name), value);
    }
    bytes += size;
}

}  // namespace Tallowmere
