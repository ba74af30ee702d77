#include "kest/platform/windows/EitherTransaction.h"

#include <string_view>
#include <utility>

#include "kest/platform/transactions/Guard.h"
#include "kest/platform/transactions/SystemDisk.h"
#include "kest/platform/transactions/TransactionCalls.h"
#include "kest/platform/windows/Handle.h"
#include "kest/platform/windows/WindowsPaths.h"

namespace Tallowmere::platform::kernel {
namespace {

/// The longest path that Windows knows.
constexpr DWORD kLongestPath = 32768;

/// Whether the kernel's manager serves what a call uses.
bool isServed(const SystemCalls& system, Use use, const wchar_t* path) {
    std::wstring directory = path == nullptr ? L"" : path;
    if (use == Use::Search) {
        // The volume is not asked for by a pattern, whose last part is no name.
        const std::size_t separator = directory.find_last_of(L"\\/");
        directory = separator == std::wstring::npos ? L"." : directory.substr(0, separator + 1);
    }
    std::wstring text;
    if (paths::normalize(directory.c_str(), text) != ERROR_SUCCESS) {
        return false;
    }
    if (use == Use::Change && !paths::isRoot(text)) {
        // What changes is the directory that holds the entry. The entry itself may be a link, or a
        // folder in which a volume is mounted, and lead elsewhere.
        text.resize(text.rfind(L'/'));
    }
    return hasTransactions(system, text);
}

}  // namespace

bool hasTransactions(const SystemCalls& system, const std::wstring& text) {
    const std::wstring_view share = L"//";
    const std::wstring_view volume = L"//?/";
    if (text.compare(0, share.size(), share) == 0 && text.compare(0, volume.size(), volume) != 0) {
        // On another computer, whatever its volume says about itself.
        return false;
    }
    std::wstring path = paths::toSystem(text);
    if (paths::isRoot(text)) {
        path += L'\\';
    }
    // Where a link leads may be called by a longer name than the path.
    std::wstring root(kLongestPath, L'\0');
    DWORD flags = 0;
    return system.GetVolumePathNameW(path.c_str(), root.data(), kLongestPath) &&
           system.GetDriveTypeW(root.c_str()) != DRIVE_REMOTE &&
           system.GetVolumeInformationW(root.c_str(), nullptr, 0, nullptr, nullptr, &flags, nullptr,
                                        0) &&
           (flags & FILE_SUPPORTS_TRANSACTIONS) != 0;
}

bool EitherTransaction::begin(HANDLE kernels) {
    m_kernels = kernels;
    return kernels != INVALID_HANDLE_VALUE;
}

EitherTransaction::~EitherTransaction() {
    if (m_ours != INVALID_HANDLE_VALUE) {
        (void)transactions::closeTransaction(m_ours);
    }
    leaveKernels();
}

Target EitherTransaction::targetFor(Use use, const wchar_t* path, const wchar_t* source) {
    Target target;
    target.choice = std::unique_lock<std::mutex>(m_mutex);
    if (m_manager == Manager::Undecided) {
        const LastErrorGuard kept;
        target.error = transactions::errorOf([&] { return decide(use, path, source); });
    }
    const bool isUndecided = m_manager == Manager::Undecided;
    if (m_manager == Manager::Kernels || (isUndecided && use == Use::Search)) {
        target.system = &m_system;
        target.transaction = m_kernels;
        m_hasSearched = m_hasSearched || use == Use::Search;
    } else {
        target.transaction = m_ours;
    }
    if (!isUndecided) {
        target.choice.unlock();
    }
    return target;
}

DWORD EitherTransaction::decide(Use use, const wchar_t* path, const wchar_t* source) {
    if (!isServed(m_system, use, path) ||
        (source != nullptr && !isServed(m_system, Use::Ask, source))) {
        return becomeOurs();
    }
    switch (use) {
        case Use::Ask:
            return openOurs();
        case Use::Search:
            return ERROR_SUCCESS;
        case Use::Change:
            break;
    }
    return becomeKernels();
}

/// Opens our transaction unless it is open.
DWORD EitherTransaction::openOurs() {
    if (m_ours == INVALID_HANDLE_VALUE) {
        m_ours = transactions::CreateTransaction(nullptr, nullptr, 0, 0, 0, 0, nullptr);
    }
    return m_ours == INVALID_HANDLE_VALUE ? failure() : DWORD{ERROR_SUCCESS};
}

DWORD EitherTransaction::becomeOurs() {
    const DWORD error = openOurs();
    if (error == ERROR_SUCCESS) {
        m_manager = Manager::Ours;
        if (!m_hasSearched) {
            leaveKernels();
        }
    }
    return error;
}

DWORD EitherTransaction::becomeKernels() {
    if (m_ours != INVALID_HANDLE_VALUE) {
        // Nothing was changed in it. If it cannot be committed even so, it could not answer a
        // question, or could not finish what a crash had left, and stays the one that says so.
        if (!transactions::CommitTransaction(m_ours)) {
            const DWORD error = failure();
            m_manager = Manager::Ours;
            leaveKernels();
            return error;
        }
        (void)transactions::closeTransaction(std::exchange(m_ours, INVALID_HANDLE_VALUE));
    }
    m_manager = Manager::Kernels;
    return ERROR_SUCCESS;
}

/// Closed without a commit, the kernel's transaction is rolled back.
void EitherTransaction::leaveKernels() {
    if (m_kernels != INVALID_HANDLE_VALUE) {
        const LastErrorGuard kept;
        (void)m_system.CloseHandle(std::exchange(m_kernels, INVALID_HANDLE_VALUE));
    }
}

BOOL EitherTransaction::commit() {
    const std::lock_guard<std::mutex> guard(m_mutex);
    if (m_manager == Manager::Kernels) {
        return m_system.CommitTransaction(m_kernels);
    }
    if (m_manager == Manager::Undecided) {
        const DWORD error = transactions::errorOf([&] { return becomeOurs(); });
        if (error != ERROR_SUCCESS) {
            ::SetLastError(error);
            return FALSE;
        }
    }
    // Not kept open for a handle that stays open: an unfinished transaction of the kernel's would
    // hold on to its volume's log.
    leaveKernels();
    return transactions::CommitTransaction(m_ours);
}

}  // namespace Tallowmere::platform::kernel
