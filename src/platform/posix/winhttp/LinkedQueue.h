#pragma once

#include <memory>
#include <utility>

namespace LumPlatform {

/// A queue of objects that have room for the link themselves: queueing takes no memory, and so never fails. An object
/// is in the queue once at most.
template <typename Item, std::shared_ptr<Item> Item::*kNext>
class LinkedQueue {
public:
    bool IsEmpty() const { return first == nullptr; }
    const Item& Front() const { return *first; }
    const Item& Back() const { return *last; }

    void Push(std::shared_ptr<Item> item)
    {
        Item* const added = item.get();
        (IsEmpty() ? first : last->*kNext) = std::move(item);
        last = added;
    }

    std::shared_ptr<Item> Pop()
    {
        std::shared_ptr<Item> item = std::move(first);
        first = std::move(item.get()->*kNext);
        return item;
    }

private:
    std::shared_ptr<Item> first;
    /// Of a queue that is not empty.
    Item* last = nullptr;
};

} // namespace LumPlatform
