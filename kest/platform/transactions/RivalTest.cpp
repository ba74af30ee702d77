// Two processes that change the same place at the same time: each is done or gets an error, and
// what is there in the end is wholly the old, wholly the one's or wholly the other's, as they were
// told.

#include <gtest/gtest.h>

#include <iostream>
#include <optional>
#include <random>

#include "kest/platform/transactions/testing/Depth.h"
#include "kest/platform/transactions/testing/Rivals.h"
#include "kest/platform/transactions/testing/Scenario.h"
#include "kest/platform/transactions/testing/Walk.h"

namespace Tallowmere::platform::transactions::testing {
namespace {

using platform::testing::changes;
using platform::testing::MemoryDisk;
using platform::testing::MemoryOptions;
using platform::testing::MemoryStore;
using platform::testing::Primitive;

struct Rivalry {
    std::string name;
    MemoryOptions options;
    void (*build)(MemoryStore& store);
    DWORD (*run[2])(Transaction& transaction);
    std::wstring place;
    /// Whether they are not in each other's way at all.
    bool areApart = false;
};

void PrintTo(const Rivalry& rivalry, std::ostream* out) {
    *out << rivalry.name;
}

void addTree(MemoryStore& store, const std::wstring& top, const std::string& content) {
    store.makeDirectory(top);
    store.write(top + L"/a", content);
    store.makeDirectory(top + L"/sub");
    store.write(top + L"/sub/b", content);
}

void build(MemoryStore& store) {
    store.makeDirectory(L"/home");
    addTree(store, L"/home/one", "one's");
    addTree(store, L"/home/two", "two's");
    addTree(store, L"/home/to", "old");
    addTree(store, L"/home/beside", "old");
}

void buildWithoutOld(MemoryStore& store) {
    store.makeDirectory(L"/home");
    addTree(store, L"/home/one", "one's");
    addTree(store, L"/home/two", "two's");
}

void buildDrives(MemoryStore& store) {
    store.addVolume(L"D:");
    addTree(store, L"D:/one", "one's");
    addTree(store, L"D:/two", "two's");
    store.write(L"C:/a", "old");
    store.makeDirectory(L"C:/sub");
    store.write(L"C:/zero", "old");
}

template <const wchar_t* from, const wchar_t* to>
DWORD replace(Transaction& transaction) {
    return replaceTree(transaction, from, to);
}

template <const wchar_t* path>
DWORD erase(Transaction& transaction) {
    return deleteIfThere(transaction, path);
}

constexpr wchar_t kOne[] = L"/home/one";
constexpr wchar_t kTwo[] = L"/home/two";
constexpr wchar_t kTo[] = L"/home/to";
constexpr wchar_t kBeside[] = L"/home/beside";
constexpr wchar_t kOneOnDrive[] = L"D:\\one";
constexpr wchar_t kTwoOnDrive[] = L"D:\\two";
constexpr wchar_t kDrive[] = L"C:";

MemoryOptions withoutExchange() {
    MemoryOptions options = MemoryOptions::linux();
    options.canExchange = false;
    return options;
}

const std::vector<Rivalry>& rivalries() {
    static const std::vector<Rivalry> s_rivalries = {
        {"ReplaceBoth",
         MemoryOptions::linux(),
         build,
         {replace<kOne, kTo>, replace<kTwo, kTo>},
         kTo},
        {"ReplaceBothWithoutExchange",
         withoutExchange(),
         build,
         {replace<kOne, kTo>, replace<kTwo, kTo>},
         kTo},
        {"CreateBoth",
         MemoryOptions::linux(),
         buildWithoutOld,
         {replace<kOne, kTo>, replace<kTwo, kTo>},
         kTo},
        {"ReplaceAndDelete", MemoryOptions::linux(), build, {replace<kOne, kTo>, erase<kTo>}, kTo},
        {"ReplaceAndDeleteWithoutExchange",
         withoutExchange(),
         build,
         {replace<kOne, kTo>, erase<kTo>},
         kTo},
        {"ReplaceBothDrives",
         MemoryOptions::windows(),
         buildDrives,
         {replace<kOneOnDrive, kDrive>, replace<kTwoOnDrive, kDrive>},
         kDrive},
        {"Apart",
         MemoryOptions::linux(),
         build,
         {replace<kOne, kTo>, replace<kTwo, kBeside>},
         kTo,
         true},
        {"ApartWithoutExchange",
         withoutExchange(),
         build,
         {replace<kOne, kTo>, replace<kTwo, kBeside>},
         kTo,
         true},
    };
    return s_rivalries;
}

/// The rivalries between two that are in each other's way.
std::vector<Rivalry> collisions() {
    std::vector<Rivalry> result = rivalries();
    std::erase_if(result, [](const Rivalry& rivalry) { return rivalry.areApart; });
    return result;
}

class RivalTest : public ::testing::TestWithParam<Rivalry> {
protected:
    void SetUp() override {
        start.emplace(GetParam().options);
        GetParam().build(*start);
        before = everything(*start);
        for (int who = 0; who < 2; ++who) {
            MemoryStore store = *start;
            MemoryDisk disk(store);
            disk.clock.watch = [&](int, Primitive primitive) { steps[who].push_back(primitive); };
            ASSERT_EQ(0U, operate(disk, who));
            after[who] = everything(store);
        }
        MemoryStore store = *start;
        MemoryDisk disk(store);
        ASSERT_EQ(0U, operate(disk, 0));
        ASSERT_EQ(0U, operate(disk, 1));
        afterBoth = everything(store);
    }

    static DWORD operate(MemoryDisk& disk, int who) {
        Transaction transaction(disk);
        const DWORD error = GetParam().run[who](transaction);
        return error == ERROR_SUCCESS ? commit(transaction) : error;
    }

    /// Runs both and checks what they leave. False when that is wrong.
    bool race(const Schedule& schedule, const std::string& how) {
        ++races;
        MemoryStore store = *start;
        std::array<DWORD, 2> answers = {0, 0};
        {
            MemoryDisk one(store);
            MemoryDisk two(store);
            interleave({&one, &two},
                       {[&](MemoryDisk& disk) { answers[0] = operate(disk, 0); },
                        [&](MemoryDisk& disk) { answers[1] = operate(disk, 1); }},
                       schedule);
        }
        done += (answers[0] == 0 ? 1 : 0) + (answers[1] == 0 ? 1 : 0);
        // What one had to leave for the next is gone after one more look.
        MemoryDisk looker(store);
        DWORD looked = ERROR_SUCCESS;
        {
            Transaction transaction(looker);
            WIN32_FILE_ATTRIBUTE_DATA data{};
            looked = call([&] { return transaction.attributes(GetParam().place.c_str(), data); });
        }
        const Snapshot found = everything(store);
        bool isRight = looked == ERROR_SUCCESS || looked == ERROR_FILE_NOT_FOUND;
        if (GetParam().areApart) {
            isRight = isRight && answers[0] == 0 && answers[1] == 0 && found == afterBoth;
        } else if (answers[0] != 0 && answers[1] != 0) {
            isRight = isRight && found == before;
        } else {
            isRight = isRight && ((answers[0] == 0 && found == after[0]) ||
                                  (answers[1] == 0 && found == after[1]));
        }
        EXPECT_TRUE(isRight) << how << ": answered " << answers[0] << " and " << answers[1]
                             << ", the next look " << looked << "\nagainst the old state:\n"
                             << difference(before, found) << "against the first one's:\n"
                             << difference(after[0], found) << "against the second one's:\n"
                             << difference(after[1], found);
        return isRight;
    }

    /// Whether one of the many races is left to the tests that go all the way.
    bool isPassedOver() { return ++asked % 7 != 0 && !isFullDepth(); }

    std::optional<MemoryStore> start;
    std::vector<Primitive> steps[2];
    Snapshot before;
    Snapshot after[2];
    Snapshot afterBoth;
    int asked = 0;
    int races = 0;
    int done = 0;
};

class KilledRivalTest : public RivalTest {};

TEST_P(RivalTest, EachPausedAtEachStep) {
    // A pause before a step that changes nothing is a pause before the next one that does, as far
    // as the other can tell; what matters for the paused one is when it looks, so its steps count
    // all.
    for (std::size_t first = 1; first <= steps[0].size(); ++first) {
        for (std::size_t second = 1; second <= steps[1].size() + 1; ++second) {
            if (second <= steps[1].size() && !changes(steps[1][second - 1])) {
                continue;
            }
            if (isPassedOver()) {
                continue;
            }
            const auto pause = pausedAt(static_cast<int>(first), static_cast<int>(second));
            if (!race(pause, "the first paused before step " + std::to_string(first) +
                                 ", the second before step " + std::to_string(second))) {
                return;
            }
        }
    }
    std::cout << races << " races, " << done << " of " << 2 * races << " done\n";
}

TEST_P(KilledRivalTest, OneIsKilledWhileTheOtherWorks) {
    for (std::size_t killed = 1; killed <= steps[0].size(); ++killed) {
        if (!changes(steps[0][killed - 1])) {
            continue;
        }
        for (std::size_t paused = 1; paused <= steps[1].size(); ++paused) {
            if (isPassedOver()) {
                continue;
            }
            ++races;
            MemoryStore store = *start;
            DWORD answer = ERROR_SUCCESS;
            {
                MemoryDisk one(store);
                MemoryDisk two(store);
                one.clock.stopAt(static_cast<int>(killed));
                interleave({&two, &one},
                           {[&](MemoryDisk& disk) { answer = operate(disk, 1); },
                            [&](MemoryDisk& disk) {
                                try {
                                    (void)operate(disk, 0);
                                } catch (const platform::testing::Stopped&) {
                                }
                            }},
                           pausedAt(static_cast<int>(paused), 1000000));
            }
            done += answer == ERROR_SUCCESS ? 1 : 0;
            MemoryDisk looker(store);
            {
                Transaction transaction(looker);
                WIN32_FILE_ATTRIBUTE_DATA data{};
                (void)call([&] { return transaction.attributes(GetParam().place.c_str(), data); });
            }
            const Snapshot found = everything(store);
            ASSERT_TRUE(found == after[0] || found == (answer == ERROR_SUCCESS ? after[1] : before))
                << "killed before step " << killed << ", the other paused before step " << paused
                << ", which answered " << answer << "\nagainst the old state:\n"
                << difference(before, found) << "against the first one's:\n"
                << difference(after[0], found) << "against the second one's:\n"
                << difference(after[1], found);
        }
    }
    std::cout << races << " races, " << done << " of " << races << " done\n";
}

/// Whether a machine that runs short or a disk that breaks may give that error once, and then the
/// next answer is a true one. One that answers with a name cannot say that it does not know, and
/// one that denies access may be right. A lock that somebody holds says that the owner lives.
bool isPassing(Primitive primitive, DWORD error) {
    return primitive != Primitive::Spelling && error != ERROR_ACCESS_DENIED &&
           error != ERROR_NOT_SUPPORTED && error != ERROR_SHARING_VIOLATION &&
           error != ERROR_LOCK_VIOLATION;
}

TEST_P(KilledRivalTest, TheNextFailsAtAnyStepOfWhatItMeets) {
    for (std::size_t killed = 1; killed <= steps[0].size(); ++killed) {
        MemoryStore orphaned = *start;
        {
            MemoryDisk one(orphaned);
            one.clock.stopAt(static_cast<int>(killed));
            EXPECT_THROW((void)operate(one, 0), platform::testing::Stopped);
        }
        const Snapshot left = withoutStages(everything(orphaned));
        if (left == before || left == after[0]) {
            // Only what is to be finished can be taken for what it is not.
            continue;
        }
        std::vector<Primitive> meeting;
        {
            MemoryStore store = orphaned;
            MemoryDisk two(store);
            two.clock.watch = [&](int, Primitive primitive) { meeting.push_back(primitive); };
            ASSERT_EQ(0U, operate(two, 1));
            ASSERT_EQ("", difference(after[1], everything(store)));
        }
        for (std::size_t failed = 1; failed <= meeting.size(); ++failed) {
            for (const DWORD error : platform::testing::errorsOf(meeting[failed - 1])) {
                if (!isPassing(meeting[failed - 1], error)) {
                    continue;
                }
                ++races;
                MemoryStore store = orphaned;
                DWORD answer = ERROR_SUCCESS;
                {
                    MemoryDisk two(store);
                    two.clock.failAt(static_cast<int>(failed), error,
                                     platform::testing::MemoryFaultSpan::Once);
                    answer = operate(two, 1);
                }
                done += answer == ERROR_SUCCESS ? 1 : 0;
                MemoryDisk looker(store);
                {
                    Transaction transaction(looker);
                    WIN32_FILE_ATTRIBUTE_DATA data{};
                    (void)call(
                        [&] { return transaction.attributes(GetParam().place.c_str(), data); });
                }
                const Snapshot found = everything(store);
                ASSERT_TRUE(answer == ERROR_SUCCESS ? found == after[1]
                                                    : found == before || found == after[0])
                    << "killed before step " << killed << ", the next failed at step " << failed
                    << " (" << nameOf(meeting[failed - 1]) << ") with " << error << " and answered "
                    << answer << "\nagainst the old state:\n"
                    << difference(before, found) << "against the first one's:\n"
                    << difference(after[0], found) << "against the second one's:\n"
                    << difference(after[1], found);
            }
        }
    }
    std::cout << races << " faults, " << done << " of them done all the same\n";
}

TEST_P(RivalTest, InRandomOrder) {
    for (unsigned seed = 1; seed <= (isFullDepth() ? 1000 : 60); ++seed) {
        std::mt19937 random(seed);
        // Long turns and short ones.
        const auto stay = random() % 30 + 1;
        int turn = 0;
        const Schedule schedule = [&](const std::array<int, 2>&) {
            if (random() % stay == 0) {
                turn = 1 - turn;
            }
            return turn;
        };
        if (!race(schedule, "seed " + std::to_string(seed))) {
            return;
        }
    }
    std::cout << races << " races, " << done << " of " << 2 * races << " done\n";
}

INSTANTIATE_TEST_SUITE_P(All, RivalTest, ::testing::ValuesIn(rivalries()),
                         [](const auto& tested) { return tested.param.name; });
INSTANTIATE_TEST_SUITE_P(All, KilledRivalTest, ::testing::ValuesIn(collisions()),
                         [](const auto& tested) { return tested.param.name; });

TEST(RivalBetweenTwoQuestions, IsNotLaidUnderTheCopy) {
    MemoryStore store(MemoryOptions::linux());
    buildWithoutOld(store);
    MemoryDisk disk(store);
    WIN32_FILE_ATTRIBUTE_DATA data{};
    Transaction transaction(disk);
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, transaction.attributes(L"/home/one", data));
    // As a copy asks whether there is an old tree to delete,
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, transaction.attributes(L"/home/to", data));
    addTree(store, L"/home/to", "rival's");
    const auto before = store.snapshot(L"/home");
    // and then whether there is one to be filled.
    EXPECT_EQ(DWORD{ERROR_TRANSACTIONAL_CONFLICT}, transaction.attributes(L"/home/to", data));
    EXPECT_EQ(DWORD{ERROR_TRANSACTIONAL_CONFLICT}, transaction.createDirectory(L"/home/to"));
    EXPECT_EQ(DWORD{ERROR_TRANSACTIONAL_CONFLICT}, transaction.commit());
    EXPECT_EQ(before, store.snapshot(L"/home"));
}

TEST(RivalBetweenTwoQuestions, OneMayComeAndBeFoundLater) {
    MemoryStore store(MemoryOptions::linux());
    buildWithoutOld(store);
    MemoryDisk disk(store);
    WIN32_FILE_ATTRIBUTE_DATA data{};
    Transaction transaction(disk);
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, transaction.attributes(L"/home/to", data));
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, transaction.createDirectory(L"/home/to"));
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, transaction.attributes(L"/home/to", data));
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, transaction.commit());
    EXPECT_TRUE(store.exists(L"/home/to"));
}

}  // namespace
}  // namespace Tallowmere::platform::transactions::testing
