#pragma once

#include <array>
#include <functional>

#include "kest/platform/testing/MemoryDisk.h"

namespace Tallowmere::platform::transactions::testing {

/// Tells which of two processes makes the next step, 0 or 1, from how many each has made.
using Schedule = std::function<int(const std::array<int, 2>& steps)>;

/// Runs two processes on the same disks, one step at a time: before each step the schedule is asked
/// whose turn it is. A process that has ended leaves all turns to the other. Everything happens in
/// the order that the schedule gives, whatever the machine does.
void interleave(std::array<platform::testing::MemoryDisk*, 2> disks,
                const std::array<std::function<void(platform::testing::MemoryDisk&)>, 2>& bodies,
                const Schedule& schedule);

/// The first process up to before its step `first`, then the other up to before its step `second`,
/// then the first to its end.
Schedule pausedAt(int first, int second);

}  // namespace Tallowmere::platform::transactions::testing
