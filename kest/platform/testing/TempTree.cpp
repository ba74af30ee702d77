#include "kest/platform/testing/TempTree.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

namespace Tallowmere::platform::testing {
namespace {

namespace fs = std::filesystem;

std::string readFile(const fs::path& path) {
    std::ifstream file(path, std::ios_base::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace

TempTree::TempTree() {
    std::random_device random;
    for (int tries = 0; tries < 100; ++tries) {
        m_root = fs::temp_directory_path() / ("kest-test-" + std::to_string(random()));
        if (fs::create_directory(m_root)) {
            m_root = fs::canonical(m_root);
            return;
        }
    }
    throw std::runtime_error("no temporary folder");
}

TempTree::~TempTree() {
    std::error_code ignored;
    fs::remove_all(m_root, ignored);
}

std::wstring TempTree::wide(const std::string& relative) const {
    fs::path path = m_root / relative;
    // Behind a "\\?\" Windows takes nothing but its own separator.
    return path.make_preferred().wstring();
}

void TempTree::makeDirectory(const std::string& relative) const {
    fs::create_directories(m_root / relative);
}

void TempTree::write(const std::string& relative, const std::string& content) const {
    const fs::path path = m_root / relative;
    fs::create_directories(path.parent_path());
    std::ofstream file(path, std::ios_base::binary | std::ios_base::trunc);
    file << content;
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

std::string TempTree::read(const std::string& relative) const {
    return readFile(m_root / relative);
}

bool TempTree::exists(const std::string& relative) const {
    return fs::exists(fs::symlink_status(m_root / relative));
}

std::map<std::string, std::string> TempTree::snapshot(const std::string& relative) const {
    std::map<std::string, std::string> result;
    const fs::path top = relative.empty() ? m_root : m_root / relative;
    if (!fs::exists(fs::symlink_status(top))) {
        return result;
    }
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(top)) {
        const std::string name = entry.path().lexically_relative(top).generic_string();
        const fs::file_status status = entry.symlink_status();
        if (fs::is_symlink(status)) {
            result[name] = "link " + fs::read_symlink(entry.path()).string();
        } else if (fs::is_directory(status)) {
            result[name] = "dir";
        } else if (fs::is_regular_file(status)) {
            result[name] = "file " + readFile(entry.path());
        } else {
            result[name] = "other";
        }
    }
    return result;
}

}  // namespace Tallowmere::platform::testing
