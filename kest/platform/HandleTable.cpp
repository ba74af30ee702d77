#include "kest/platform/HandleTable.h"

#include <atomic>
#include <mutex>
#include <utility>

#include "kest/platform/Calls.h"

namespace Tallowmere::platform {
namespace {

constexpr std::uint64_t kMark = 0x4B;
constexpr int kSlotBits = 24;
constexpr int kGenerationBits = 24;
constexpr std::uint32_t kChunkSize = 1U << 12;
constexpr std::uint32_t kChunks = 1U << (kSlotBits - 12);
constexpr std::uint64_t kGenerationMask = (1U << kGenerationBits) - 1;

/// Beyond every slot.
constexpr std::uint32_t kNoSlot = 1U << kSlotBits;

struct Slot {
    /// Kind and generation of the handle that is open here, as in the handle itself; 0 when free.
    std::atomic<std::uint64_t> open{0};
    std::atomic<void*> object{nullptr};
    std::uint32_t generation = 0;
    /// The slot that became free before this one, while this one is free itself.
    std::uint32_t nextFree = kNoSlot;
};

std::uint64_t number(HANDLE handle) {
    return static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(handle));
}

/// The slots. Looked up at every call with a handle, so nothing has to be asked for first.
constinit std::atomic<Slot*> g_chunks[kChunks]{};

Slot* slotAt(std::uint32_t index) {
    Slot* const chunk = g_chunks[index / kChunkSize].load(std::memory_order_acquire);
    return chunk == nullptr ? nullptr : &chunk[index % kChunkSize];
}

/// Which slots are free. Never destroyed: handles may be used until the process ends.
struct Table {
    std::mutex mutex;
    /// The free slots are a list that leads through themselves, so that giving a handle back needs
    /// no memory: it happens in destructors, and when memory has run out.
    std::uint32_t lastFreed = kNoSlot;
    std::uint32_t used = 0;
};

Table& table() {
    static Table* const s_table = new Table;
    return *s_table;
}

std::uint64_t key(std::uint64_t handle) {
    return handle >> kSlotBits;
}

std::uint32_t indexOf(HANDLE handle) {
    return static_cast<std::uint32_t>(number(handle) & ((1U << kSlotBits) - 1));
}

Slot* slotOf(HANDLE handle, HandleKind kind) {
    if (handleKind(handle) != kind || kind == HandleKind::None) {
        return nullptr;
    }
    return slotAt(indexOf(handle));
}

}  // namespace

HANDLE issueHandle(HandleKind kind, void* object) {
    Table& all = table();
    const std::lock_guard<std::mutex> guard(all.mutex);
    std::uint32_t index = 0;
    if (all.lastFreed != kNoSlot) {
        index = all.lastFreed;
        all.lastFreed = slotAt(index)->nextFree;
    } else if (all.used < kChunkSize * kChunks) {
        index = all.used;
        std::atomic<Slot*>& chunk = g_chunks[index / kChunkSize];
        if (chunk.load(std::memory_order_relaxed) == nullptr) {
            chunk.store(new Slot[kChunkSize], std::memory_order_release);
        }
        ++all.used;
    } else {
        os().SetLastError(ERROR_NO_SYSTEM_RESOURCES);
        return INVALID_HANDLE_VALUE;
    }
    Slot& slot = *slotAt(index);
    slot.generation = static_cast<std::uint32_t>((slot.generation + 1) & kGenerationMask);
    const std::uint64_t handle = kMark << 56 | static_cast<std::uint64_t>(kind) << 48 |
                                 std::uint64_t{slot.generation} << kSlotBits | index;
    slot.object.store(object, std::memory_order_release);
    slot.open.store(key(handle), std::memory_order_release);
    return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(handle));
}

void* findHandle(HANDLE handle, HandleKind kind) {
    Slot* const slot = slotOf(handle, kind);
    if (slot == nullptr || slot->open.load(std::memory_order_acquire) != key(number(handle))) {
        return nullptr;
    }
    void* const object = slot->object.load(std::memory_order_acquire);
    // Another thread may have given the handle back meanwhile and the slot to somebody else: an
    // object is this handle's only if the handle is still open after it was read.
    return slot->open.load(std::memory_order_acquire) == key(number(handle)) ? object : nullptr;
}

void* retireHandle(HANDLE handle, HandleKind kind) {
    Slot* const slot = slotOf(handle, kind);
    if (slot == nullptr) {
        return nullptr;
    }
    Table& all = table();
    const std::lock_guard<std::mutex> guard(all.mutex);
    if (slot->open.load(std::memory_order_relaxed) != key(number(handle))) {
        return nullptr;
    }
    void* const object = slot->object.load(std::memory_order_relaxed);
    slot->open.store(0, std::memory_order_release);
    slot->nextFree = std::exchange(all.lastFreed, indexOf(handle));
    return object;
}

HandleKind handleKind(HANDLE handle) {
    const std::uint64_t value = number(handle);
    if (value >> 56 != kMark) {
        return HandleKind::None;
    }
    return static_cast<HandleKind>(value >> 48 & 0xFF);
}

int openHandles(HandleKind kind) {
    Table& all = table();
    const std::lock_guard<std::mutex> guard(all.mutex);
    int count = 0;
    for (std::uint32_t index = 0; index < all.used; ++index) {
        const std::uint64_t open = slotAt(index)->open.load(std::memory_order_relaxed);
        count += static_cast<HandleKind>(open >> kGenerationBits & 0xFF) == kind ? 1 : 0;
    }
    return count;
}

}  // namespace Tallowmere::platform
