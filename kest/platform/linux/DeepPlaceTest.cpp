// Where a directory stands whose path is far longer than the system says in one piece: asked by a
// thread that has little of a stack, since a tree may be deeper than any.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>

#include <string>

#include "kest/platform/linux/Descriptor.h"
#include "kest/platform/linux/LinuxDisk.h"
#include "kest/platform/testing/TempTree.h"

namespace Tallowmere::platform {
namespace {

struct Question {
    std::wstring text;
    DWORD error = ERROR_INVALID_DATA;
    std::wstring canonical;
};

void* ask(void* given) {
    auto& question = *static_cast<Question*>(given);
    LinuxDisk disk;
    transactions::DirectoryPtr directory;
    question.error = disk.openDirectory(question.text, directory, question.canonical);
    return nullptr;
}

TEST(DeepPlace, IsToldWithLittleOfAStack) {
    constexpr int kLevels = 300;
    const std::string name(100, 'd');
    const testing::TempTree tree;
    Question question;
    question.text = tree.root().wstring();
    Descriptor at(::open(tree.root().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    for (int level = 0; level < kLevels; ++level) {
        ASSERT_EQ(0, ::mkdirat(at.get(), name.c_str(), 0700));
        at = Descriptor(::openat(at.get(), name.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        question.text += L"/" + std::wstring(name.begin(), name.end());
    }
    pthread_attr_t attributes;
    ASSERT_EQ(0, pthread_attr_init(&attributes));
    ASSERT_EQ(0, pthread_attr_setstacksize(&attributes, std::size_t{512} * 1024));
    pthread_t thread{};
    ASSERT_EQ(0, pthread_create(&thread, &attributes, ask, &question));
    ASSERT_EQ(0, pthread_join(thread, nullptr));
    ASSERT_EQ(0, pthread_attr_destroy(&attributes));
    EXPECT_EQ(0U, question.error);
    EXPECT_EQ(question.text, question.canonical);
}

}  // namespace
}  // namespace Tallowmere::platform
