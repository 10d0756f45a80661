#pragma once

#include "platform/posix/HeldOverFork.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace LumPlatform {

/// The kinds of handles. A value of one kind names nothing in a table of another.
enum class HandleKind : std::uintptr_t { Http = 0, File = 1 };

/// The open handles of one kind in the process, in a table that is never destroyed. A value that was closed, or never
/// given out, names nothing.
template <typename Object, HandleKind kKind>
class HandleTable {
public:
    HandleTable() { holdOverFork(mutex); }

    void* Add(std::shared_ptr<Object> object)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (freeSlots.empty()) {
            AddSlot();
        }
        const std::size_t index = freeSlots.back();
        freeSlots.pop_back();
        slots[index].object = std::move(object);
        return ValueOf(slots[index].generation, index);
    }

    std::shared_ptr<Object> Find(const void* value)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        const Slot* const slot = SlotOf(value);
        return slot == nullptr ? nullptr : slot->object;
    }

    std::shared_ptr<Object> Remove(const void* value)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        Slot* const slot = SlotOf(value);
        if (slot == nullptr) {
            return nullptr;
        }
        ++slot->generation;
        freeSlots.push_back(static_cast<std::size_t>(slot - slots.data()));
        return std::move(slot->object);
    }

    /// How many handles are open.
    std::size_t Count()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return slots.size() - freeSlots.size();
    }

private:
    struct Slot {
        std::shared_ptr<Object> object;
        std::uintptr_t generation = 0;
    };

    /// A value is the slot's generation, the kind, and the slot's index plus one.
    static constexpr unsigned int kIndexBits = 24;
    static constexpr unsigned int kKindBits = 1;
    static constexpr std::uintptr_t kIndexMask = (std::uintptr_t{1} << kIndexBits) - 1;

    static void* ValueOf(std::uintptr_t generation, std::size_t index)
    {
        const std::uintptr_t upper = (generation << kKindBits) | static_cast<std::uintptr_t>(kKind);
        return reinterpret_cast<void*>((upper << kIndexBits) | (index + 1));
    }

    /// Adds a free slot, or throws std::bad_alloc and changes nothing.
    void AddSlot()
    {
        // Room first, and for all slots: closing a handle must not have to allocate.
        if (freeSlots.capacity() == slots.size()) {
            freeSlots.reserve(2 * slots.size() + 1);
        }
        slots.emplace_back();
        freeSlots.push_back(slots.size() - 1);
    }

    Slot* SlotOf(const void* value)
    {
        const std::size_t index = (reinterpret_cast<std::uintptr_t>(value) & kIndexMask) - 1;
        if (index >= slots.size() || !slots[index].object || ValueOf(slots[index].generation, index) != value) {
            return nullptr;
        }
        return &slots[index];
    }

    std::mutex mutex;
    std::vector<Slot> slots;
    std::vector<std::size_t> freeSlots;
};

} // namespace LumPlatform
