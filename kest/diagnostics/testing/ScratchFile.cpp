#include "kest/diagnostics/testing/ScratchFile.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

namespace Tallowmere::testing {
namespace {

std::string contents(const std::string& name, std::ios_base::openmode mode) {
    std::ifstream file(name, std::ios_base::in | mode);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace

ScratchFile::ScratchFile() {
    std::random_device random;
    const std::string own =
        "kest-trace-" + std::to_string(random()) + "-" + std::to_string(random()) + ".log";
    m_name = (std::filesystem::temp_directory_path() / own).string();
    m_path.assign(m_name.begin(), m_name.end());
}

ScratchFile::~ScratchFile() {
    std::error_code ignored;
    std::filesystem::remove(m_name, ignored);
}

bool ScratchFile::exists() const {
    return std::ifstream(m_name).is_open();
}

std::string ScratchFile::text() const {
    return contents(m_name, {});
}

std::string ScratchFile::bytes() const {
    return contents(m_name, std::ios_base::binary);
}

void ScratchFile::grow(long size) const {
    std::ofstream file(m_name, std::ios_base::in | std::ios_base::out | std::ios_base::binary);
    file.seekp(size - 1);
    file.put('.');
}

}  // namespace Tallowmere::testing
