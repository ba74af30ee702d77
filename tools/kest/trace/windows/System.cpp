#include "trace/System.h"

#include <kest/kest.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "kest/platform/Win32.h"

namespace Tallowmere::command::trace {
namespace {

HANDLE handleOf(std::intptr_t handle) {
    return reinterpret_cast<HANDLE>(handle);
}

/// The system's text, without the line end that it has.
std::string textOf(DWORD code) {
    std::wstring text = getSystemErrorMessage(code, nullptr);
    text.erase(text.find_last_not_of(L"\r\n") + 1);
    return toUtf8(text);
}

bool readIdentity(HANDLE file, FileIdentity& identity) {
    BY_HANDLE_FILE_INFORMATION information{};
    if (!GetFileInformationByHandle(file, &information)) {
        return false;
    }
    identity.volume = information.dwVolumeSerialNumber;
    identity.index = (std::uint64_t{information.nFileIndexHigh} << 32) | information.nFileIndexLow;
    return true;
}

HANDLE openShared(const std::wstring& path, DWORD access) {
    // Nothing is denied to the program that writes the trace.
    return CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                       nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
}

/// A file or a pipe: the bytes as they are. A console: its own wide characters, with colours where
/// it knows them.
class Handle : public Output {
public:
    Handle(HANDLE handle, bool isOwned) : m_handle(handle), m_isOwned(isOwned) {
        DWORD mode = 0;
        m_isConsole = !isOwned && GetConsoleMode(handle, &mode);
        m_hasColours = m_isConsole && GetEnvironmentVariableW(L"NO_COLOR", nullptr, 0) == 0 &&
                       SetConsoleMode(handle, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
    }

    ~Handle() override {
        if (m_isOwned) {
            CloseHandle(m_handle);
        }
    }

    void write(std::string_view text) override {
        m_waiting.append(text);
        if (m_waiting.size() >= kBlock) {
            flush();
        }
    }

    void flush() override {
        std::string text;
        text.swap(m_waiting);
        if (m_isConsole) {
            writeWide(fromNative(text));
            return;
        }
        for (std::string_view rest = text; !rest.empty();) {
            DWORD count = 0;
            if (!WriteFile(m_handle, rest.data(), static_cast<DWORD>(rest.size()), &count,
                           nullptr)) {
                fail();
            }
            rest.remove_prefix(count);
        }
    }

    bool hasColours() const override { return m_hasColours; }

private:
    static constexpr std::size_t kBlock = 1U << 16;

    [[noreturn]] static void fail() {
        const DWORD code = GetLastError();
        throw std::runtime_error("cannot write: " + textOf(code));
    }

    void writeWide(const std::wstring& text) {
        constexpr std::size_t kAtOnce = 8192;
        for (std::wstring_view rest = text; !rest.empty();) {
            DWORD count = 0;
            const auto size = static_cast<DWORD>(std::min(rest.size(), kAtOnce));
            if (!WriteConsoleW(m_handle, rest.data(), size, &count, nullptr)) {
                fail();
            }
            rest.remove_prefix(count);
        }
    }

    HANDLE m_handle;
    bool m_isOwned;
    bool m_isConsole = false;
    bool m_hasColours = false;
    std::string m_waiting;
};

}  // namespace

SharedFile::~SharedFile() {
    close();
}

SharedFile::SharedFile(SharedFile&& other) noexcept
    : m_handle(std::exchange(other.m_handle, kClosed)) {}

SharedFile& SharedFile::operator=(SharedFile&& other) noexcept {
    if (this != &other) {
        close();
        m_handle = std::exchange(other.m_handle, kClosed);
    }
    return *this;
}

void SharedFile::close() {
    if (isOpen()) {
        CloseHandle(handleOf(m_handle));
        m_handle = kClosed;
    }
}

bool SharedFile::open(const std::wstring& path, std::string& reason, bool& isMissing) {
    close();
    const HANDLE handle = openShared(path, GENERIC_READ);
    if (handle == INVALID_HANDLE_VALUE) {
        const DWORD code = GetLastError();
        isMissing = code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND;
        reason = textOf(code);
        return false;
    }
    m_handle = reinterpret_cast<std::intptr_t>(handle);
    return true;
}

std::size_t SharedFile::readAt(std::uint64_t offset, char* buffer, std::size_t size) {
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(offset);
    place.OffsetHigh = static_cast<DWORD>(offset >> 32);
    DWORD count = 0;
    // The offset does not matter to a pipe.
    if (ReadFile(handleOf(m_handle), buffer, static_cast<DWORD>(size), &count, &place)) {
        return count;
    }
    const DWORD code = GetLastError();
    if (code == ERROR_HANDLE_EOF || code == ERROR_BROKEN_PIPE) {
        return 0;
    }
    throw std::runtime_error(textOf(code));
}

FileIdentity SharedFile::identity() const {
    FileIdentity identity;
    if (!readIdentity(handleOf(m_handle), identity)) {
        const DWORD code = GetLastError();
        throw std::runtime_error(textOf(code));
    }
    return identity;
}

bool SharedFile::identityOf(const std::wstring& path, FileIdentity& identity) {
    const HANDLE handle = openShared(path, FILE_READ_ATTRIBUTES);
    if (handle == INVALID_HANDLE_VALUE) {
        return false;
    }
    const bool isRead = readIdentity(handle, identity);
    CloseHandle(handle);
    return isRead;
}

std::unique_ptr<Output> standardOutput() {
    return std::make_unique<Handle>(GetStdHandle(STD_OUTPUT_HANDLE), false);
}

std::unique_ptr<Output> standardError() {
    return std::make_unique<Handle>(GetStdHandle(STD_ERROR_HANDLE), false);
}

std::unique_ptr<Output> createFile(const std::wstring& path, std::string& reason) {
    const HANDLE handle = CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                      CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        const DWORD code = GetLastError();
        reason = textOf(code);
        return nullptr;
    }
    return std::make_unique<Handle>(handle, true);
}

void pauseFor(int milliseconds) {
    Sleep(static_cast<DWORD>(milliseconds));
}

}  // namespace Tallowmere::command::trace
