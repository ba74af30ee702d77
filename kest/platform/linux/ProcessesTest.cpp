// Programs that are really started: what they are told, what they inherit and what remains of them.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "kest/platform/Calls.h"
#include "kest/platform/HandleTable.h"
#include "kest/platform/linux/Names.h"
#include "kest/platform/linux/testing/CapturedOutput.h"
#include "kest/platform/testing/TempTree.h"

namespace Tallowmere::platform {
namespace {

namespace fs = std::filesystem;

using testing::outputOf;
using testing::TempTree;

/// The error of starting a program, 0 when there is none. Its handles are closed again.
DWORD startError(const std::wstring& line, PROCESS_INFORMATION& process) {
    std::wstring buffer = line;
    STARTUPINFOW startUp{};
    startUp.cb = sizeof startUp;
    os().SetLastError(54321);
    if (!os().CreateProcessW(nullptr, buffer.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW,
                             nullptr, nullptr, &startUp, &process)) {
        return os().GetLastError();
    }
    EXPECT_TRUE(os().CloseHandle(process.hProcess));
    EXPECT_TRUE(os().CloseHandle(process.hThread));
    EXPECT_EQ(54321U, os().GetLastError());
    EXPECT_NE(0U, process.dwProcessId);
    return 0;
}

DWORD startError(const std::wstring& line) {
    PROCESS_INFORMATION process{};
    return startError(line, process);
}

/// What the program writes; it must start.
std::string output(const std::wstring& line) {
    return outputOf([&] { EXPECT_EQ(0U, startError(line)); });
}

/// How many descriptors this process has open.
std::ptrdiff_t openDescriptors() {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

class LinuxProcesses : public ::testing::Test {
protected:
    LinuxProcesses() {
        // Tells the arguments that it was given.
        script("show", "for one in \"$@\"; do printf '<%s>' \"$one\"; done\n");
    }
    ~LinuxProcesses() override {
        EXPECT_EQ(m_processes, openHandles(HandleKind::Process));
        EXPECT_EQ(m_threads, openHandles(HandleKind::Thread));
    }

    void script(const std::string& name, const std::string& text) const {
        tree.write(name, "#!/bin/sh\n" + text);
        fs::permissions(tree / name, fs::perms::owner_all);
    }

    std::wstring wide(const std::string& relative) const {
        return names::widen((tree / relative).native());
    }

    std::wstring quoted(const std::string& relative) const { return L'"' + wide(relative) + L'"'; }

    TempTree tree;

private:
    // Other tests of the same process let the closing of handles fail.
    const int m_processes = openHandles(HandleKind::Process);
    const int m_threads = openHandles(HandleKind::Thread);
};

TEST_F(LinuxProcesses, TheCommandLineIsTakenApartAsOnWindows) {
    EXPECT_EQ("<a><b c><d\"e>", output(wide("show") + LR"( a "b c" d\"e)"));
    EXPECT_EQ(R"(<C:\My Dir\><x\\y>)", output(wide("show") + LR"( "C:\My Dir\\" x\\y)"));
    EXPECT_EQ("<>", output(wide("show") + L" \"\""));
    EXPECT_EQ("<*><$HOME><~><;><a'b>", output(wide("show") + L" * $HOME ~ ; a'b"));
    EXPECT_EQ(
        "<Gr\xC3\xBC\xC3\x9F"
        "e \xE6\x97\xA5>",
        output(wide("show") + L" \"Gr\u00FC\u00DFe \u65E5\""));
    // A byte that a name holds comes back from its wide form.
    EXPECT_EQ("<\xFF\\>", output(wide("show") + L' ' + names::widen("\xFF\\")));
}

TEST_F(LinuxProcesses, TheProgramMayBeQuotedAndMayHaveBlanks) {
    script("my prog", "printf '<%s>' quoted \"$@\"\n");
    EXPECT_EQ("<quoted><a>", output(quoted("my prog") + L" a"));
    EXPECT_EQ("<quoted><a>", output(wide("my prog") + L" a"));
    // Both separators lead to it.
    std::wstring path = wide("my prog");
    for (wchar_t& c : path) {
        c = c == L'/' ? L'\\' : c;
    }
    EXPECT_EQ("<quoted><a>", output(path + L" a"));
    EXPECT_EQ("<quoted><a>", output(L"\\\\?\\" + path + L" a"));
}

TEST_F(LinuxProcesses, AnUnquotedPathIsTriedPrefixByPrefix) {
    script("my prog", "printf '<%s>' long \"$@\"\n");
    script("my", "printf '<%s>' short \"$@\"\n");
    EXPECT_EQ("<short><prog><a>", output(wide("my prog") + L" a"));
    EXPECT_EQ("<long><a>", output(quoted("my prog") + L" a"));
    // A directory is no program; the search goes on.
    fs::remove(tree / "my");
    tree.makeDirectory("my");
    EXPECT_EQ("<long><a>", output(wide("my prog") + L" a"));
    // A file that is none ends it.
    fs::remove(tree / "my");
    tree.write("my", "no program");
    EXPECT_EQ(ERROR_ACCESS_DENIED, startError(wide("my prog") + L" a"));
    fs::permissions(tree / "my", fs::perms::owner_all);
    EXPECT_EQ(ERROR_BAD_EXE_FORMAT, startError(wide("my prog") + L" a"));
}

TEST_F(LinuxProcesses, TheProgramIsToldTheNameByWhichItWasCalled) {
    fs::copy_file("/bin/cat", tree / "my cat");
    const std::string path = (tree / "my cat").native();
    const std::string tail = std::string("\0/proc/self/cmdline\0", 20);
    EXPECT_EQ(path + tail, output(quoted("my cat") + L" /proc/self/cmdline"));
    EXPECT_EQ(path + tail, output(wide("my cat") + L" /proc/self/cmdline"));
    EXPECT_EQ("cat" + tail, output(L"cat /proc/self/cmdline"));
}

TEST_F(LinuxProcesses, ANameIsLookedForOnTheSearchPathAlone) {
    const std::string before = std::getenv("PATH");
    tree.makeDirectory("empty");
    script("bin/kest test program", "printf '<%s>' found \"$@\"\n");
    script("first/denied", "");
    fs::permissions(tree / "first/denied", fs::perms::owner_read);
    script("bin/denied", "printf '<%s>' later\n");
    setenv("PATH",
           ((tree / "empty").native() + ":" + (tree / "first").native() + ":" +
            (tree / "bin").native() + ":/bin:/usr/bin")
               .c_str(),
           1);
    EXPECT_EQ("<found><a>", output(L"kest test program a"));
    EXPECT_EQ("<found><a>", output(L"\"kest test program\" a"));
    if (geteuid() != 0) {
        EXPECT_EQ("<later>", output(L"denied"));
    }
    // What stands in the current directory is not meant.
    const fs::path here = fs::current_path();
    fs::current_path(tree.root());
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, startError(L"show a"));
    EXPECT_EQ("<a>", output(L"./show a"));
    EXPECT_EQ("<a>", output(L".\\show a"));
    // Unless the path says so, by an entry that is empty.
    setenv("PATH", ":/bin", 1);
    EXPECT_EQ("<a>", output(L"show a"));
    fs::current_path(here);
    unsetenv("PATH");
    EXPECT_EQ("x\n", output(L"echo x"));
    setenv("PATH", before.c_str(), 1);
}

TEST_F(LinuxProcesses, WhatCannotBeStarted) {
    tree.makeDirectory("directory");
    tree.write("text", "no program\n");
    tree.write("lost", "#!/no/such/interpreter\n");
    fs::permissions(tree / "lost", fs::perms::owner_all);
    fs::create_symlink("nowhere", tree / "dangling");
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, startError(L""));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, startError(L"   "));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, startError(L"\"\""));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, startError(wide("none")));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, startError(wide("none") + L" a b"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, startError(wide("none/program")));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, startError(wide("text/program")));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, startError(wide("dangling")));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, startError(wide("lost")));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, startError(L"\"a\xD800\""));
    EXPECT_EQ(ERROR_ACCESS_DENIED, startError(wide("directory")));
    EXPECT_EQ(ERROR_ACCESS_DENIED, startError(wide("text")));
    fs::permissions(tree / "text", fs::perms::owner_all);
    EXPECT_EQ(ERROR_BAD_EXE_FORMAT, startError(wide("text")));
    EXPECT_EQ(ERROR_FILENAME_EXCED_RANGE, startError(std::wstring(32767, L'x')));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, startError(std::wstring(32766, L'x')));
    // None of them has left a process behind.
    EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG | __WALL));
    EXPECT_EQ(ECHILD, errno);
}

TEST_F(LinuxProcesses, AVeryLongCommandLineArrives) {
    const std::wstring program = wide("show") + L' ';
    const std::wstring argument(32766 - program.size(), L'x');
    EXPECT_EQ(argument.size() + 2, output(program + argument).size());
}

TEST_F(LinuxProcesses, OfDescriptorsTheStandardThreeAlone) {
    // Such as a host opens without a thought for other programs.
    const int plain = open("/dev/null", O_RDONLY);
    const int far = fcntl(plain, F_DUPFD, 500);
    ASSERT_GE(far, 500);
    tree.write("file", "x");
    const HANDLE file = os().CreateFileW(wide("file").c_str(), GENERIC_READ, FILE_SHARE_READ,
                                         nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, file);
    // The last is the program's own, for the folder that it lists.
    EXPECT_EQ("0\n1\n2\n3\n", output(L"ls /proc/self/fd"));
    EXPECT_TRUE(os().CloseHandle(file));
    close(far);
    close(plain);
}

TEST_F(LinuxProcesses, AThousandLeaveNothingBehind) {
    const int others = openHandles(HandleKind::Process);
    const std::ptrdiff_t before = openDescriptors();
    PROCESS_INFORMATION process{};
    std::vector<HANDLE> kept;
    for (int i = 0; i < 1000; ++i) {
        std::wstring line = L"/bin/true";
        STARTUPINFOW startUp{};
        startUp.cb = sizeof startUp;
        // As the library does it: the handles stay open.
        ASSERT_TRUE(os().CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE,
                                        CREATE_NO_WINDOW, nullptr, nullptr, &startUp, &process));
        ASSERT_NE(process.hProcess, process.hThread);
        kept.push_back(process.hProcess);
        kept.push_back(process.hThread);
    }
    EXPECT_EQ(before, openDescriptors());
    // No child at all, living or dead, and of no kind.
    EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG | __WALL));
    EXPECT_EQ(ECHILD, errno);
    const std::string own = std::to_string(getpid());
    std::ifstream children("/proc/self/task/" + own + "/children");
    std::string numbers;
    std::getline(children, numbers);
    EXPECT_EQ("", numbers);
    EXPECT_EQ(others + 1000, openHandles(HandleKind::Process));
    for (const HANDLE handle : kept) {
        EXPECT_TRUE(os().CloseHandle(handle));
    }
    EXPECT_FALSE(os().CloseHandle(kept[0]));
    EXPECT_EQ(ERROR_INVALID_HANDLE, os().GetLastError());
    EXPECT_FALSE(os().CloseHandle(kept[1]));
}

std::atomic<int> g_signals{0};

TEST_F(LinuxProcesses, AHostThatWatchesItsChildrenNoticesNothing) {
    struct sigaction watching {};
    watching.sa_handler = [](int) { ++g_signals; };
    struct sigaction before {};
    ASSERT_EQ(0, sigaction(SIGCHLD, &watching, &before));
    EXPECT_EQ("x\n", output(L"echo x"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, startError(L"/none"));
    EXPECT_EQ(0, g_signals);
    // Nor does it matter that a host wants to know nothing of them.
    watching.sa_handler = SIG_IGN;
    ASSERT_EQ(0, sigaction(SIGCHLD, &watching, nullptr));
    EXPECT_EQ("x\n", output(L"echo x"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, startError(L"/none"));
    ASSERT_EQ(0, sigaction(SIGCHLD, &before, nullptr));
}

/// The line of /proc/self/status that begins with `name`, without it.
std::string statusLine(const std::string& text, const std::string& name) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.compare(0, name.size(), name) == 0) {
            return line.substr(name.size());
        }
    }
    return "none";
}

TEST_F(LinuxProcesses, SignalsAreAsAProgramFindsThemAtItsStart) {
    struct sigaction ignoring {};
    ignoring.sa_handler = SIG_IGN;
    struct sigaction before {};
    ASSERT_EQ(0, sigaction(SIGPIPE, &ignoring, &before));
    sigset_t blocked;
    sigset_t maskBefore;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    ASSERT_EQ(0, pthread_sigmask(SIG_BLOCK, &blocked, &maskBefore));
    const std::string status = output(L"cat /proc/self/status");
    sigset_t mask;
    ASSERT_EQ(0, pthread_sigmask(SIG_SETMASK, &maskBefore, &mask));
    ASSERT_EQ(0, sigaction(SIGPIPE, &before, nullptr));
    EXPECT_EQ("\t0000000000000000", statusLine(status, "SigBlk:"));
    // But for two that the C library keeps for itself in whatever it starts.
    constexpr unsigned long long kInternal = 0x180000000U;
    EXPECT_EQ(0U, std::stoull(statusLine(status, "SigIgn:"), nullptr, 16) & ~kInternal);
    // The caller's own are what they were.
    EXPECT_EQ(1, sigismember(&mask, SIGTERM));
    EXPECT_EQ(0, sigismember(&mask, SIGINT));
}

TEST_F(LinuxProcesses, ItBelongsToNobodyAndToNoTerminal) {
    PROCESS_INFORMATION process{};
    const std::string stat =
        outputOf([&] { EXPECT_EQ(0U, startError(L"cat /proc/self/stat", process)); });
    std::istringstream fields(stat.substr(stat.rfind(')') + 1));
    std::string state;
    pid_t parent = 0;
    pid_t group = 0;
    pid_t session = 0;
    int terminal = -1;
    fields >> state >> parent >> group >> session >> terminal;
    const auto number = static_cast<pid_t>(process.dwProcessId);
    EXPECT_EQ(std::to_string(number) + " (cat", stat.substr(0, stat.rfind(')')));
    EXPECT_EQ(process.dwProcessId, process.dwThreadId);
    EXPECT_NE(getpid(), parent);
    EXPECT_EQ(number, group);
    EXPECT_EQ(number, session);
    EXPECT_EQ(0, terminal);
}

TEST_F(LinuxProcesses, TheEnvironmentAndTheDirectoryAreTheCallers) {
    setenv("KEST_TEST_VARIABLE", "a b\xFF", 1);
    const fs::path here = fs::current_path();
    fs::current_path(tree.root());
    script("tell", "printf '%s|%s' \"$KEST_TEST_VARIABLE\" \"$(pwd -P)\"\n");
    EXPECT_EQ("a b\xFF|" + tree.root().native(), output(L"./tell"));
    fs::current_path(here);
    unsetenv("KEST_TEST_VARIABLE");
}

TEST_F(LinuxProcesses, WithoutADescriptorToSpareItStartsAllTheSame) {
    std::vector<int> all;
    struct rlimit before {};
    ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &before));
    struct rlimit few = before;
    few.rlim_cur = 64;
    EXPECT_EQ("x\n", outputOf([&] {
                  ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &few));
                  for (int one = 0; one >= 0;) {
                      one = open("/dev/null", O_RDONLY | O_CLOEXEC);
                      if (one >= 0) {
                          all.push_back(one);
                      }
                  }
                  EXPECT_EQ(EMFILE, errno);
                  EXPECT_EQ(0U, startError(L"/bin/echo x"));
                  for (const int one : all) {
                      close(one);
                  }
                  ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &before));
              }));
    EXPECT_FALSE(all.empty());
}

TEST_F(LinuxProcesses, WhatTheLibraryNeverAsksForIsRefused) {
    std::wstring line = wide("show");
    STARTUPINFOW startUp{};
    startUp.cb = sizeof startUp;
    PROCESS_INFORMATION process{};
    const auto error = [&](const wchar_t* program, BOOL inherit, DWORD flags, void* environment,
                           const wchar_t* directory) {
        EXPECT_FALSE(os().CreateProcessW(program, line.data(), nullptr, nullptr, inherit, flags,
                                         environment, directory, &startUp, &process));
        return os().GetLastError();
    };
    EXPECT_EQ(ERROR_NOT_SUPPORTED, error(line.c_str(), FALSE, 0, nullptr, nullptr));
    EXPECT_EQ(ERROR_NOT_SUPPORTED, error(nullptr, TRUE, 0, nullptr, nullptr));
    EXPECT_EQ(ERROR_NOT_SUPPORTED, error(nullptr, FALSE, 4, nullptr, nullptr));
    EXPECT_EQ(ERROR_NOT_SUPPORTED, error(nullptr, FALSE, 0, &line, nullptr));
    EXPECT_EQ(ERROR_NOT_SUPPORTED, error(nullptr, FALSE, 0, nullptr, L"/"));
    startUp.dwFlags = 0x100;
    EXPECT_EQ(ERROR_NOT_SUPPORTED, error(nullptr, FALSE, 0, nullptr, nullptr));
    EXPECT_FALSE(os().CreateProcessW(nullptr, nullptr, nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                                     &startUp, &process));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, os().GetLastError());
    EXPECT_FALSE(os().CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr,
                                     nullptr, nullptr, &process));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, os().GetLastError());
}

}  // namespace
}  // namespace Tallowmere::platform
