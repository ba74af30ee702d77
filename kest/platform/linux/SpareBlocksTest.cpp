#include "kest/platform/SpareBlocks.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstring>
#include <new>
#include <thread>

#include "kest/time/DateTime.h"

namespace Tallowmere::platform {
namespace {

void* fromHeap() {
    return ::operator new(kSpareBlockSize);
}

/// On a thread of its own, which has kept nothing yet.
template <class Body>
void onFreshThread(Body body) {
    std::thread(body).join();
}

TEST(SpareBlocks, AFreshThreadHasNone) {
    onFreshThread([] { EXPECT_EQ(nullptr, takeSpareBlock()); });
}

TEST(SpareBlocks, WhatIsGivenBackIsTakenAgainOnce) {
    onFreshThread([] {
        void* const block = fromHeap();
        ASSERT_TRUE(keepSpareBlock(block));
        EXPECT_EQ(block, takeSpareBlock());
        EXPECT_EQ(nullptr, takeSpareBlock());
        ::operator delete(block);
    });
}

TEST(SpareBlocks, AThreadKeepsTwo) {
    onFreshThread([] {
        void* const first = fromHeap();
        void* const second = fromHeap();
        void* const third = fromHeap();
        EXPECT_TRUE(keepSpareBlock(first));
        EXPECT_TRUE(keepSpareBlock(second));
        EXPECT_FALSE(keepSpareBlock(third));
        ::operator delete(third);
        EXPECT_EQ(first, takeSpareBlock());
        EXPECT_EQ(second, takeSpareBlock());
        ::operator delete(first);
        ::operator delete(second);
    });
}

TEST(SpareBlocks, AnotherThreadHasItsOwn) {
    onFreshThread([] {
        void* const block = fromHeap();
        ASSERT_TRUE(keepSpareBlock(block));
        onFreshThread([] { EXPECT_EQ(nullptr, takeSpareBlock()); });
        // What this one took, that one may give back; a leak checker sees what its end does not
        // free.
        ASSERT_EQ(block, takeSpareBlock());
        onFreshThread([block] { EXPECT_TRUE(keepSpareBlock(block)); });
        EXPECT_EQ(nullptr, takeSpareBlock());
    });
}

/// The destructor of some other library's data, which runs when a thread ends, perhaps after ours.
TEST(SpareBlocks, ADestructorAtTheThreadsEndMayGiveBackMore) {
    static int s_runs = 0;
    s_runs = 0;
    pthread_key_t key{};
    const auto destructor = [](void* value) {
        (void)keepSpareBlock(fromHeap());
        // Once more, after everybody's first turn.
        if (++s_runs < 2) {
            (void)pthread_setspecific(*static_cast<pthread_key_t*>(value), value);
        }
    };
    ASSERT_EQ(0, pthread_key_create(&key, destructor));
    onFreshThread([&key] {
        ASSERT_TRUE(keepSpareBlock(fromHeap()));
        ASSERT_EQ(0, pthread_setspecific(key, &key));
    });
    EXPECT_EQ(2, s_runs);
    EXPECT_EQ(0, pthread_key_delete(key));
}

TEST(SpareBlocks, ATimeTakesTheMemoryOfTheLastOne) {
    onFreshThread([] {
        void* first = nullptr;
        {
            const DateTime time(1);
            std::memcpy(&first, static_cast<const void*>(&time), sizeof(first));
        }
        const DateTime next(2);
        void* second = nullptr;
        std::memcpy(&second, static_cast<const void*>(&next), sizeof(second));
        EXPECT_EQ(first, second);
        EXPECT_EQ(2, next.getSecondsSinceEpoch());
    });
}

#ifdef KEST_HIDES_SPARE_BLOCKS

TEST(SpareBlocksDeathTest, TheSanitizerSeesTheUseOfATimeThatIsGone) {
    onFreshThread([] {
        auto* const block = static_cast<volatile char*>(fromHeap());
        ASSERT_TRUE(keepSpareBlock(const_cast<char*>(block)));
        EXPECT_DEATH((void)block[0], "use-after-poison");
    });
}

#endif

}  // namespace
}  // namespace Tallowmere::platform
