// Writes a trace as a busy host would, with the library: several threads, functions inside
// functions, now and then a warning or worse, and names that somebody has chosen to be a nuisance.
//
//     kest_trace_sample FILE LINES [SEED]

#include <kest/kest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using Tallowmere::FunctionTrace;

constexpr int kThreads = 6;

class Worker {
public:
    Worker(unsigned int seed, std::atomic<int>& pending) : m_random(seed), m_pending(pending) {}

    void work() {
        while (m_pending > 0) {
            backUpFolder(0);
        }
    }

private:
    bool isChance(int percent) { return number(1, 1000) <= 10 * percent; }
    int number(int least, int most) {
        return std::uniform_int_distribution<int>(least, most)(m_random);
    }
    void spend(int most) {
        std::this_thread::sleep_for(std::chrono::microseconds(number(0, most)));
    }

    std::wstring name() {
        static const std::vector<std::wstring> s_names = {
            L"report", L"invoice",  L"Gr\u00FC\u00DFe", L"\u65E5\u672C\u8A9E",
            L"photo",  L"settings", L"notes",           L"\u0444\u0430\u0439\u043B",
            L"music",  L"archive"};
        static const std::vector<std::wstring> s_nuisances = {
            L"</script><script>alert(1)</script>", L"two\nlines", L"\x1b[31mred\x1b[0m",
            L"\u202Egnp.exe", L"<img src=x onerror=alert(1)>"};
        const auto pick = [this](const std::vector<std::wstring>& all) {
            return all[static_cast<std::size_t>(number(0, static_cast<int>(all.size()) - 1))];
        };
        return number(1, 2000) == 1 ? pick(s_nuisances)
                                    : pick(s_names) + L"-" + std::to_wstring(number(1, 9999));
    }

    // What the statements say is counted, so that all threads end together.
    bool isEnough(int lines) { return (m_pending -= lines) <= 0; }

    void backUpFolder(int depth) {
        const FunctionTrace trace("Backup::backUpFolder", __FILE__, __LINE__);
        isEnough(2);
        const std::wstring folder = L"C:\\Users\\anna\\" + name();
        LOG_INFO("Reading folder <" << folder << ">");
        isEnough(1);
        spend(2500);
        const int files = number(3, 14);
        for (int i = 0; i < files && m_pending > 0; ++i) {
            copyFile(folder + L"\\" + name());
        }
        if (depth < 4 && isChance(45)) {
            backUpFolder(depth + 1);
        }
    }

    void copyFile(const std::wstring& path) {
        const FunctionTrace trace("Backup::copyFile", __FILE__, __LINE__);
        isEnough(5);
        LOG_INFO("CopyFileTransacted " << path << " -> D:\\History" << path.substr(2));
        spend(900);
        hash(path);
        LOG_INFO(number(1, 9000000) << " bytes copied");
        if (isChance(1)) {
            LOG_WARNING("The file <" << path << "> has changed while it was read");
            isEnough(1);
        }
        if (number(1, 900) == 1) {
            LOG_ERROR("CopyFileTransacted "
                      << path << " failed: " << Tallowmere::getSystemErrorMessage(32, nullptr));
            isEnough(1);
        }
        if (number(1, 12000) == 1) {
            LOG_CRITICAL("The history on D: cannot be written any more");
            isEnough(1);
        }
    }

    void hash(const std::wstring& path) {
        const FunctionTrace trace("Checksum::ofFile", __FILE__, __LINE__);
        isEnough(1);
        if (isChance(12)) {
            LOG_INFO("Checksum of <" << path << "> taken from the last run");
            return;
        }
        spend(700);
        LOG_INFO("Checksum " << number(100000, 999999) << number(100000, 999999));
    }

    std::mt19937 m_random;
    std::atomic<int>& m_pending;
};

}  // namespace

int main(int count, char** arguments) {
    if (count < 3) {
        return 2;
    }
    std::wstring path = Tallowmere::fromNative(arguments[1]);
    setRecorderFile(path.data());
    std::atomic<int> left = std::atoi(arguments[2]);
    const unsigned int seed = count > 3 ? static_cast<unsigned int>(std::atoi(arguments[3])) : 1;
    std::vector<std::thread> threads;
    for (unsigned int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&left, seed, i] { Worker(seed * 100 + i, left).work(); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    Tallowmere::Recorder::destroy();
    return 0;
}
