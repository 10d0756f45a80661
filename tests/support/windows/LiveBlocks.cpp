#include "support/LiveBlocks.h"

#include <cstdlib>
#include <functional>
#include <mutex>
#include <new>
#include <unordered_set>

/// The program and the module have operators of their own and free each other's blocks, and what the module's runtime
/// frees comes here too. So it is kept which blocks are meant.

namespace LumTests::LiveBlocks {

namespace {

/// Memory that does not come of operator new, which calls this.
template <typename Type>
struct SystemMemory {
    using value_type = Type;

    SystemMemory() = default;
    template <typename Other>
    SystemMemory(const SystemMemory<Other>& /*other*/)
    {
    }

    Type* allocate(std::size_t count)
    {
        void* const memory = std::malloc(count * sizeof(Type));
        if (memory == nullptr) {
            throw std::bad_alloc();
        }
        return static_cast<Type*>(memory);
    }
    void deallocate(Type* memory, std::size_t /*count*/) { std::free(memory); }

    template <typename Other>
    bool operator==(const SystemMemory<Other>& /*other*/) const
    {
        return true;
    }
    template <typename Other>
    bool operator!=(const SystemMemory<Other>& /*other*/) const
    {
        return false;
    }
};

struct Blocks {
    std::mutex mutex;
    std::unordered_set<void*, std::hash<void*>, std::equal_to<>, SystemMemory<void*>> live;
};

/// There before the first allocation, and never destroyed: something is freed after all else.
Blocks& blocks()
{
    alignas(Blocks) static unsigned char room[sizeof(Blocks)];
    static Blocks& made = *::new (static_cast<void*>(room)) Blocks;
    return made;
}

} // namespace

void add(void* block)
{
    Blocks& known = blocks();
    const std::lock_guard<std::mutex> lock(known.mutex);
    known.live.insert(block);
}

void remove(void* block)
{
    Blocks& known = blocks();
    const std::lock_guard<std::mutex> lock(known.mutex);
    known.live.erase(block);
}

std::ptrdiff_t count()
{
    Blocks& known = blocks();
    const std::lock_guard<std::mutex> lock(known.mutex);
    return static_cast<std::ptrdiff_t>(known.live.size());
}

} // namespace LumTests::LiveBlocks
