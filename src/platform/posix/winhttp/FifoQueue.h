#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace LumPlatform {

/// A queue that keeps its room: it allocates only when it grows beyond what it has held before or was reserved, and
/// never when it is made.
template <typename Item>
class FifoQueue {
public:
    bool IsEmpty() const { return taken == items.size(); }
    void Reserve(std::size_t count) { items.reserve(count); }

    void Push(Item item)
    {
        if (taken > 0 && items.size() == items.capacity()) {
            DropTaken();
        }
        items.push_back(std::move(item));
    }

    Item Pop()
    {
        Item item = std::move(items[taken]);
        ++taken;
        if (IsEmpty()) {
            items.clear();
            taken = 0;
        }
        return item;
    }

private:
    /// Frees the places at the front.
    void DropTaken()
    {
        items.erase(items.begin(), items.begin() + static_cast<std::ptrdiff_t>(taken));
        taken = 0;
    }

    std::vector<Item> items;
    std::size_t taken = 0;
};

} // namespace LumPlatform
