// The reader of trace lines: whatever a file holds, each byte of it is in exactly one entry but for
// the line ends; a line that was read is what its fields say when they are written again; and what
// is shown to a terminal holds nothing that it could take for an order.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "trace/Reader.h"
#include "trace/Text.h"

namespace {

using namespace Tallowmere::command::trace;

void require(bool isTrue) {
    if (!isTrue) {
        std::abort();
    }
}

/// Hands the text out in blocks whose sizes differ.
class Blocks : public Bytes {
public:
    Blocks(std::string_view text, std::size_t block) : m_rest(text), m_block(block) {}

    State read(char* buffer, std::size_t size, std::size_t& count) override {
        count = std::min({size, m_block, m_rest.size()});
        m_rest.copy(buffer, count);
        m_rest.remove_prefix(count);
        return count == 0 ? State::none : State::some;
    }

private:
    std::string_view m_rest;
    std::size_t m_block;
};

void requireShowable(std::string_view text) {
    std::string shown;
    appendShown(shown, text);
    require(isUtf8(shown));
    for (std::string_view rest = shown; !rest.empty();) {
        const Character next = firstCharacter(rest);
        require(next.value == '\t' || !isControl(next.value));
        rest.remove_prefix(next.size);
    }
    std::string json;
    appendJson(json, text, true);
    require(isUtf8(json) && json.find_first_of("<>&\n\r") == std::string::npos);
}

void requireLine(const Line& line, std::string_view bytes) {
    std::string severity(nameOf(line.severity));
    severity.resize(8, ' ');
    const std::string before = std::string(line.time) + "\t" + severity + "\tT" +
                               std::to_string(line.thread) + "\t" + std::string(line.place);
    require(bytes.starts_with(before));
    std::string_view rest = bytes.substr(before.size());
    rest.remove_prefix(rest.size() - line.message.size());
    require(rest == line.message && bytes.size() - before.size() - rest.size() <= 1);
    require(line.place.starts_with(line.module) && widthOf(line.module) <= 30);
    if (line.isTimeKnown) {
        require(stampOf(line.instant) == line.time);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    Blocks bytes(text, size % 7 + 1);
    Reader reader(bytes, 0, false);
    std::size_t done = 0;
    const auto isBetweenLines = [&text](std::size_t from, std::size_t to) {
        return text.substr(from, to - from).find_first_not_of("\r\n") == std::string_view::npos;
    };
    while (reader.next()) {
        const Entry& entry = reader.entry();
        const std::size_t place = text.find(entry.bytes, done);
        require(place != std::string_view::npos && isBetweenLines(done, place));
        done = place + entry.bytes.size();
        if (entry.kind == Entry::Kind::line) {
            requireLine(entry.line, entry.bytes);
        }
        requireShowable(entry.bytes);
    }
    require(isBetweenLines(done, text.size()));
    return 0;
}
