#include "kest/platform/HandleTable.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <functional>
#include <set>
#include <thread>
#include <vector>

#include "kest/platform/Calls.h"

namespace Tallowmere::platform {
namespace {

constexpr HandleKind kKinds[] = {HandleKind::Mutex, HandleKind::File, HandleKind::Transaction,
                                 HandleKind::Search, HandleKind::EitherTransaction};

HANDLE handleOf(std::uint64_t number) {
    return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(number));
}

std::uint64_t numberOf(HANDLE handle) {
    return static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(handle));
}

/// Which of the table's places a handle has.
std::uint64_t slotOf(HANDLE handle) {
    return numberOf(handle) & 0xFFFFFF;
}

TEST(HandleTable, FindsAnObjectByItsHandleAndKind) {
    for (const HandleKind kind : kKinds) {
        int object = 0;
        const HANDLE handle = issueHandle(kind, &object);
        EXPECT_NE(nullptr, handle);
        EXPECT_NE(INVALID_HANDLE_VALUE, handle);
        EXPECT_EQ(kind, handleKind(handle));
        for (const HandleKind other : kKinds) {
            EXPECT_EQ(other == kind ? &object : nullptr, findHandle(handle, other));
        }
        EXPECT_EQ(nullptr, findHandle(handle, HandleKind::None));
        EXPECT_EQ(&object, retireHandle(handle, kind));
    }
}

TEST(HandleTable, GivesAnObjectBackOnce) {
    int object = 0;
    const HANDLE handle = issueHandle(HandleKind::Mutex, &object);
    EXPECT_EQ(nullptr, retireHandle(handle, HandleKind::File));
    EXPECT_EQ(nullptr, retireHandle(handle, HandleKind::None));
    EXPECT_EQ(&object, findHandle(handle, HandleKind::Mutex));
    EXPECT_EQ(&object, retireHandle(handle, HandleKind::Mutex));
    EXPECT_EQ(nullptr, retireHandle(handle, HandleKind::Mutex));
    EXPECT_EQ(nullptr, findHandle(handle, HandleKind::Mutex));
    // What it was can still be told.
    EXPECT_EQ(HandleKind::Mutex, handleKind(handle));
}

TEST(HandleTable, ReusesASlotUnderAnotherHandle) {
    int object = 0;
    std::set<HANDLE> stale;
    HANDLE handle = issueHandle(HandleKind::File, &object);
    const std::uint64_t slot = slotOf(handle);
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(&object, retireHandle(handle, HandleKind::File));
        ASSERT_TRUE(stale.insert(handle).second);
        // The same kind and object, so that nothing but the handle tells them apart.
        handle = issueHandle(HandleKind::File, &object);
        EXPECT_EQ(slot, slotOf(handle));
    }
    for (const HANDLE old : stale) {
        EXPECT_EQ(nullptr, findHandle(old, HandleKind::File));
        EXPECT_EQ(nullptr, retireHandle(old, HandleKind::File));
    }
    EXPECT_EQ(&object, retireHandle(handle, HandleKind::File));
}

TEST(HandleTable, ReusesASlotForAnotherKind) {
    int first = 0;
    int second = 0;
    const HANDLE mutex = issueHandle(HandleKind::Mutex, &first);
    EXPECT_EQ(&first, retireHandle(mutex, HandleKind::Mutex));
    const HANDLE search = issueHandle(HandleKind::Search, &second);
    EXPECT_EQ(slotOf(mutex), slotOf(search));
    EXPECT_EQ(nullptr, findHandle(mutex, HandleKind::Mutex));
    EXPECT_EQ(nullptr, findHandle(mutex, HandleKind::Search));
    EXPECT_EQ(nullptr, findHandle(search, HandleKind::Mutex));
    EXPECT_EQ(&second, findHandle(search, HandleKind::Search));
    EXPECT_EQ(&second, retireHandle(search, HandleKind::Search));
}

TEST(HandleTable, RefusesHandlesThatItNeverGaveOut) {
    int object = 0;
    const HANDLE real = issueHandle(HandleKind::Mutex, &object);
    const HANDLE foreign[] = {nullptr,        INVALID_HANDLE_VALUE, handleOf(1),
                              handleOf(0x10), handleOf(0xFFFFFFFF), &object};
    for (const HANDLE handle : foreign) {
        EXPECT_EQ(HandleKind::None, handleKind(handle));
        for (const HandleKind kind : kKinds) {
            EXPECT_EQ(nullptr, findHandle(handle, kind));
            EXPECT_EQ(nullptr, retireHandle(handle, kind));
        }
        EXPECT_EQ(nullptr, findHandle(handle, HandleKind::None));
        EXPECT_EQ(nullptr, retireHandle(handle, HandleKind::None));
    }
    // Ours by its mark, but changed in one of its parts: the slot (one in use, one far beyond), the
    // generation, the kind.
    const std::uint64_t number = numberOf(real);
    for (const std::uint64_t changed :
         {number | 0xFFFFFF, number ^ 0x800000, number ^ std::uint64_t{1} << 24,
          number ^ std::uint64_t{1} << 47, number ^ std::uint64_t{2} << 48}) {
        for (const HandleKind kind : kKinds) {
            EXPECT_EQ(nullptr, findHandle(handleOf(changed), kind)) << changed;
            EXPECT_EQ(nullptr, retireHandle(handleOf(changed), kind)) << changed;
        }
    }
    EXPECT_EQ(&object, retireHandle(real, HandleKind::Mutex));
}

TEST(HandleTable, CountsTheOpenHandlesOfAKind) {
    const int mutexes = openHandles(HandleKind::Mutex);
    const int files = openHandles(HandleKind::File);
    int object = 0;
    const HANDLE first = issueHandle(HandleKind::Mutex, &object);
    const HANDLE second = issueHandle(HandleKind::Mutex, &object);
    const HANDLE file = issueHandle(HandleKind::File, &object);
    EXPECT_EQ(mutexes + 2, openHandles(HandleKind::Mutex));
    EXPECT_EQ(files + 1, openHandles(HandleKind::File));
    EXPECT_EQ(&object, retireHandle(first, HandleKind::Mutex));
    EXPECT_EQ(mutexes + 1, openHandles(HandleKind::Mutex));
    EXPECT_EQ(&object, retireHandle(second, HandleKind::Mutex));
    EXPECT_EQ(&object, retireHandle(file, HandleKind::File));
    EXPECT_EQ(mutexes, openHandles(HandleKind::Mutex));
    EXPECT_EQ(files, openHandles(HandleKind::File));
}

TEST(HandleTable, HoldsManyHandles) {
    const int before = openHandles(HandleKind::Search);
    std::vector<int> objects(20000);
    std::vector<HANDLE> handles;
    std::set<HANDLE> different;
    for (int& object : objects) {
        handles.push_back(issueHandle(HandleKind::Search, &object));
        different.insert(handles.back());
    }
    EXPECT_EQ(objects.size(), different.size());
    EXPECT_EQ(before + 20000, openHandles(HandleKind::Search));
    // Every third is given back; the rest stay what they are.
    for (std::size_t i = 0; i < handles.size(); i += 3) {
        ASSERT_EQ(&objects[i], retireHandle(handles[i], HandleKind::Search));
    }
    for (std::size_t i = 0; i < handles.size(); ++i) {
        ASSERT_EQ(i % 3 == 0 ? nullptr : &objects[i], findHandle(handles[i], HandleKind::Search));
    }
    for (std::size_t i = 0; i < handles.size(); ++i) {
        (void)retireHandle(handles[i], HandleKind::Search);
    }
    EXPECT_EQ(before, openHandles(HandleKind::Search));
}

TEST(HandleTable, LeavesTheLastErrorAlone) {
    int object = 0;
    os().SetLastError(1234);
    const HANDLE handle = issueHandle(HandleKind::Mutex, &object);
    (void)findHandle(handle, HandleKind::Mutex);
    (void)findHandle(handle, HandleKind::File);
    (void)findHandle(nullptr, HandleKind::File);
    (void)retireHandle(handle, HandleKind::Mutex);
    (void)retireHandle(handle, HandleKind::Mutex);
    EXPECT_EQ(1234U, os().GetLastError());
}

void runTogether(int count, const std::function<void(int)>& body) {
    std::atomic<int> waiting{count};
    std::vector<std::thread> threads;
    for (int number = 0; number < count; ++number) {
        threads.emplace_back([&, number] {
            --waiting;
            while (waiting > 0) {
                std::this_thread::yield();
            }
            body(number);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(HandleTable, ServesSeveralThreads) {
    const int before = openHandles(HandleKind::Transaction);
    std::atomic<int> wrong{0};
    runTogether(4, [&](int) {
        std::array<int, 50> objects{};
        std::array<HANDLE, 50> handles{};
        for (int round = 0; round < 200; ++round) {
            for (std::size_t i = 0; i < objects.size(); ++i) {
                handles[i] = issueHandle(HandleKind::Transaction, &objects[i]);
            }
            for (std::size_t i = 0; i < objects.size(); ++i) {
                wrong += findHandle(handles[i], HandleKind::Transaction) == &objects[i] ? 0 : 1;
                wrong += retireHandle(handles[i], HandleKind::Transaction) == &objects[i] ? 0 : 1;
                wrong += findHandle(handles[i], HandleKind::Transaction) == nullptr ? 0 : 1;
            }
        }
    });
    EXPECT_EQ(0, wrong);
    EXPECT_EQ(before, openHandles(HandleKind::Transaction));
}

TEST(HandleTable, GivesAnObjectToOneOfSeveralThreads) {
    constexpr int kHandles = 2000;
    std::vector<int> objects(kHandles);
    std::vector<HANDLE> handles;
    for (int& object : objects) {
        handles.push_back(issueHandle(HandleKind::File, &object));
    }
    std::vector<std::atomic<int>> received(kHandles);
    runTogether(4, [&](int) {
        for (std::size_t i = 0; i < handles.size(); ++i) {
            void* const object = retireHandle(handles[i], HandleKind::File);
            if (object != nullptr) {
                ++received[static_cast<std::size_t>(static_cast<int*>(object) - objects.data())];
            }
        }
    });
    for (const std::atomic<int>& times : received) {
        ASSERT_EQ(1, times);
    }
}

TEST(HandleTable, NeverGivesTheNextObjectOfASlotForAStaleHandle) {
    // One thread gives handles out and back, all in one slot; others look up the latest, which may
    // be stale by the time that they ask.
    constexpr std::size_t kHandles = 30000;
    std::vector<int> objects(kHandles);
    std::vector<std::atomic<HANDLE>> handles(kHandles);
    std::atomic<std::size_t> latest{0};
    std::atomic<int> wrong{0};
    runTogether(3, [&](int thread) {
        if (thread == 0) {
            for (std::size_t i = 0; i < kHandles; ++i) {
                const HandleKind kind = i % 2 == 0 ? HandleKind::Mutex : HandleKind::Search;
                handles[i] = issueHandle(kind, &objects[i]);
                latest = i;
                wrong += retireHandle(handles[i], kind) == &objects[i] ? 0 : 1;
            }
            return;
        }
        for (std::size_t i = 0; i + 1 < kHandles;) {
            i = latest;
            const HANDLE handle = handles[i];
            const void* const found = findHandle(handle, handleKind(handle));
            wrong += found == nullptr || found == &objects[i] ? 0 : 1;
        }
    });
    EXPECT_EQ(0, wrong);
}

}  // namespace
}  // namespace Tallowmere::platform
