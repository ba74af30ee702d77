#include "kest/platform/linux/Launch.h"

#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

// How a program is started without becoming our child: a process in between starts it and ends at
// once. Nobody notices that process: it sends no signal when it ends, so a host's handler is not
// called, and a wait for any child does not meet it.

namespace Tallowmere::platform {
namespace {

/// What the process in between has to say, in memory that it shares with us.
struct Outcome {
    int error;
    pid_t process;
};

class SharedOutcome {
public:
    SharedOutcome()
        : m_memory(mmap(nullptr, sizeof(Outcome), PROT_READ | PROT_WRITE,
                        MAP_SHARED | MAP_ANONYMOUS, -1, 0)) {}
    ~SharedOutcome() {
        if (isThere()) {
            (void)munmap(m_memory, sizeof(Outcome));
        }
    }
    SharedOutcome(const SharedOutcome&) = delete;
    SharedOutcome& operator=(const SharedOutcome&) = delete;
    bool isThere() const { return m_memory != MAP_FAILED; }
    volatile Outcome* get() const { return static_cast<volatile Outcome*>(m_memory); }

private:
    void* m_memory;
};

/// How the program is to begin.
class Beginning {
public:
    Beginning() {
        m_error = posix_spawnattr_init(&m_attributes);
        m_hasAttributes = m_error == 0;
        keep(m_hasAttributes ? posix_spawn_file_actions_init(&m_actions) : m_error);
        m_hasActions = m_error == 0;
        if (!m_hasActions) {
            return;
        }
        sigset_t all;
        sigset_t none;
        sigfillset(&all);
        sigemptyset(&none);
        keep(posix_spawnattr_setsigdefault(&m_attributes, &all));
        keep(posix_spawnattr_setsigmask(&m_attributes, &none));
        keep(posix_spawnattr_setflags(
            &m_attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSID));
        keep(posix_spawn_file_actions_addclosefrom_np(&m_actions, STDERR_FILENO + 1));
    }
    ~Beginning() {
        if (m_hasActions) {
            (void)posix_spawn_file_actions_destroy(&m_actions);
        }
        if (m_hasAttributes) {
            (void)posix_spawnattr_destroy(&m_attributes);
        }
    }
    Beginning(const Beginning&) = delete;
    Beginning& operator=(const Beginning&) = delete;

    int error() const { return m_error; }
    const posix_spawnattr_t* attributes() const { return &m_attributes; }
    const posix_spawn_file_actions_t* actions() const { return &m_actions; }

private:
    void keep(int error) {
        if (m_error == 0) {
            m_error = error;
        }
    }

    posix_spawnattr_t m_attributes{};
    posix_spawn_file_actions_t m_actions{};
    bool m_hasAttributes = false;
    bool m_hasActions = false;
    int m_error = 0;
};

/// While it lives, no signal interrupts the thread: a host's handlers must not run in the process
/// in between.
class SignalsHeld {
public:
    SignalsHeld() {
        sigset_t all;
        sigfillset(&all);
        (void)pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    ~SignalsHeld() { (void)pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

private:
    sigset_t m_before{};
};

}  // namespace

int launch(const std::string& program, const std::vector<std::string>& arguments, pid_t& process) {
    std::vector<char*> texts;
    texts.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) {
        texts.push_back(const_cast<char*>(argument.c_str()));
    }
    texts.push_back(nullptr);
    const Beginning beginning;
    const SharedOutcome shared;
    if (beginning.error() != 0 || !shared.isThere()) {
        return shared.isThere() ? beginning.error() : ENOMEM;
    }
    volatile Outcome* const outcome = shared.get();
    // What it is if the process in between is ended from outside.
    outcome->error = EAGAIN;

    const SignalsHeld held;
    // A copy of this process that holds nothing but this thread and sends no signal in the end.
    const long between = syscall(SYS_clone, 0UL, nullptr, nullptr, nullptr, nullptr);
    if (between == 0) {
        pid_t started = 0;
        const int error = posix_spawn(&started, program.c_str(), beginning.actions(),
                                      beginning.attributes(), texts.data(), environ);
        outcome->process = started;
        outcome->error = error;
        for (;;) {
            (void)syscall(SYS_exit_group, 0);
        }
    }
    if (between < 0) {
        return errno;
    }
    while (waitpid(static_cast<pid_t>(between), nullptr, __WCLONE) < 0 && errno == EINTR) {
    }
    process = outcome->process;
    return outcome->error;
}

}  // namespace Tallowmere::platform
