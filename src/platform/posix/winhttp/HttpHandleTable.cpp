#include "platform/posix/winhttp/HttpHandleTable.h"

namespace LumPlatform {

namespace {

/// A value is the slot's generation above these bits, and in them the slot's index plus one.
constexpr unsigned int kIndexBits = 24;
constexpr std::uintptr_t kIndexMask = (std::uintptr_t{1} << kIndexBits) - 1;

HINTERNET valueOf(std::uintptr_t generation, std::size_t index)
{
    return reinterpret_cast<HINTERNET>((generation << kIndexBits) | (index + 1));
}

} // namespace

HttpHandleTable& HttpHandleTable::Instance()
{
    // Never destroyed: handles may be closed by whatever is destroyed last.
    static auto& table = *new HttpHandleTable;
    return table;
}

HINTERNET HttpHandleTable::Add(std::shared_ptr<HttpHandle> object)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (freeSlots.empty()) {
        slots.emplace_back();
        // Closing a handle must not have to allocate.
        freeSlots.reserve(slots.capacity());
        freeSlots.push_back(slots.size() - 1);
    }
    const std::size_t index = freeSlots.back();
    freeSlots.pop_back();
    const HINTERNET value = valueOf(slots[index].generation, index);
    object->SetValue(value);
    slots[index].object = std::move(object);
    return value;
}

std::shared_ptr<HttpHandle> HttpHandleTable::Find(HINTERNET value)
{
    const std::lock_guard<std::mutex> lock(mutex);
    const Slot* const slot = SlotOf(value);
    return slot == nullptr ? nullptr : slot->object;
}

std::shared_ptr<HttpHandle> HttpHandleTable::Remove(HINTERNET value)
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

HttpHandleTable::Slot* HttpHandleTable::SlotOf(HINTERNET value)
{
    const auto number = reinterpret_cast<std::uintptr_t>(value);
    const std::size_t index = (number & kIndexMask) - 1;
    if (index >= slots.size() || !slots[index].object || valueOf(slots[index].generation, index) != value) {
        return nullptr;
    }
    return &slots[index];
}

} // namespace LumPlatform
