#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace LumPlatform {

/// A queue that keeps its room: it allocates only when it grows beyond what it has held before, and never when it is
/// made.
template <typename Item>
class FifoQueue {
public:
    bool IsEmpty() const { return taken == items.size(); }
    const Item& Front() const { return items[taken]; }
    void Push(Item item)
    {
        if (items.capacity() == 0) {
            items.reserve(kFirstRoom);
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
        } else if (taken > kMostTaken && taken * 2 > items.size()) {
            items.erase(items.begin(), items.begin() + static_cast<std::ptrdiff_t>(taken));
            taken = 0;
        }
        return item;
    }

private:
    static constexpr std::size_t kFirstRoom = 4;

    /// From so many places on, those that are free at the front are given back once they are the greater part.
    static constexpr std::size_t kMostTaken = 64;

    std::vector<Item> items;
    std::size_t taken = 0;
};

} // namespace LumPlatform
