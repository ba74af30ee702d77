// crash_state plan RECORDING CUTS SEED STAGED PUBLISHED
//     Chooses moments of a power cut, a line each: the number of records before it, and in which
//     part of the change it lies: "staging", "publishing", "clearing" or "returned". The recording
//     holds the marks "begin", "returned" and "end"; STAGED and PUBLISHED are seconds since 1970,
//     or 0.
// crash_state make IMAGE RECORDING CUT none|all|part SEED OUTPUT
//     What the disk holds after a power cut at that moment: all that was written up to the last
//     flush before it, and of what was written since nothing, everything, or some blocks of 4 KiB.

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Recording.h"

namespace {

using powercut::Kind;

/// A file read as a whole, through the kernel's cache.
class Mapping {
public:
    explicit Mapping(const std::string& path) {
        const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        struct stat status {};
        if (file < 0 || fstat(file, &status) != 0) {
            throw std::runtime_error("cannot read " + path);
        }
        m_size = static_cast<std::size_t>(status.st_size);
        void* const mapped = mmap(nullptr, m_size, PROT_READ, MAP_PRIVATE, file, 0);
        close(file);
        if (mapped == MAP_FAILED) {
            throw std::runtime_error("cannot map " + path);
        }
        m_bytes = static_cast<const char*>(mapped);
    }
    ~Mapping() { munmap(const_cast<char*>(m_bytes), m_size); }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;

    const char* bytes() const { return m_bytes; }
    std::size_t size() const { return m_size; }

private:
    const char* m_bytes = nullptr;
    std::size_t m_size = 0;
};

struct Event {
    powercut::Record head;
    const char* bytes;

    bool isMark(std::string_view word) const {
        return head.kind == Kind::Mark && std::string_view(bytes, head.length) == word;
    }
};

std::vector<Event> eventsOf(const Mapping& recording) {
    std::vector<Event> events;
    std::size_t at = 0;
    while (at < recording.size()) {
        Event event{};
        if (recording.size() - at < sizeof event.head) {
            throw std::runtime_error("the recording ends within a record");
        }
        std::memcpy(&event.head, recording.bytes() + at, sizeof event.head);
        at += sizeof event.head;
        event.bytes = recording.bytes() + at;
        if (recording.size() - at < event.head.length) {
            throw std::runtime_error("the recording ends within a record");
        }
        at += event.head.length;
        events.push_back(event);
    }
    return events;
}

std::size_t find(const std::vector<Event>& events, std::string_view word) {
    for (std::size_t i = 0; i < events.size(); ++i) {
        if (events[i].isMark(word)) {
            return i;
        }
    }
    throw std::runtime_error("the recording has no mark " + std::string(word));
}

/// The moments that tell something: after a write or a flush.
struct Phase {
    const char* name;
    std::size_t share;  ///< of 100 cuts
    std::vector<std::size_t> cuts;
};

int plan(const std::vector<Event>& events, std::size_t wanted, std::uint64_t seed, double staged,
         double published) {
    const std::size_t begin = find(events, "begin");
    const std::size_t returned = find(events, "returned");
    const std::size_t end = find(events, "end");
    // Most of the danger lies in the few moments of the publishing.
    std::array<Phase, 4> phases{
        {{"staging", 20, {}}, {"publishing", 40, {}}, {"clearing", 15, {}}, {"returned", 25, {}}}};
    // On a quiet disk nothing is written after the return, and yet the power can fail.
    phases[3].cuts.push_back(returned + 1);
    for (std::size_t i = begin; i < end; ++i) {
        if (events[i].head.kind == Kind::Mark) {
            continue;
        }
        const double time = static_cast<double>(events[i].head.nanoseconds) / 1e9;
        std::size_t phase = 0;
        if (i > returned) {
            phase = 3;
        } else if (published > 0 && time > published) {
            phase = 2;
        } else if (staged > 0 && time >= staged) {
            phase = 1;
        }
        phases[phase].cuts.push_back(i + 1);
    }
    // What a short phase cannot give is taken from the long ones.
    std::array<std::size_t, 4> counts{};
    std::size_t given = 0;
    for (std::size_t p = 0; p < phases.size(); ++p) {
        counts[p] = std::min(phases[p].cuts.size(), (wanted * phases[p].share + 99) / 100);
        given += counts[p];
    }
    while (given < wanted) {
        std::size_t best = phases.size();
        for (std::size_t p = 0; p < phases.size(); ++p) {
            if (counts[p] < phases[p].cuts.size() &&
                (best == phases.size() ||
                 phases[p].cuts.size() - counts[p] > phases[best].cuts.size() - counts[best])) {
                best = p;
            }
        }
        if (best == phases.size()) {
            break;
        }
        ++counts[best];
        ++given;
    }
    std::mt19937_64 random(seed);
    for (std::size_t p = 0; p < phases.size(); ++p) {
        const std::vector<std::size_t>& cuts = phases[p].cuts;
        for (std::size_t i = 0; i < counts[p]; ++i) {
            // One from each of as many equal parts.
            const std::size_t from = i * cuts.size() / counts[p];
            const std::size_t to = (i + 1) * cuts.size() / counts[p];
            std::printf("%zu %s\n", cuts[from + random() % (to - from)], phases[p].name);
        }
    }
    return 0;
}

/// A copy of the image with its holes, on which writes are carried out.
class Output {
public:
    Output(const std::string& path, const std::string& image)
        : m_file(open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600)) {
        const int from = open(image.c_str(), O_RDONLY | O_CLOEXEC);
        struct stat status {};
        if (m_file < 0 || from < 0 || fstat(from, &status) != 0 ||
            ftruncate(m_file, status.st_size) != 0) {
            throw std::runtime_error("cannot copy " + image + " to " + path);
        }
        std::vector<char> buffer(std::size_t{1} << 20);
        off_t hole = 0;
        for (off_t at = 0; (at = lseek(from, hole, SEEK_DATA)) >= 0;) {
            hole = lseek(from, at, SEEK_HOLE);
            while (at < hole) {
                const auto wanted = std::min(buffer.size(), static_cast<std::size_t>(hole - at));
                const ssize_t got = pread(from, buffer.data(), wanted, at);
                if (got <= 0) {
                    throw std::runtime_error("cannot read " + image);
                }
                put(buffer.data(), static_cast<std::size_t>(got), static_cast<std::uint64_t>(at));
                at += got;
            }
        }
        close(from);
    }
    ~Output() { close(m_file); }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void put(const char* bytes, std::size_t length, std::uint64_t offset) const {
        if (pwrite(m_file, bytes, length, static_cast<off_t>(offset)) !=
            static_cast<ssize_t>(length)) {
            throw std::runtime_error("cannot write the state of the disk");
        }
    }

private:
    int m_file;
};

int make(const std::string& image, const std::vector<Event>& events, std::size_t cut,
         std::string_view rest, std::uint64_t seed, const std::string& path) {
    std::size_t durable = cut;
    while (durable > 0 && events[durable - 1].head.kind != Kind::Flush) {
        --durable;
    }
    std::mt19937_64 random(seed * 1'000'003U + cut);
    // Few of the blocks, half of them or most: each finds other faults.
    const std::uint64_t keep = std::array<std::uint64_t, 3>{32, 128, 224}[random() % 3];
    const Output output(path, image);
    for (std::size_t i = 0; i < cut; ++i) {
        const Event& event = events[i];
        if (event.head.kind != Kind::Write) {
            continue;
        }
        if (i < durable || rest == "all") {
            output.put(event.bytes, event.head.length, event.head.offset);
        } else if (rest == "part") {
            constexpr std::uint64_t kBlock = 4096;
            std::uint64_t at = 0;
            while (at < event.head.length) {
                const std::uint64_t position = event.head.offset + at;
                const std::uint64_t length =
                    std::min<std::uint64_t>(kBlock - position % kBlock, event.head.length - at);
                if (random() % 256 < keep) {
                    output.put(event.bytes + at, length, position);
                }
                at += length;
            }
        }
    }
    return 0;
}

int run(const std::vector<std::string>& arguments) {
    if (arguments.size() == 6 && arguments[0] == "plan") {
        const Mapping recording(arguments[1]);
        return plan(eventsOf(recording), std::stoul(arguments[2]), std::stoull(arguments[3]),
                    std::stod(arguments[4]), std::stod(arguments[5]));
    }
    if (arguments.size() == 7 && arguments[0] == "make") {
        const Mapping recording(arguments[2]);
        const std::vector<Event> events = eventsOf(recording);
        const std::size_t cut = std::stoul(arguments[3]);
        const std::string& rest = arguments[4];
        if (cut <= events.size() && (rest == "none" || rest == "all" || rest == "part")) {
            return make(arguments[1], events, cut, rest, std::stoull(arguments[5]), arguments[6]);
        }
    }
    std::fputs(
        "usage: crash_state plan RECORDING CUTS SEED STAGED PUBLISHED\n"
        "       crash_state make IMAGE RECORDING CUT none|all|part SEED OUTPUT\n",
        stderr);
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run({argv + 1, argv + argc});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "crash_state: %s\n", error.what());
        return 1;
    }
}
