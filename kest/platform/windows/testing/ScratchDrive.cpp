#include "kest/platform/windows/testing/ScratchDrive.h"

#include <stdexcept>

#include "kest/platform/windows/UnixLinks.h"
#include "kest/platform/windows/testing/UnixSide.h"

namespace Tallowmere::platform::testing {
namespace {

std::unique_ptr<TempTree> makeTree() {
    if (!isWine()) {
        return std::make_unique<TempTree>();
    }
    // Not on drive C: a path on two drives at once is taken for one on the nearer of them.
    wchar_t usual[MAX_PATH] = L"";
    (void)::GetEnvironmentVariableW(L"TMP", usual, MAX_PATH);
    ::SetEnvironmentVariableW(L"TMP", L"Z:\\tmp");
    auto tree = std::make_unique<TempTree>();
    ::SetEnvironmentVariableW(L"TMP", usual);
    return tree;
}

}  // namespace

ScratchDrive::ScratchDrive() : m_tree(makeTree()) {
    // Letters are the machine's: one test program after the other.
    m_turn = ::CreateMutexW(nullptr, FALSE, L"kest-test-drive");
    if (m_turn == nullptr || ::WaitForSingleObject(m_turn, INFINITE) == WAIT_FAILED) {
        throw std::runtime_error("CreateMutex");
    }
    m_tree->write("mark", "ours");
    const DWORD taken = ::GetLogicalDrives();
    for (wchar_t letter = L'Y'; letter >= L'H' && m_letter.empty(); --letter) {
        if ((taken >> (letter - L'A') & 1) == 0) {
            m_letter = {letter, L':'};
        }
    }
    if (m_letter.empty()) {
        throw std::runtime_error("no free drive letter");
    }
    define();
    // Tests empty the drive: never without having seen that it is this folder.
    if (!::DeleteFileW(wide(L"mark").c_str()) || m_tree->exists("mark")) {
        remove();
        throw std::runtime_error("the drive is not the folder");
    }
}

ScratchDrive::~ScratchDrive() {
    remove();
    ::ReleaseMutex(m_turn);
    ::CloseHandle(m_turn);
}

void ScratchDrive::define() {
    if (isWine()) {
        // "<prefix>/dosdevices/c:/" and the like.
        m_link = unixPath(L"C:\\");
        m_link.erase(m_link.rfind("c:"));
        m_link += std::string(1, static_cast<char>(m_letter[0] - L'A' + L'a')) + ":";
        std::string folder = unixPath(m_tree->wide("."));
        runOnUnix("/bin/ln", {"-sT", folder, m_link});
    } else if (!::DefineDosDeviceW(0, m_letter.c_str(), m_tree->root().c_str())) {
        throw std::runtime_error("DefineDosDevice");
    }
}

void ScratchDrive::remove() {
    if (isWine()) {
        runOnUnix("/bin/rm", {"-f", m_link});
    } else {
        (void)::DefineDosDeviceW(DDD_REMOVE_DEFINITION, m_letter.c_str(), nullptr);
    }
}

}  // namespace Tallowmere::platform::testing
